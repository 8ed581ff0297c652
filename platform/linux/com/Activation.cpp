// Activation: from a class id through the registry to a loaded module's class
// object, and the unloading of modules that nobody needs any more.
#include <climits>
#include <cstdlib>
#include <dlfcn.h>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <vector>

#include "com/ComInit.h"
#include "files/NativePath.h"
#include "text/HexDigit.h"
#include "zqplatform/objbase.h"
#include "zqplatform/registry.h"

namespace {

using GetClassObjectFunction = HRESULT (*)(REFCLSID, REFIID, void**);
using CanUnloadNowFunction = HRESULT (*)();

constexpr int kGuidTextLength = 38;
/// How many CurVer links a ProgID may be followed through; a loop ends here.
constexpr int kMaxCurVerDepth = 8;

/// A module loaded by activation. Its entry in g_modules owns the loader's
/// reference; m_busy counts calls into it in progress, which keep it loaded.
struct LoadedModule {
    std::string m_path;
    void* m_handle = nullptr;
    GetClassObjectFunction m_getClassObject = nullptr;
    CanUnloadNowFunction m_canUnloadNow = nullptr;
    int m_busy = 0;
};

/// Guards g_modules. Recursive: loading a module runs its static
/// initialisation, which may itself activate a class.
std::recursive_mutex g_modulesLock;
std::vector<std::unique_ptr<LoadedModule>> g_modules;

/// A REG_SZ value as text; false if missing or not text.
bool ReadText(HKEY root, const std::u16string& subKey, const WCHAR* name, std::u16string& text) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(root, subKey.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
        return false;
    DWORD type = 0;
    DWORD size = 0;
    LSTATUS status = RegQueryValueExW(key, name, nullptr, &type, nullptr, &size);
    std::vector<BYTE> data(size + sizeof(WCHAR));
    if (status == ERROR_SUCCESS && type == REG_SZ)
        status = RegQueryValueExW(key, name, nullptr, &type, data.data(), &size);
    RegCloseKey(key);
    if (status != ERROR_SUCCESS || type != REG_SZ)
        return false;
    text.assign(reinterpret_cast<const char16_t*>(data.data()), size / sizeof(WCHAR));
    while (!text.empty() && text.back() == 0)
        text.pop_back();
    return true;
}

std::u16string GuidText(REFGUID guid) {
    WCHAR text[kGuidTextLength + 1];
    StringFromGUID2(guid, text, kGuidTextLength + 1);
    return text;
}

/// Parses the braced form exactly; false for anything else.
bool ParseGuid(std::u16string_view text, GUID& guid) {
    if (text.size() != kGuidTextLength || text.front() != u'{' || text.back() != u'}')
        return false;
    uint8_t bytes[16];
    size_t pos = 1;
    for (int i = 0; i < 16; ++i) {
        if (pos == 9 || pos == 14 || pos == 19 || pos == 24) {
            if (text[pos] != u'-')
                return false;
            ++pos;
        }
        int high = zqplatform::HexDigit(text[pos]);
        int low = zqplatform::HexDigit(text[pos + 1]);
        if (high < 0 || low < 0)
            return false;
        bytes[i] = static_cast<uint8_t>(high * 16 + low);
        pos += 2;
    }
    guid.Data1 = (uint32_t{bytes[0]} << 24) | (uint32_t{bytes[1]} << 16) | (uint32_t{bytes[2]} << 8) | bytes[3];
    guid.Data2 = static_cast<uint16_t>((bytes[4] << 8) | bytes[5]);
    guid.Data3 = static_cast<uint16_t>((bytes[6] << 8) | bytes[7]);
    for (int i = 0; i < 8; ++i)
        guid.Data4[i] = bytes[8 + i];
    return true;
}

HRESULT ClassFromProgId(const std::u16string& progId, CLSID& clsid, int depth) {
    std::u16string text;
    if (ReadText(HKEY_CLASSES_ROOT, progId + u"\\CLSID", nullptr, text))
        return ParseGuid(text, clsid) ? S_OK : CO_E_CLASSSTRING;
    if (depth < kMaxCurVerDepth && ReadText(HKEY_CLASSES_ROOT, progId + u"\\CurVer", nullptr, text) && !text.empty())
        return ClassFromProgId(text, clsid, depth + 1);
    return CO_E_CLASSSTRING;
}

/// The loaded module at `path`, loaded now if it isn't yet; its m_busy is
/// raised for the caller. Called with g_modulesLock held.
HRESULT AcquireModule(const std::string& path, LoadedModule*& module) {
    char resolved[PATH_MAX];
    // One module per file, however the registry spells its path.
    std::string identity = ::realpath(path.c_str(), resolved) != nullptr ? std::string(resolved) : path;
    for (auto& loaded : g_modules) {
        if (loaded->m_path == identity) {
            module = loaded.get();
            ++module->m_busy;
            return S_OK;
        }
    }
    auto entry = std::make_unique<LoadedModule>();
    entry->m_path = identity;
    entry->m_handle = ::dlopen(identity.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (entry->m_handle == nullptr)
        return HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND);
    entry->m_getClassObject =
        reinterpret_cast<GetClassObjectFunction>(::dlsym(entry->m_handle, "DllGetClassObject"));
    entry->m_canUnloadNow = reinterpret_cast<CanUnloadNowFunction>(::dlsym(entry->m_handle, "DllCanUnloadNow"));
    if (entry->m_getClassObject == nullptr) {
        ::dlclose(entry->m_handle);
        return CO_E_ERRORINDLL;
    }
    module = entry.get();
    module->m_busy = 1;
    g_modules.push_back(std::move(entry));
    return S_OK;
}

HRESULT GetClassObjectInternal(REFCLSID clsid, DWORD context, REFIID iid, LPVOID* out) {
    if ((context & CLSCTX_INPROC_SERVER) == 0)
        return REGDB_E_CLASSNOTREG;
    std::u16string server;
    if (!ReadText(HKEY_CLASSES_ROOT, u"CLSID\\" + GuidText(clsid) + u"\\InprocServer32", nullptr, server) ||
        server.empty())
        return REGDB_E_CLASSNOTREG;
    LoadedModule* module = nullptr;
    {
        std::lock_guard<std::recursive_mutex> hold(g_modulesLock);
        HRESULT hr = AcquireModule(zqplatform::NativePath(server.c_str()), module);
        if (FAILED(hr))
            return hr;
    }
    // The call runs without the lock, so that a class object may activate
    // other classes; m_busy keeps the module from being unloaded meanwhile.
    HRESULT hr = module->m_getClassObject(clsid, iid, out);
    std::lock_guard<std::recursive_mutex> hold(g_modulesLock);
    --module->m_busy;
    return hr;
}

}  // namespace

