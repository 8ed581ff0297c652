// BSTR layout and lengths, and task memory.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "zqplatform/oleauto.h"

namespace {

uint32_t PrefixOf(BSTR bstr) {
    uint32_t prefix;
    std::memcpy(&prefix, reinterpret_cast<const char*>(bstr) - 4, sizeof prefix);
    return prefix;
}

TEST(Bstr, LengthsPrefixAndTerminatorWithEmbeddedNulsOrNoSource) {
    const OLECHAR text[] = {u'a', 0, u'b', 0, u'c'};
    BSTR bstr = SysAllocStringLen(text, 5);
    ASSERT_NE(bstr, nullptr);
    EXPECT_EQ(SysStringLen(bstr), 5u);
    EXPECT_EQ(SysStringByteLen(bstr), 10u);
    EXPECT_EQ(PrefixOf(bstr), 10u);
    EXPECT_EQ(std::u16string(bstr, 5), std::u16string(text, 5));
    EXPECT_EQ(bstr[5], 0);
    SysFreeString(bstr);

    bstr = SysAllocStringLen(nullptr, 3);
    ASSERT_NE(bstr, nullptr);
    EXPECT_EQ(SysStringLen(bstr), 3u);
    EXPECT_EQ(bstr[3], 0);
    bstr[0] = u'x';  // the storage is the caller's to fill
    SysFreeString(bstr);

    bstr = SysAllocString(u"Hello");
    EXPECT_EQ(SysStringLen(bstr), 5u);
    SysFreeString(bstr);
    EXPECT_EQ(SysStringLen(nullptr), 0u);
    EXPECT_EQ(SysStringByteLen(nullptr), 0u);
    EXPECT_EQ(SysAllocString(nullptr), nullptr);
    SysFreeString(nullptr);
}

TEST(Bstr, OddByteLengthIsTerminatedAndReAllocMayReadTheOldString) {
    BSTR bstr = SysAllocStringByteLen("abc", 3);
    ASSERT_NE(bstr, nullptr);
    EXPECT_EQ(SysStringByteLen(bstr), 3u);
    EXPECT_EQ(SysStringLen(bstr), 1u);
    const char* bytes = reinterpret_cast<const char*>(bstr);
    EXPECT_EQ(std::string(bytes, 3), "abc");
    EXPECT_EQ(bytes[3], 0);
    EXPECT_EQ(bytes[4], 0);
    SysFreeString(bstr);

    bstr = SysAllocString(u"abcdef");
    ASSERT_TRUE(SysReAllocStringLen(&bstr, bstr + 2, 3));
    EXPECT_EQ(std::u16string(bstr, SysStringLen(bstr)), u"cde");
    EXPECT_FALSE(SysReAllocStringLen(nullptr, u"x", 1));
    SysFreeString(bstr);
}

TEST(TaskMemory, ZeroBytesGiveAPointerAndReallocKeepsContents) {
    void* empty = CoTaskMemAlloc(0);
    EXPECT_NE(empty, nullptr);
    CoTaskMemFree(empty);
    auto* block = static_cast<char*>(CoTaskMemAlloc(4));
    ASSERT_NE(block, nullptr);
    std::memcpy(block, "abc", 4);
    block = static_cast<char*>(CoTaskMemRealloc(block, 4096));
    ASSERT_NE(block, nullptr);
    EXPECT_STREQ(block, "abc");
    EXPECT_EQ(CoTaskMemRealloc(block, 0), nullptr);  // frees
    CoTaskMemFree(nullptr);
}

}  // namespace
