// Every status the header declares has a name and a text; others get a
// generic text with the number.
#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <sstream>
#include <string>

#include "tests/support/HResultAssertions.h"
#include "zqplatform/errors.h"
#include "zqplatform/status.h"

namespace {

std::u16string StatusText(HRESULT hr) {
    WCHAR buffer[256];
    DWORD length = ZQGetStatusText(hr, buffer, 256);
    EXPECT_LT(length, 256u);
    return std::u16string(buffer);
}

std::string ReadStatusHeader() {
    std::ifstream file(ZQ_STATUS_HEADER);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

TEST(StatusText, EveryDeclaredStatusHasANameAndItsOwnText) {
    std::string header = ReadStatusHeader();
    ASSERT_FALSE(header.empty());
    std::regex declaration(R"(inline constexpr HRESULT (\w+) = (?:HResult\()?(0x[0-9A-Fa-f]+|\d+)\)?;)");
    int seen = 0;
    for (std::sregex_iterator it(header.begin(), header.end(), declaration), end; it != end; ++it) {
        std::string name = (*it)[1];
        auto hr = static_cast<HRESULT>(std::stoul((*it)[2], nullptr, 0));
        SCOPED_TRACE(name);
        const char* known = ZQGetStatusName(hr);
        ASSERT_NE(known, nullptr);
        EXPECT_EQ(std::string(known), name);
        EXPECT_EQ(StatusText(hr).find(u"Unknown error"), std::u16string::npos);
        ++seen;
    }
    EXPECT_GT(seen, 40);
}

TEST(StatusText, EveryDeclaredWin32ErrorHasATextAsAStatus) {
    std::string header = ReadStatusHeader();
    std::regex declaration(R"(inline constexpr uint32_t (ERROR_\w+) = (\d+);)");
    int seen = 0;
    for (std::sregex_iterator it(header.begin(), header.end(), declaration), end; it != end; ++it) {
        SCOPED_TRACE((*it)[1].str());
        HRESULT hr = HRESULT_FROM_WIN32(static_cast<uint32_t>(std::stoul((*it)[2])));
        EXPECT_NE(ZQGetStatusName(hr), nullptr);
        EXPECT_EQ(StatusText(hr).find(u"Unknown error"), std::u16string::npos);
        ++seen;
    }
    EXPECT_GT(seen, 20);
}

TEST(StatusText, KnownAndUnknownTextsAndTruncationToASmallBuffer) {
    EXPECT_EQ(StatusText(HResult(0x80070002)), u"The system cannot find the file specified.");
    EXPECT_STREQ(ZQGetStatusName(HResult(0x80070002)), "HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND)");
    EXPECT_EQ(StatusText(HResult(0x80041234)), u"Unknown error 0x80041234.");
    EXPECT_EQ(ZQGetStatusName(HResult(0x80041234)), nullptr);

    WCHAR buffer[5];
    DWORD full = ZQGetStatusText(E_POINTER, nullptr, 0);
    EXPECT_EQ(full, std::u16string(u"Invalid pointer.").size());
    EXPECT_EQ(ZQGetStatusText(E_POINTER, buffer, 5), full);
    EXPECT_EQ(std::u16string(buffer), u"Inva");
}

TEST(StatusText, MediaFrameworkFormCountsWhatItCopied) {
    WCHAR buffer[2048];
    EXPECT_EQ(AMGetErrorTextW(VFW_E_WRONG_STATE, buffer, 2048), StatusText(VFW_E_WRONG_STATE).size());
    EXPECT_EQ(std::u16string(buffer), StatusText(VFW_E_WRONG_STATE));
    EXPECT_EQ(AMGetErrorTextW(E_POINTER, buffer, 5), 4u);
    EXPECT_EQ(std::u16string(buffer), u"Inva");
    EXPECT_EQ(AMGetErrorTextW(E_POINTER, nullptr, 5), 0u);
    EXPECT_EQ(AMGetErrorTextW(E_POINTER, buffer, 0), 0u);
}

}  // namespace
