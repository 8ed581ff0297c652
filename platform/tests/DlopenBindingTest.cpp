// A client that knows only the binary interface: its own declarations of the
// types, dlopen and dlsym, no header of the runtime.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

namespace {

struct ClientGuid {
    uint32_t data1;
    uint16_t data2;
    uint16_t data3;
    uint8_t data4[8];
};

struct ClientVariant {
    uint16_t vt;
    uint16_t reserved[3];
    union {
        int32_t i4;
        char16_t* bstr;
        int64_t padding[2];
    };
};

static_assert(sizeof(ClientGuid) == 16);
static_assert(sizeof(ClientVariant) == 24);

constexpr uint16_t kVtI4 = 3;
constexpr uint16_t kVtBstr = 8;

using SysAllocStringLenFn = char16_t* (*)(const char16_t*, uint32_t);
using SysStringLenFn = uint32_t (*)(char16_t*);
using SysStringByteLenFn = uint32_t (*)(char16_t*);
using SysFreeStringFn = void (*)(char16_t*);
using VariantInitFn = void (*)(ClientVariant*);
using VariantCopyFn = int32_t (*)(ClientVariant*, const ClientVariant*);
using VariantClearFn = int32_t (*)(ClientVariant*);

class DlopenBinding : public ::testing::Test {
protected:
    void SetUp() override {
        m_library = dlopen(ZQ_PLATFORM_LIBRARY, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(m_library, nullptr) << dlerror();
    }
    void TearDown() override {
        if (m_library != nullptr)
            dlclose(m_library);
    }

    template <class Fn>
    Fn Symbol(const char* name) {
        void* symbol = dlsym(m_library, name);
        EXPECT_NE(symbol, nullptr) << name;
        return reinterpret_cast<Fn>(symbol);
    }

    void* m_library = nullptr;
};

TEST_F(DlopenBinding, StringsHaveTheirPrefixAndTerminator) {
    auto allocLen = Symbol<SysAllocStringLenFn>("SysAllocStringLen");
    auto length = Symbol<SysStringLenFn>("SysStringLen");
    auto byteLength = Symbol<SysStringByteLenFn>("SysStringByteLen");
    auto freeString = Symbol<SysFreeStringFn>("SysFreeString");
    ASSERT_TRUE(allocLen && length && byteLength && freeString);

    const char16_t text[] = {u'Z', 0, u'Q'};
    char16_t* bstr = allocLen(text, 3);
    ASSERT_NE(bstr, nullptr);
    uint32_t prefix;
    std::memcpy(&prefix, reinterpret_cast<const char*>(bstr) - 4, 4);
    EXPECT_EQ(prefix, 6u);
    EXPECT_EQ(length(bstr), 3u);
    EXPECT_EQ(byteLength(bstr), 6u);
    EXPECT_EQ(bstr[1], 0);
    EXPECT_EQ(bstr[2], u'Q');
    EXPECT_EQ(bstr[3], 0);
    EXPECT_EQ(length(nullptr), 0u);
    freeString(bstr);
    freeString(nullptr);
}

TEST_F(DlopenBinding, VariantsCopyAndClearText) {
    auto allocLen = Symbol<SysAllocStringLenFn>("SysAllocStringLen");
    auto length = Symbol<SysStringLenFn>("SysStringLen");
    auto init = Symbol<VariantInitFn>("VariantInit");
    auto copy = Symbol<VariantCopyFn>("VariantCopy");
    auto clear = Symbol<VariantClearFn>("VariantClear");
    ASSERT_TRUE(allocLen && length && init && copy && clear);

    ClientVariant source;
    init(&source);
    EXPECT_EQ(source.vt, 0);
    source.vt = kVtBstr;
    source.bstr = allocLen(u"text", 4);
    ClientVariant dest;
    init(&dest);
    dest.vt = kVtI4;
    dest.i4 = 5;
    ASSERT_EQ(copy(&dest, &source), 0);
    EXPECT_EQ(dest.vt, kVtBstr);
    EXPECT_NE(dest.bstr, source.bstr);
    EXPECT_EQ(length(dest.bstr), 4u);
    EXPECT_EQ(std::memcmp(dest.bstr, u"text", 8), 0);
    EXPECT_EQ(clear(&dest), 0);
    EXPECT_EQ(dest.vt, 0);
    EXPECT_EQ(clear(&source), 0);
}

}  // namespace
