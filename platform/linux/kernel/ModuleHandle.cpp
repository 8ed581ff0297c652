// Handles of loaded modules through the dynamic loader, without loading.
#include <dlfcn.h>

#include "files/NativePath.h"
#include "zqplatform/modulehandle.h"
#include "zqplatform/status.h"

extern "C" {

BOOL GetModuleHandleExW(DWORD flags, LPCWSTR nameOrAddress, HMODULE* module) {
    if (module == nullptr || (flags & GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS) == 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    *module = nullptr;
    Dl_info info{};
    if (::dladdr(nameOrAddress, &info) == 0 || info.dli_fname == nullptr) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return FALSE;
    }
    // RTLD_NOLOAD finds the loaded module by the name it was loaded under and
    // takes a reference, which is given back at once when none is wanted.
    void* handle = ::dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD);
    if (handle == nullptr) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return FALSE;
    }
    if ((flags & GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT) != 0)
        ::dlclose(handle);
    *module = reinterpret_cast<HMODULE>(handle);
    return TRUE;
}

HMODULE GetModuleHandleW(LPCWSTR fileName) {
    std::string path = fileName == nullptr ? std::string() : zqplatform::NativePath(fileName);
    void* handle = ::dlopen(fileName == nullptr ? nullptr : path.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (handle == nullptr) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return nullptr;
    }
    ::dlclose(handle);
    return reinterpret_cast<HMODULE>(handle);
}

}  // extern "C"
