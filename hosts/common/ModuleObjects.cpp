#include "hosts/common/ModuleObjects.h"

#include <mutex>

#include "zqplatform/comptr.h"
#include "zqplatform/module.h"
#include "zqplatform/objbase.h"
#include "zqplatform/text.h"
#include "zqplatform/utf.h"
#include "zqsubtitle/ZQSubtitle.h"

namespace {

using DllGetClassObjectFunction = HRESULT (*)(REFCLSID, REFIID, void**);

// The build names the module's file (ZQ_MODULE_FILE_NAME, its soname).
constexpr char16_t kModuleBesideProgram[] = u"../lib/" ZQ_MODULE_FILE_NAME;
constexpr DWORD kPathCapacity = 4096;

/// The module beside the program, loaded once and kept: objects and class
/// objects from it may live until the process ends.
struct BundledModule {
    std::once_flag m_loaded;
    HMODULE m_module = nullptr;
    std::u16string m_path;
};

BundledModule& Bundled() {
    static BundledModule module;
    return module;
}

std::u16string ProgramDirectory() {
    WCHAR path[kPathCapacity];
    DWORD length = GetModuleFileNameW(nullptr, path, kPathCapacity);
    if (length == 0 || length >= kPathCapacity)
        return u".";
    std::u16string text(path, length);
    size_t slash = text.rfind(u'/');
    return slash == std::u16string::npos ? u"." : text.substr(0, slash);
}

HMODULE LoadBundledModule() {
    BundledModule& bundled = Bundled();
    std::call_once(bundled.m_loaded, [&bundled] {
        bundled.m_path = PathBesideProgram(kModuleBesideProgram);
        bundled.m_module = LoadLibraryW(bundled.m_path.c_str());
    });
    return bundled.m_module;
}

HRESULT CreateFromBundledModule(REFCLSID clsid, REFIID iid, void** out) {
    HMODULE module = LoadBundledModule();
    if (!module)
        return HRESULT_FROM_WIN32(GetLastError() ? GetLastError() : ERROR_MOD_NOT_FOUND);
    auto getClassObject = reinterpret_cast<DllGetClassObjectFunction>(GetProcAddress(module, "DllGetClassObject"));
    if (!getClassObject)
        return HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND);
    CComPtr<IClassFactory> factory;
    HRESULT hr = getClassObject(clsid, IID_IClassFactory, reinterpret_cast<void**>(&factory));
    if (FAILED(hr))
        return hr;
    return factory->CreateInstance(nullptr, iid, out);
}

void InitialiseThread() {
    // Every thread that creates objects joins the multithreaded apartment
    // once; the answer for a thread already initialised doesn't matter here.
    thread_local bool initialised = false;
    if (initialised)
        return;
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    initialised = true;
}

/// Whether a status of activation says that the registry couldn't lead to a
/// working module, rather than that the object itself failed.
bool IsRegistrationFailure(HRESULT hr) {
    return hr == REGDB_E_CLASSNOTREG || hr == REGDB_E_READREGDB || hr == CO_E_DLLNOTFOUND ||
           hr == CO_E_ERRORINDLL || hr == HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND) ||
           hr == HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND) || hr == HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND);
}

bool IsRegistered(REFCLSID clsid) {
    CComPtr<IClassFactory> factory;
    return SUCCEEDED(CoGetClassObject(clsid, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory,
                                      reinterpret_cast<void**>(&factory)));
}

}  // namespace

HRESULT CreateModuleObject(REFCLSID clsid, REFIID iid, void** out) {
    if (!out)
        return E_POINTER;
    *out = nullptr;
    InitialiseThread();
    HRESULT hr = CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, iid, out);
    if (!IsRegistrationFailure(hr))
        return hr;
    // Not registered, or registered to a module that is gone: the module of
    // this build or installation still serves.
    return CreateFromBundledModule(clsid, iid, out);
}

std::u16string PathBesideProgram(std::u16string_view relative) {
    return ProgramDirectory() + u"/" + std::u16string(relative);
}

std::string DescribeModuleSource() {
    InitialiseThread();
    if (IsRegistered(CLSID_ZQMuxSubtitle))
        return "registry";
    LoadBundledModule();
    return ZQUtf8FromUtf16(Bundled().m_path) + (Bundled().m_module ? "" : " (not found)");
}
