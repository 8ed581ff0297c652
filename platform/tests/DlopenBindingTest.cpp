// A client that knows only the binary interface: its own declarations of the
// types, dlopen and dlsym, no header of the runtime.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

namespace {

struct ClientVariant {
    uint16_t vt;
    uint16_t reserved[3];
    union {
        int32_t i4;
        char16_t* bstr;
        int64_t padding[2];
    };
};
static_assert(sizeof(ClientVariant) == 24);

constexpr uint16_t kVtI4 = 3;
constexpr uint16_t kVtBstr = 8;

TEST(DlopenBinding, StringsAndVariantsWorkThroughTheBareSymbols) {
    void* library = dlopen(ZQ_PLATFORM_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    auto allocLen = reinterpret_cast<char16_t* (*)(const char16_t*, uint32_t)>(dlsym(library, "SysAllocStringLen"));
    auto length = reinterpret_cast<uint32_t (*)(char16_t*)>(dlsym(library, "SysStringLen"));
    auto byteLength = reinterpret_cast<uint32_t (*)(char16_t*)>(dlsym(library, "SysStringByteLen"));
    auto freeString = reinterpret_cast<void (*)(char16_t*)>(dlsym(library, "SysFreeString"));
    auto init = reinterpret_cast<void (*)(ClientVariant*)>(dlsym(library, "VariantInit"));
    auto copy = reinterpret_cast<int32_t (*)(ClientVariant*, const ClientVariant*)>(dlsym(library, "VariantCopy"));
    auto clear = reinterpret_cast<int32_t (*)(ClientVariant*)>(dlsym(library, "VariantClear"));
    ASSERT_TRUE(allocLen && length && byteLength && freeString && init && copy && clear);

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
    dlclose(library);
}

}  // namespace
