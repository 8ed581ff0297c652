// The module's five entry points, and registration: the class script per
// class in table order, then the type library.
//
// The type library goes in through the registry script too, with the entries
// that the platform's own registration of a type library makes: the library
// under TypeLib, its file being the module (on Windows its resource TYPELIB
// 1), and each interface under Interface, marshalled by the library.
//
// Steps of the original platform that have nothing to act on are left out,
// each where it would stand: the media framework's filter mapper (there are
// no filters to enter), the thread locale (nothing that the scripts write
// depends on it), and the proxies and stubs (in-process use needs none, and
// where a platform marshals at all, the automation interfaces go by the type
// library).
#include <atomic>
#include <string>

#include "shell/CZQClassTable.h"
#include "shell/CZQRegistrar.h"
#include "shell/ZQRegistryScripts.h"
#include "support/CStatusException.h"
#include "support/CZQSubtitleModule.h"
#include "zqplatform/fileapi.h"
#include "zqplatform/module.h"
#include "zqplatform/modulehandle.h"
#include "zqsubtitle/ZQSubtitle.h"

#define ZQSUBTITLE_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

constexpr const char16_t* kTypeLibraryGuid = u"{7C41A0EE-5D2B-4E6F-9A13-2F6D8B04C7E1}";

/// Set by DllInstall with "user"; stays set until the module ends.
/// Registration runs on one thread, but a flag read by any export is atomic.
std::atomic<bool> g_perUserRegistration{false};

/// This module's handle, without a reference of its own.
HMODULE ThisModule() {
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(&ThisModule), &module);
    return module;
}

/// The module's full file name, in room for MAX_PATH characters: a name that
/// fills them is refused with ERROR_INSUFFICIENT_BUFFER as a status.
HRESULT ModuleFileName(std::u16string& name) {
    HMODULE module = ThisModule();
    if (module == nullptr)
        return HRESULT_FROM_WIN32(GetLastError());
    WCHAR buffer[MAX_PATH];
    DWORD length = GetModuleFileNameW(module, buffer, MAX_PATH);
    if (length == 0)
        return HRESULT_FROM_WIN32(GetLastError());
    if (length >= MAX_PATH)
        return HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER);
    name.assign(buffer, length);
    return S_OK;
}

/// Text for use inside a script string: apostrophes doubled.
std::u16string ForScript(const std::u16string& text) {
    std::u16string escaped;
    for (char16_t c : text) {
        escaped += c;
        if (c == u'\'')
            escaped += u'\'';
    }
    return escaped;
}

HRESULT RunClassScripts(const std::u16string& module, bool install, bool perUser) {
    for (const ZQClassRow& row : ZQClassRows()) {
        CZQRegistrar registrar;
        registrar.SetPerUser(perUser);
        registrar.AddReplacement(u"CLSID", row.m_clsidText);
        registrar.AddReplacement(u"PROGID", row.m_progId);
        registrar.AddReplacement(u"VIPROGID", row.m_versionIndependentProgId);
        registrar.AddReplacement(u"NAME", row.m_name);
        registrar.AddReplacement(u"TYPELIB", kTypeLibraryGuid);
        registrar.AddReplacement(u"MODULE", ForScript(module));
        HRESULT hr = install ? registrar.Register(ZQClassRegistryScript())
                             : registrar.Unregister(ZQClassRegistryScript());
        // Registering stops at the first failure; unregistering does too, as
        // the original does, leaving the later classes for another attempt.
        if (FAILED(hr))
            return hr;
    }
    return S_OK;
}

HRESULT RunTypeLibraryScript(const std::u16string& module, bool install, bool perUser) {
    CZQRegistrar registrar;
    registrar.SetPerUser(perUser);
    registrar.AddReplacement(u"MODULE", ForScript(module));
    // Without a help file the help directory is the library file's own; the
    // path is Windows' or Linux', so either separator ends the folder.
    size_t slash = module.find_last_of(u"/\\");
    registrar.AddReplacement(u"HELPDIR", ForScript(slash == std::u16string::npos ? u"" : module.substr(0, slash)));
    std::u16string script = ZQTypeLibraryRegistryScript();
    return install ? registrar.Register(script) : registrar.Unregister(script);
}

HRESULT RegisterServer() {
    bool perUser = g_perUserRegistration.load();
    std::u16string module;
    HRESULT hr = ModuleFileName(module);
    if (FAILED(hr))
        return hr;
    hr = RunClassScripts(module, true, perUser);
    if (FAILED(hr))
        return hr;
    return RunTypeLibraryScript(module, true, perUser);
}

HRESULT UnregisterServer() {
    bool perUser = g_perUserRegistration.load();
    std::u16string module;
    HRESULT hr = ModuleFileName(module);
    if (FAILED(hr))
        return hr;
    hr = RunClassScripts(module, false, perUser);
    HRESULT libraryHr = RunTypeLibraryScript(module, false, perUser);
    return FAILED(hr) ? hr : libraryHr;
}

/// "user" in any case of the letters, with nothing behind it.
bool SelectsPerUser(const OLECHAR* commandLine) {
    if (commandLine == nullptr)
        return false;
    const char16_t* kWord = u"user";
    size_t i = 0;
    for (; kWord[i] != 0; ++i) {
        char16_t c = commandLine[i];
        if (c >= u'A' && c <= u'Z')
            c = static_cast<char16_t>(c - u'A' + u'a');
        if (c != kWord[i])
            return false;
    }
    return commandLine[i] == 0;
}

}  // namespace

ZQSUBTITLE_EXPORT HRESULT DllGetClassObject(REFCLSID clsid, REFIID iid, void** out) {
    // No proxy part answers first: proxies and stubs are not built here.
    return CZQClassTable::Instance().GetClassObject(clsid, iid, out);
}

ZQSUBTITLE_EXPORT HRESULT DllCanUnloadNow() {
    return ZQModule().GetLockCount() > 0 ? S_FALSE : S_OK;
}

ZQSUBTITLE_EXPORT HRESULT DllRegisterServer() {
    return ZQCallWithBarrier([] { return RegisterServer(); });
}

ZQSUBTITLE_EXPORT HRESULT DllUnregisterServer() {
    return ZQCallWithBarrier([] { return UnregisterServer(); });
}

ZQSUBTITLE_EXPORT HRESULT DllInstall(BOOL install, const OLECHAR* commandLine) {
    if (SelectsPerUser(commandLine))
        g_perUserRegistration.store(true);
    if (!install)
        return DllUnregisterServer();
    HRESULT hr = DllRegisterServer();
    if (FAILED(hr))
        DllUnregisterServer();  // a failed install leaves nothing; this answer doesn't count
    return hr;
}
