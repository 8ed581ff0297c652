// Test support: points both registry hives into a fresh folder for one test, and small
// helpers to read and write text values.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <random>
#include <string>

#include "zqplatform/registry.h"

namespace zqtest {

/// Sets ZQPLATFORM_REGISTRY_ROOT to a new folder for the life of the object
/// and puts the old value back after, so that no test touches a real hive.
class TemporaryRegistry {
public:
    TemporaryRegistry() {
        static std::atomic<int> s_serial{0};
        std::random_device random;
        m_folder = std::filesystem::temp_directory_path() /
                   ("zq-registry-" + std::to_string(random()) + "-" + std::to_string(s_serial++));
        std::filesystem::remove_all(m_folder);
        std::filesystem::create_directories(m_folder);
        const char* old = std::getenv("ZQPLATFORM_REGISTRY_ROOT");
        if (old != nullptr)
            m_previous = old;
        ::setenv("ZQPLATFORM_REGISTRY_ROOT", m_folder.c_str(), 1);
    }
    ~TemporaryRegistry() {
        if (m_previous)
            ::setenv("ZQPLATFORM_REGISTRY_ROOT", m_previous->c_str(), 1);
        else
            ::unsetenv("ZQPLATFORM_REGISTRY_ROOT");
        std::error_code ignored;
        std::filesystem::remove_all(m_folder, ignored);
    }
    TemporaryRegistry(const TemporaryRegistry&) = delete;
    TemporaryRegistry& operator=(const TemporaryRegistry&) = delete;

    const std::filesystem::path& Folder() const { return m_folder; }
    std::filesystem::path UserHive() const { return m_folder / "user.reg"; }
    std::filesystem::path MachineHive() const { return m_folder / "machine.reg"; }

private:
    std::filesystem::path m_folder;
    std::optional<std::string> m_previous;
};

/// Creates `path` under `root` and sets its value `name` (null: default).
inline LSTATUS SetRegistryText(HKEY root, const char16_t* path, const char16_t* name, const std::u16string& text) {
    HKEY key = nullptr;
    LSTATUS status = RegCreateKeyExW(root, path, 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr);
    if (status != ERROR_SUCCESS)
        return status;
    status = RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                            static_cast<DWORD>((text.size() + 1) * sizeof(char16_t)));
    RegCloseKey(key);
    return status;
}

/// The text value `name` of `path` under `root`, or nothing if either is missing.
inline std::optional<std::u16string> GetRegistryText(HKEY root, const char16_t* path, const char16_t* name) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(root, path, 0, KEY_READ, &key) != ERROR_SUCCESS)
        return std::nullopt;
    char16_t buffer[1024];
    DWORD size = sizeof buffer;
    DWORD type = 0;
    LSTATUS status = RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(buffer), &size);
    RegCloseKey(key);
    if (status != ERROR_SUCCESS || type != REG_SZ || size < sizeof(char16_t))
        return std::nullopt;
    return std::u16string(buffer, size / sizeof(char16_t) - 1);
}

inline bool RegistryKeyExists(HKEY root, const char16_t* path) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(root, path, 0, KEY_READ, &key) != ERROR_SUCCESS)
        return false;
    RegCloseKey(key);
    return true;
}

}  // namespace zqtest
