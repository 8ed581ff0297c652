// The registrar: the script language's replacements, strings and key kinds in
// register and unregister mode, and scripts it refuses without a change.
#include <gtest/gtest.h>

#include <filesystem>

#include "shell/CZQRegistrar.h"
#include "tests/support/HResultAssertions.h"
#include "tests/support/TemporaryRegistry.h"

namespace {

using zqtest::GetRegistryText;
using zqtest::RegistryKeyExists;
using zqtest::SetRegistryText;

class CZQRegistrarTest : public ::testing::Test {
protected:
    zqtest::TemporaryRegistry m_registry;
    CZQRegistrar m_registrar;
};

TEST_F(CZQRegistrarTest, ReplacesNamesWithoutRegardToCaseAndUndoublesApostrophes) {
    m_registrar.AddReplacement(u"name", u"Kestrix");
    m_registrar.AddReplacement(u"MODE", u"Both");
    ASSERT_OK(m_registrar.Register(
        u"HKCU\n{\n  Software\n  {\n    'Zq Test' = s 'it''s %NAME% at 100%%'\n    {\n"
        u"      val Mode = s '%Mode%'\n      val Count = d '42'\n    }\n  }\n}\n"));
    EXPECT_EQ(u"it's Kestrix at 100%", GetRegistryText(HKEY_CURRENT_USER, u"Software\\Zq Test", nullptr));
    EXPECT_EQ(u"Both", GetRegistryText(HKEY_CURRENT_USER, u"Software\\Zq Test", u"Mode"));
    HKEY key = nullptr;
    ASSERT_EQ(ERROR_SUCCESS, RegOpenKeyExW(HKEY_CURRENT_USER, u"Software\\Zq Test", 0, KEY_READ, &key));
    DWORD number = 0;
    DWORD size = sizeof number;
    DWORD type = 0;
    EXPECT_EQ(ERROR_SUCCESS, RegQueryValueExW(key, u"Count", nullptr, &type, reinterpret_cast<BYTE*>(&number), &size));
    RegCloseKey(key);
    EXPECT_EQ(REG_DWORD, type);
    EXPECT_EQ(42u, number);
}

class CZQRegistrarRefusalTest : public CZQRegistrarTest, public ::testing::WithParamInterface<const char16_t*> {};

TEST_P(CZQRegistrarRefusalTest, RefusesTheWholeScriptWithNothingChanged) {
    m_registrar.AddReplacement(u"KNOWN", u"x");
    EXPECT_HR(E_INVALIDARG, m_registrar.Register(GetParam()));
    EXPECT_HR(E_INVALIDARG, m_registrar.Unregister(GetParam()));
    EXPECT_FALSE(std::filesystem::exists(m_registry.UserHive()));
    EXPECT_FALSE(std::filesystem::exists(m_registry.MachineHive()));
}

INSTANTIATE_TEST_SUITE_P(
    Scripts, CZQRegistrarRefusalTest,
    ::testing::Values(u"HKXX { A }", u"HKCU { A = s 'a' { B }", u"HKCU { A = s 'unterminated }",
                      u"HKCU { A = s '%UNKNOWN%' }", u"HKCU { A = s '%KNOWN }", u"HKCU { val A = s 'a' }",
                      u"HKCU { A = q 'a' }", u"HKCU { A = d 'ten' }", u"HKCU { A = d '4294967296' }",
                      u"HKCU { A = s }", u"HKCU { NoRemove }", u"HKCU { 'A\\B' }", u"HKCU { A } }"));

TEST_F(CZQRegistrarTest, KeyKindsDecideWhatGoesInEachMode) {
    constexpr const char16_t* kScript =
        u"HKCU { NoRemove Shared { ForceRemove Mine = s 'mine' { Sub } Plain { Leaf } Delete Gone "
        u"val Named = s 'v' } }";
    ASSERT_EQ(ERROR_SUCCESS, SetRegistryText(HKEY_CURRENT_USER, u"Shared\\Other", nullptr, u"theirs"));
    ASSERT_EQ(ERROR_SUCCESS, SetRegistryText(HKEY_CURRENT_USER, u"Shared\\Mine\\Stale", nullptr, u"old"));
    ASSERT_EQ(ERROR_SUCCESS, SetRegistryText(HKEY_CURRENT_USER, u"Shared\\Plain\\Kept", nullptr, u"old"));
    ASSERT_EQ(ERROR_SUCCESS, SetRegistryText(HKEY_CURRENT_USER, u"Shared\\Gone", nullptr, u"old"));

    ASSERT_OK(m_registrar.Register(kScript));
    EXPECT_FALSE(RegistryKeyExists(HKEY_CURRENT_USER, u"Shared\\Mine\\Stale"));  // forced out first
    EXPECT_TRUE(RegistryKeyExists(HKEY_CURRENT_USER, u"Shared\\Mine\\Sub"));
    EXPECT_TRUE(RegistryKeyExists(HKEY_CURRENT_USER, u"Shared\\Plain\\Kept"));  // a plain key is merged into
    EXPECT_FALSE(RegistryKeyExists(HKEY_CURRENT_USER, u"Shared\\Gone"));
    EXPECT_EQ(u"v", GetRegistryText(HKEY_CURRENT_USER, u"Shared", u"Named"));

    ASSERT_OK(m_registrar.Unregister(kScript));
    EXPECT_TRUE(RegistryKeyExists(HKEY_CURRENT_USER, u"Shared"));
    EXPECT_EQ(u"theirs", GetRegistryText(HKEY_CURRENT_USER, u"Shared\\Other", nullptr));
    EXPECT_FALSE(RegistryKeyExists(HKEY_CURRENT_USER, u"Shared\\Mine"));
    EXPECT_FALSE(RegistryKeyExists(HKEY_CURRENT_USER, u"Shared\\Plain"));
    EXPECT_FALSE(GetRegistryText(HKEY_CURRENT_USER, u"Shared", u"Named"));
    // Unregistering what isn't there is no failure.
    EXPECT_OK(m_registrar.Unregister(kScript));
}

TEST_F(CZQRegistrarTest, ClassesRootGoesToOneHiveByRegistrationKind) {
    constexpr const char16_t* kScript = u"HKCR { Zq.Test = s 'x' }";
    ASSERT_OK(m_registrar.Register(kScript));
    EXPECT_TRUE(RegistryKeyExists(HKEY_LOCAL_MACHINE, u"Software\\Classes\\Zq.Test"));
    m_registrar.SetPerUser(true);
    ASSERT_OK(m_registrar.Register(kScript));
    EXPECT_TRUE(RegistryKeyExists(HKEY_CURRENT_USER, u"Software\\Classes\\Zq.Test"));
    ASSERT_OK(m_registrar.Unregister(kScript));
    EXPECT_FALSE(RegistryKeyExists(HKEY_CURRENT_USER, u"Software\\Classes\\Zq.Test"));
    EXPECT_TRUE(RegistryKeyExists(HKEY_LOCAL_MACHINE, u"Software\\Classes\\Zq.Test"));
}

}  // namespace
