#include "ui/CZQViewLibrary.h"

#include <map>
#include <mutex>

#include "zqplatform/module.h"
#include "zqplatform/modulehandle.h"
#include "zqsubtitle/ZQSubtitlePropertyFrame.h"

namespace {

constexpr DWORD kPathCapacity = 4096;

// Guards s_factories: the loads of the process, by path.
std::mutex s_lock;
std::map<std::u16string, IZQViewFactory*>& Factories() {
    static std::map<std::u16string, IZQViewFactory*> s_factories;
    return s_factories;
}

/// The folder of the module that this code is linked into.
std::u16string ModuleFolder() {
    HMODULE module = nullptr;
    const DWORD flags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    if (!GetModuleHandleExW(flags, reinterpret_cast<LPCWSTR>(&ModuleFolder), &module))
        return u".";
    WCHAR path[kPathCapacity];
    const DWORD length = GetModuleFileNameW(module, path, kPathCapacity);
    if (length == 0 || length >= kPathCapacity)
        return u".";
    const std::u16string file(path, length);
    const size_t slash = file.rfind(u'/');
    return slash == std::u16string::npos ? u"." : file.substr(0, slash);
}

}  // namespace

std::u16string CZQViewLibrary::DefaultPath() {
    return ModuleFolder() + u"/" + kZQPresentationLibraryName;
}

HRESULT CZQViewLibrary::GetFactory(IZQViewFactory** factory) noexcept {
    try {
        return LoadFactory(DefaultPath(), factory);
    } catch (...) {
        if (factory != nullptr)
            *factory = nullptr;
        return E_OUTOFMEMORY;
    }
}

HRESULT CZQViewLibrary::LoadFactory(const std::u16string& path, IZQViewFactory** factory) noexcept {
    if (factory == nullptr)
        return E_POINTER;
    *factory = nullptr;
    try {
        std::lock_guard<std::mutex> lock(s_lock);
        auto found = Factories().find(path);
        if (found != Factories().end()) {
            *factory = found->second;
            return S_OK;
        }
        HMODULE library = LoadLibraryW(path.c_str());
        if (library == nullptr)
            return HRESULT_FROM_WIN32(GetLastError() != 0 ? GetLastError() : ERROR_MOD_NOT_FOUND);
        auto entry = reinterpret_cast<ZQGetViewFactoryFunction>(GetProcAddress(library, kZQViewFactoryEntry));
        IZQViewFactory* made = entry != nullptr ? entry(kZQViewContractVersion) : nullptr;
        if (made == nullptr) {
            FreeLibrary(library);
            return entry == nullptr ? HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND) : E_NOINTERFACE;
        }
        // The library stays loaded: its reference is never given back.
        Factories().emplace(path, made);
        *factory = made;
        return S_OK;
    } catch (...) {
        return E_OUTOFMEMORY;
    }
}
