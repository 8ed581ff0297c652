#include "tests/support/ModuleObjectsForTests.h"

#include <map>
#include <mutex>
#include <string>

#include "zqplatform/comptr.h"
#include "zqplatform/module.h"
#include "zqplatform/utf.h"

namespace zqtest {

HRESULT CreateFromModule(const char* modulePath, REFCLSID clsid, REFIID iid, void** out) {
    using GetClassObjectFunction = HRESULT (*)(REFCLSID, REFIID, void**);
    if (out == nullptr)
        return E_POINTER;
    *out = nullptr;
    static std::mutex s_lock;  // guards s_modules
    static std::map<std::string, HMODULE> s_modules;
    HMODULE module = nullptr;
    {
        std::lock_guard<std::mutex> lock(s_lock);
        HMODULE& loaded = s_modules[modulePath];
        if (loaded == nullptr)
            loaded = LoadLibraryW(ZQUtf16FromUtf8(modulePath).c_str());
        module = loaded;
    }
    if (module == nullptr)
        return HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND);
    auto getClassObject = reinterpret_cast<GetClassObjectFunction>(GetProcAddress(module, "DllGetClassObject"));
    if (getClassObject == nullptr)
        return HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND);
    CComPtr<IClassFactory> factory;
    const HRESULT hr = getClassObject(clsid, IID_IClassFactory, reinterpret_cast<void**>(&factory));
    if (FAILED(hr))
        return hr;
    return factory->CreateInstance(nullptr, iid, out);
}

}  // namespace zqtest
