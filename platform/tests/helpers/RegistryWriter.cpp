// A second process for the registry's tests: writes values "<prefix><n>" into
// HKCU\Software\Shared, `count` of them, or without end for a count of 0.
// Usage: registry_writer PREFIX COUNT. Exits 0 when every write succeeded.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "zqplatform/registry.h"

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: registry_writer PREFIX COUNT\n");
        return 2;
    }
    const std::string prefix = argv[1];
    const int count = std::atoi(argv[2]);
    // A long value makes each write take long enough to be interrupted.
    const std::u16string padding(count == 0 ? 20000 : 10, u'.');
    HKEY key = nullptr;
    if (RegCreateKeyExW(HKEY_CURRENT_USER, u"Software\\Shared", 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr) !=
        ERROR_SUCCESS)
        return 1;
    for (int i = 0; count == 0 || i < count; ++i) {
        const std::string name = prefix + std::to_string(i);
        const std::u16string wideName(name.begin(), name.end());
        if (RegSetValueExW(key, wideName.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(padding.c_str()),
                           static_cast<DWORD>((padding.size() + 1) * sizeof(char16_t))) != ERROR_SUCCESS)
            return 1;
    }
    RegCloseKey(key);
    return 0;
}