extern "C" {

HRESULT CoGetClassObject(REFCLSID clsid, DWORD context, LPVOID /*serverInfo*/, REFIID iid, LPVOID* out) {
    if (out == nullptr)
        return E_INVALIDARG;
    *out = nullptr;
    if (!zqplatform::IsThreadInitialised())
        return CO_E_NOTINITIALIZED;
    try {
        return GetClassObjectInternal(clsid, context, iid, out);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

HRESULT CoCreateInstance(REFCLSID clsid, IUnknown* outer, DWORD context, REFIID iid, LPVOID* out) {
    if (out == nullptr)
        return E_POINTER;
    *out = nullptr;
    IClassFactory* factory = nullptr;
    HRESULT hr = CoGetClassObject(clsid, context, nullptr, IID_IClassFactory, reinterpret_cast<void**>(&factory));
    if (FAILED(hr))
        return hr;
    hr = factory->CreateInstance(outer, iid, out);
    factory->Release();
    return hr;
}

void CoFreeUnusedLibraries() {
    std::lock_guard<std::recursive_mutex> hold(g_modulesLock);
    for (size_t i = 0; i < g_modules.size();) {
        LoadedModule& module = *g_modules[i];
        // A module without DllCanUnloadNow can never tell that it is unused.
        if (module.m_busy > 0 || module.m_canUnloadNow == nullptr || module.m_canUnloadNow() != S_OK) {
            ++i;
            continue;
        }
        ::dlclose(module.m_handle);
        g_modules.erase(g_modules.begin() + static_cast<long>(i));
    }
}

HRESULT CLSIDFromProgID(LPCOLESTR progId, CLSID* clsid) {
    if (progId == nullptr || clsid == nullptr)
        return E_INVALIDARG;
    try {
        return ClassFromProgId(progId, *clsid, 0);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

HRESULT CLSIDFromString(LPCOLESTR text, CLSID* clsid) {
    if (clsid == nullptr)
        return E_INVALIDARG;
    if (text == nullptr) {
        *clsid = GUID_NULL;
        return S_OK;
    }
    if (ParseGuid(text, *clsid))
        return S_OK;
    return CLSIDFromProgID(text, clsid);
}

INT StringFromGUID2(REFGUID guid, LPOLESTR buffer, INT capacity) {
    if (buffer == nullptr || capacity < kGuidTextLength + 1)
        return 0;
    static constexpr char16_t kDigits[] = u"0123456789ABCDEF";
    uint8_t bytes[16] = {
        static_cast<uint8_t>(guid.Data1 >> 24), static_cast<uint8_t>(guid.Data1 >> 16),
        static_cast<uint8_t>(guid.Data1 >> 8),  static_cast<uint8_t>(guid.Data1),
        static_cast<uint8_t>(guid.Data2 >> 8),  static_cast<uint8_t>(guid.Data2),
        static_cast<uint8_t>(guid.Data3 >> 8),  static_cast<uint8_t>(guid.Data3)};
    for (int i = 0; i < 8; ++i)
        bytes[8 + i] = guid.Data4[i];
    int pos = 0;
    buffer[pos++] = u'{';
    for (int i = 0; i < 16; ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10)
            buffer[pos++] = u'-';
        buffer[pos++] = kDigits[bytes[i] >> 4];
        buffer[pos++] = kDigits[bytes[i] & 0xF];
    }
    buffer[pos++] = u'}';
    buffer[pos++] = 0;
    return pos;
}

}  // extern "C"
