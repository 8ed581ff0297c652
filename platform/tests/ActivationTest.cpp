// Activation without a real module: class id text, ProgIDs through CurVer, and the
// failures before a module is loaded (loading and unloading are tested with the module).
#include <gtest/gtest.h>

#include "tests/support/HResultAssertions.h"
#include "tests/support/TemporaryRegistry.h"
#include "zqplatform/objbase.h"

namespace {

using zqtest::SetRegistryText;

constexpr CLSID kClass = {0x7C41A0EF, 0x5D2B, 0x4E6F, {0x9A, 0x13, 0x2F, 0x6D, 0x8B, 0x04, 0xC7, 0xE1}};
constexpr char16_t kClassText[] = u"{7C41A0EF-5D2B-4E6F-9A13-2F6D8B04C7E1}";

TEST(ClassIdText, WritesUpperCaseReadsEitherCaseAndRefusesMalformedText) {
    char16_t text[39];
    EXPECT_EQ(39, StringFromGUID2(kClass, text, 39));
    EXPECT_EQ(std::u16string(kClassText), text);
    EXPECT_EQ(0, StringFromGUID2(kClass, text, 38));

    CLSID read{};
    EXPECT_OK(CLSIDFromString(u"{7c41a0ef-5d2b-4e6f-9a13-2f6d8b04c7e1}", &read));
    EXPECT_EQ(kClass, read);
    EXPECT_OK(CLSIDFromString(nullptr, &read));
    EXPECT_EQ(GUID_NULL, read);

    zqtest::TemporaryRegistry registry;  // text without braces is looked up as a ProgID
    for (const char16_t* bad : {u"", u"7C41A0EF-5D2B-4E6F-9A13-2F6D8B04C7E1", u"{7C41A0EF-5D2B-4E6F-9A13-2F6D8B04C7E}",
                                u"{7C41A0EF-5D2B-4E6F-9A13+2F6D8B04C7E1}", u"{7C41A0EG-5D2B-4E6F-9A13-2F6D8B04C7E1}",
                                u"{7C41A0EF-5D2B-4E6F-9A13-2F6D8B04C7E1}x"})
        EXPECT_HR(CO_E_CLASSSTRING, CLSIDFromString(bad, &read));
}

class ActivationTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_OK(CoInitializeEx(nullptr, COINIT_MULTITHREADED)); }
    void TearDown() override { CoUninitialize(); }

    zqtest::TemporaryRegistry m_registry;
};

TEST_F(ActivationTest, FindsTheClassOfAProgIdDirectlyOrThroughCurVer) {
    ASSERT_EQ(ERROR_SUCCESS, SetRegistryText(HKEY_CURRENT_USER, u"Software\\Classes\\Z.Thing.1\\CLSID", nullptr,
                                             kClassText));
    ASSERT_EQ(ERROR_SUCCESS, SetRegistryText(HKEY_CURRENT_USER, u"Software\\Classes\\Z.Thing\\CurVer", nullptr,
                                             u"Z.Thing.1"));
    ASSERT_EQ(ERROR_SUCCESS, SetRegistryText(HKEY_CURRENT_USER, u"Software\\Classes\\Z.Loop\\CurVer", nullptr,
                                             u"Z.Loop"));
    CLSID clsid{};
    EXPECT_OK(CLSIDFromProgID(u"Z.Thing.1", &clsid));
    EXPECT_EQ(kClass, clsid);
    clsid = GUID_NULL;
    EXPECT_OK(CLSIDFromProgID(u"z.thing", &clsid));
    EXPECT_EQ(kClass, clsid);
    clsid = GUID_NULL;
    EXPECT_OK(CLSIDFromString(u"Z.Thing", &clsid));
    EXPECT_EQ(kClass, clsid);
    EXPECT_HR(CO_E_CLASSSTRING, CLSIDFromProgID(u"Z.Missing", &clsid));
    EXPECT_HR(CO_E_CLASSSTRING, CLSIDFromProgID(u"Z.Loop", &clsid));
    EXPECT_HR(E_INVALIDARG, CLSIDFromProgID(nullptr, &clsid));
}

TEST_F(ActivationTest, FailsBeforeLoadingForClassesWithoutAServer) {
    void* out = &out;
    EXPECT_HR(REGDB_E_CLASSNOTREG, CoCreateInstance(kClass, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, &out));
    EXPECT_EQ(nullptr, out);

    std::u16string key = std::u16string(u"Software\\Classes\\CLSID\\") + kClassText + u"\\InprocServer32";
    std::u16string missing = (m_registry.Folder() / "missing.so").u16string();
    ASSERT_EQ(ERROR_SUCCESS, SetRegistryText(HKEY_CURRENT_USER, key.c_str(), nullptr, missing));
    out = &out;
    EXPECT_HR(HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND),
              CoGetClassObject(kClass, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory, &out));
    EXPECT_EQ(nullptr, out);
    EXPECT_HR(REGDB_E_CLASSNOTREG, CoGetClassObject(kClass, 0x10, nullptr, IID_IClassFactory, &out));
    EXPECT_HR(E_INVALIDARG, CoGetClassObject(kClass, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory, nullptr));
    EXPECT_HR(E_POINTER, CoCreateInstance(kClass, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, nullptr));
}

TEST(ActivationOutsideAnApartment, AnswersNotInitialised) {
    zqtest::TemporaryRegistry registry;
    void* out = nullptr;
    EXPECT_HR(CO_E_NOTINITIALIZED, CoGetClassObject(kClass, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory, &out));
}

}  // namespace
