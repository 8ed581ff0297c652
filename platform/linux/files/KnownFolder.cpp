// The user's known folders.
#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "files/NativePath.h"
#include "zqplatform/shlobj.h"

namespace {

/// $HOME when it is set and absolute, else the home of the account the
/// process runs as; empty when neither is known.
std::string HomeFolder() {
    const char* home = std::getenv("HOME");
    if (home != nullptr && home[0] == '/')
        return home;
    long bufferSize = ::sysconf(_SC_GETPW_R_SIZE_MAX);
    std::vector<char> buffer(bufferSize > 0 ? static_cast<size_t>(bufferSize) : 16384);
    passwd entry{};
    passwd* found = nullptr;
    if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr ||
        found->pw_dir == nullptr)
        return {};
    return found->pw_dir;
}

}  // namespace

extern "C" {

HRESULT SHGetFolderPathW(HWND /*owner*/, int csidl, HANDLE /*token*/, DWORD /*flags*/, WCHAR* path) {
    if (path == nullptr)
        return E_POINTER;
    path[0] = 0;
    if (csidl != CSIDL_PROFILE)
        return E_INVALIDARG;
    std::string folder = HomeFolder();
    while (folder.size() > 1 && folder.back() == '/')
        folder.pop_back();
    const std::u16string wide = zqplatform::WidePath(folder);
    if (wide.empty() || wide.size() >= MAX_PATH)
        return E_FAIL;
    wide.copy(path, wide.size());
    path[wide.size()] = 0;
    return S_OK;
}

}  // extern "C"
