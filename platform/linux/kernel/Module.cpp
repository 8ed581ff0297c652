// Shared objects through the dynamic loader.
#include <cerrno>
#include <climits>
#include <dlfcn.h>
#include <link.h>
#include <string>
#include <unistd.h>

#include "files/NativePath.h"
#include "zqplatform/module.h"
#include "zqplatform/status.h"

namespace {

void* ToLoader(HMODULE module) {
    return reinterpret_cast<void*>(module);
}

std::string MainProgramPath() {
    std::string path(PATH_MAX, '\0');
    ssize_t length = ::readlink("/proc/self/exe", path.data(), path.size());
    if (length < 0) {
        ZQHResultFromErrno(errno);
        return {};
    }
    path.resize(static_cast<size_t>(length));
    return path;
}

std::string ModulePath(HMODULE module) {
    link_map* map = nullptr;
    if (::dlinfo(ToLoader(module), RTLD_DI_LINKMAP, &map) != 0 || map == nullptr || map->l_name == nullptr) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return {};
    }
    // The main program's own entry has an empty name.
    if (map->l_name[0] == 0)
        return MainProgramPath();
    return map->l_name;
}

}  // namespace

extern "C" {

HMODULE LoadLibraryW(const WCHAR* fileName) {
    if (fileName == nullptr || fileName[0] == 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    std::string path = zqplatform::NativePath(fileName);
    // RTLD_LOCAL: a module's symbols must not answer for another module's,
    // as each module on the original platform resolves its own imports.
    void* module = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return nullptr;
    }
    return reinterpret_cast<HMODULE>(module);
}

void* GetProcAddress(HMODULE module, const char* procName) {
    if (module == nullptr || procName == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    void* address = ::dlsym(ToLoader(module), procName);
    if (address == nullptr)
        SetLastError(ERROR_PROC_NOT_FOUND);
    return address;
}

BOOL FreeLibrary(HMODULE module) {
    if (module == nullptr || ::dlclose(ToLoader(module)) != 0) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    return TRUE;
}

DWORD GetModuleFileNameW(HMODULE module, WCHAR* fileName, DWORD size) {
    std::string path = module == nullptr ? MainProgramPath() : ModulePath(module);
    if (path.empty())
        return 0;
    return zqplatform::CopyWideOut(zqplatform::WidePath(path), fileName, size);
}

}  // extern "C"
