// Code page conversions, the whitespace class and the language code pages.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "zqplatform/status.h"
#include "zqplatform/text.h"

namespace {

/// Converts with a length query first, as callers do.
std::u16string ToWide(UINT codePage, const std::string& bytes) {
    int length = MultiByteToWideChar(codePage, 0, bytes.data(), static_cast<int>(bytes.size()), nullptr, 0);
    if (length == 0)
        return u"<failed>";
    std::u16string out(static_cast<size_t>(length), u'\0');
    int written = MultiByteToWideChar(codePage, 0, bytes.data(), static_cast<int>(bytes.size()), out.data(), length);
    EXPECT_EQ(written, length);
    return out;
}

std::string ToBytes(UINT codePage, const std::u16string& text) {
    int length = WideCharToMultiByte(codePage, 0, text.data(), static_cast<int>(text.size()), nullptr, 0, nullptr,
                                     nullptr);
    if (length == 0)
        return "<failed>";
    std::string out(static_cast<size_t>(length), '\0');
    int written = WideCharToMultiByte(codePage, 0, text.data(), static_cast<int>(text.size()), out.data(), length,
                                      nullptr, nullptr);
    EXPECT_EQ(written, length);
    return out;
}

struct CodePageText {
    const char* name;
    UINT codePage;
    std::string bytes;
    std::u16string text;
};

class CodePageRoundTrip : public ::testing::TestWithParam<CodePageText> {};

TEST_P(CodePageRoundTrip, DecodesAndEncodesBack) {
    const CodePageText& c = GetParam();
    EXPECT_EQ(ToWide(c.codePage, c.bytes), c.text);
    EXPECT_EQ(ToBytes(c.codePage, c.text), c.bytes);
}

INSTANTIATE_TEST_SUITE_P(
    Pages, CodePageRoundTrip,
    ::testing::Values(CodePageText{"Cyrillic1251", 1251, "\xCF\xF0\xE8\xE2\xE5\xF2 1", u"Привет 1"},
                      CodePageText{"Western1252Euro", 1252, "\x80 caf\xE9", u"€ café"},
                      CodePageText{"AnsiIs1252", CP_ACP, "\x80\xE9", u"€é"},
                      CodePageText{"ThreadAnsiIs1252", CP_THREAD_ACP, "\x9C", u"œ"},
                      CodePageText{"Japanese932", 932, "\x93\xFA\x96\x7B abc", u"日本 abc"},
                      CodePageText{"Chinese936", 936, "\xC4\xE3\xBA\xC3", u"你好"},
                      CodePageText{"Korean949", 949, "\xBE\xC8\xB3\xE7", u"안녕"},
                      CodePageText{"Big5950", 950, "\xA4\xA4\xA4\xE5", u"中文"},
                      CodePageText{"Koi8r20866", 20866, "\xF0\xD2\xC9", u"При"},
                      CodePageText{"Utf8", CP_UTF8, "\xE2\x82\xAC\xF0\x9F\x98\x80", u"€\U0001F600"}),
    [](const auto& row) { return std::string(row.param.name); });

using Undecodable = CodePageText;
class UndecodableBytes : public ::testing::TestWithParam<Undecodable> {};

TEST_P(UndecodableBytes, BecomeOneReplacementEachAndDecodingGoesOn) {
    EXPECT_EQ(ToWide(GetParam().codePage, GetParam().bytes), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Sequences, UndecodableBytes,
    ::testing::Values(
        // Byte code pages: one U+FFFD for the byte, then the next byte.
        Undecodable{"Undefined1252Byte", 1252, "a\x81z", u"a\uFFFDz"},
        Undecodable{"BadTrailAfterLead932", 932, "\x81\x20\x93\xFA", u"\uFFFD 日"},
        Undecodable{"LeadByteAtEnd932", 932, "a\x93", u"a\uFFFD"},
        // UTF-8: one U+FFFD per maximal ill-formed subsequence.
        Undecodable{"StrayContinuations", CP_UTF8, "a\x80\xBF" "b", u"a\uFFFD\uFFFDb"},
        Undecodable{"OverlongTwoBytes", CP_UTF8, "\xC0\xAF", u"\uFFFD\uFFFD"},
        Undecodable{"EncodedSurrogate", CP_UTF8, "\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},
        Undecodable{"AboveLastCodePoint", CP_UTF8, "\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
        Undecodable{"InvalidLeadBytes", CP_UTF8, "\xF5\xFE\xFF", u"\uFFFD\uFFFD\uFFFD"},
        Undecodable{"TruncatedBeforeAscii", CP_UTF8, "\xE6\x97x", u"\uFFFDx"},
        Undecodable{"TruncatedAtEnd", CP_UTF8, "ok\xF0\x9F\x98", u"ok\uFFFD"},
        Undecodable{"TruncatedBeforeLead", CP_UTF8, "\xC3\xC3\xA9", u"\uFFFD\u00E9"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(WideToBytes, LoneSurrogatesAndUnmappableCharactersTakeAReplacement) {
    const std::string replacement = "\xEF\xBF\xBD";
    EXPECT_EQ(ToBytes(CP_UTF8, u"a\xD800z"), "a" + replacement + "z");
    EXPECT_EQ(ToBytes(CP_UTF8, u"\xDC00\xD800"), replacement + replacement);
    EXPECT_EQ(ToBytes(CP_UTF8, std::u16string(u"x\xD83D")), "x" + replacement);
    EXPECT_EQ(ToBytes(CP_UTF8, u"\xD83D\xDE00"), "\xF0\x9F\x98\x80");

    const std::u16string text = u"€Āx\U0001F600";
    char out[16] = {};
    BOOL usedDefault = FALSE;
    int n = WideCharToMultiByte(1252, 0, text.data(), static_cast<int>(text.size()), out, sizeof out, nullptr,
                                &usedDefault);
    EXPECT_EQ(std::string(out, static_cast<size_t>(n)), "\x80?x?");
    EXPECT_TRUE(usedDefault);
    n = WideCharToMultiByte(932, 0, u"日\u0100", 2, out, sizeof out, "*", &usedDefault);
    EXPECT_EQ(std::string(out, static_cast<size_t>(n)), "\x93\xFA*");
    EXPECT_TRUE(usedDefault);
    n = WideCharToMultiByte(1251, 0, u"Да", 2, out, sizeof out, nullptr, &usedDefault);
    EXPECT_EQ(n, 2);
    EXPECT_FALSE(usedDefault);
}

class ConversionLengths : public ::testing::TestWithParam<UINT> {};

TEST_P(ConversionLengths, QueryCountsTheNulAndASmallBufferFails) {
    UINT codePage = GetParam();
    EXPECT_EQ(MultiByteToWideChar(codePage, 0, "abc", -1, nullptr, 0), 4);
    WCHAR wide[4];
    EXPECT_EQ(MultiByteToWideChar(codePage, 0, "abc", -1, wide, 4), 4);
    EXPECT_EQ(std::u16string(wide), u"abc");
    SetLastError(0);
    EXPECT_EQ(MultiByteToWideChar(codePage, 0, "abc", -1, wide, 3), 0);
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);

    EXPECT_EQ(WideCharToMultiByte(codePage, 0, u"abc", -1, nullptr, 0, nullptr, nullptr), 4);
    char bytes[4];
    EXPECT_EQ(WideCharToMultiByte(codePage, 0, u"abc", -1, bytes, 4, nullptr, nullptr), 4);
    EXPECT_STREQ(bytes, "abc");
    SetLastError(0);
    EXPECT_EQ(WideCharToMultiByte(codePage, 0, u"abc", -1, bytes, 2, nullptr, nullptr), 0);
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
}

INSTANTIATE_TEST_SUITE_P(Pages, ConversionLengths, ::testing::Values(CP_UTF8, 1251u, 932u));

TEST(CodePages, PagesIconvCantServeAndBadArgumentsFailCleanly) {
    for (UINT codePage : {12345u, 1200u, 1201u, 65002u}) {
        SCOPED_TRACE(codePage);
        SetLastError(0);
        WCHAR wide[8];
        EXPECT_EQ(MultiByteToWideChar(codePage, 0, "abc", 3, wide, 8), 0);
        EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
        char bytes[8];
        EXPECT_EQ(WideCharToMultiByte(codePage, 0, u"abc", 3, bytes, 8, nullptr, nullptr), 0);
        EXPECT_FALSE(IsValidCodePage(codePage));
    }
    for (UINT codePage : {65001u, 1252u, 874u, 932u, 936u, 949u, 950u, 1258u, 28605u, 54936u})
        EXPECT_TRUE(IsValidCodePage(codePage)) << codePage;
    EXPECT_EQ(GetACP(), 1252u);

    WCHAR wide[8];
    SetLastError(0);
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 1, "a", 1, wide, 8), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, nullptr, 1, wide, 8), 0);
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "a", 0, wide, 8), 0);
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "a", 1, nullptr, 8), 0);
    BOOL used = FALSE;
    char bytes[8];
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, u"a", 1, bytes, 8, nullptr, &used), 0);
}

TEST(CodePages, ThreadsConvertAtOnce) {
    std::atomic<int> mismatches{0};
    std::vector<std::thread> threads;
    for (UINT codePage : {932u, 936u, 1251u, 949u}) {
        threads.emplace_back([codePage, &mismatches] {
            for (int i = 0; i < 200; ++i) {
                std::string bytes = ToBytes(codePage, u"abc");
                if (ToWide(codePage, bytes) != u"abc")
                    ++mismatches;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(mismatches.load(), 0);
}

// The one whitespace class, character by character against its list; the
// zero width space and the byte-order mark look like spaces and are not.
TEST(Whitespace, IsExactlyTheListedCharacters) {
    auto listed = [](unsigned c) {
        return (c >= 0x09 && c <= 0x0D) || c == 0x20 || c == 0x85 || c == 0xA0 || c == 0x1680 ||
               (c >= 0x2000 && c <= 0x200A) || c == 0x2028 || c == 0x2029 || c == 0x202F || c == 0x205F ||
               c == 0x3000;
    };
    for (unsigned c = 0; c <= 0xFFFF; ++c) {
        ASSERT_EQ(listed(c), ZQIsSpace(static_cast<WCHAR>(c)) != FALSE) << std::hex << c;
        ASSERT_EQ(listed(c), ZQIsSpaceInline(static_cast<char16_t>(c))) << std::hex << c;
    }
}

struct LocalePage {
    const char16_t* name;
    UINT codePage;
};

class LocaleCodePage : public ::testing::TestWithParam<LocalePage> {};

TEST(CaseCompare, FoldsUnicodeCaseAndOrdersByCodePoint) {
    EXPECT_EQ(0, lstrcmpiW(u"abc", u"ABC"));
    EXPECT_EQ(0, lstrcmpiW(u"\u00C4rger \u0416", u"\u00E4RGER \u0436"));  // Latin-1 and Cyrillic
    EXPECT_EQ(0, lstrcmpiW(u"\U00010400", u"\U00010428"));               // a surrogate pair
    EXPECT_LT(lstrcmpiW(u"apple", u"Banana"), 0);
    EXPECT_GT(lstrcmpiW(u"b", u"A"), 0);
    EXPECT_LT(lstrcmpiW(u"ab", u"ABC"), 0);  // a prefix sorts first
    EXPECT_EQ(0, lstrcmpiW(nullptr, u""));
    EXPECT_GT(lstrcmpiW(u"a", nullptr), 0);
}

TEST_P(LocaleCodePage, MatchesTheLanguagePartIgnoringCase) {
    EXPECT_EQ(ZQGetLocaleCodePage(GetParam().name), GetParam().codePage);
}

INSTANTIATE_TEST_SUITE_P(
    Names, LocaleCodePage,
    ::testing::Values(LocalePage{u"ru", 1251}, LocalePage{u"RU", 1251}, LocalePage{u"ru-RU", 1251},
                      LocalePage{u"zh-TW", 936}, LocalePage{u"sr-Latn-RS", 1250}, LocalePage{u"sah", 1251},
                      LocalePage{u"vi-VN", 1258},
                      LocalePage{u"en_US", 1252}, LocalePage{u"xx", 0}, LocalePage{u"", 0}, LocalePage{u"r", 0},
                      LocalePage{u"russian", 0}, LocalePage{u"rü", 0}, LocalePage{nullptr, 0}));

}  // namespace
