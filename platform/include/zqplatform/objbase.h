// Activation services of the runtime.
#pragma once

#include "zqplatform/unknwn.h"

inline constexpr DWORD COINIT_MULTITHREADED = 0;
inline constexpr DWORD COINIT_APARTMENTTHREADED = 2;
inline constexpr DWORD COINIT_DISABLE_OLE1DDE = 4;
inline constexpr DWORD CLSCTX_INPROC_SERVER = 1;
inline constexpr DWORD CLSCTX_INPROC_HANDLER = 2;
inline constexpr DWORD CLSCTX_ALL = 0x17;

extern "C" {
ZQPLATFORM_API HRESULT CoInitializeEx(LPVOID reserved, DWORD coInit);
ZQPLATFORM_API void CoUninitialize();

/// The class object of `clsid`, asked for `iid`: the class's InprocServer32
/// entry in the merged classes view names a module, which is loaded once per
/// process and asked through its DllGetClassObject. E_INVALIDARG for a null
/// `out` (else `*out` is cleared); CO_E_NOTINITIALIZED on a thread without
/// CoInitializeEx; REGDB_E_CLASSNOTREG for a class without an in-process
/// server (or a `context` without CLSCTX_INPROC_SERVER); 0x8007007E for a
/// module that can't be loaded; CO_E_ERRORINDLL for one without
/// DllGetClassObject; otherwise the module's answer.
ZQPLATFORM_API HRESULT CoGetClassObject(REFCLSID clsid, DWORD context, LPVOID serverInfo, REFIID iid, LPVOID* out);
/// An object of `clsid` through its class object's CreateInstance. E_POINTER
/// for a null `out` (else `*out` is cleared); the failures of
/// CoGetClassObject and of CreateInstance as they come.
ZQPLATFORM_API HRESULT CoCreateInstance(REFCLSID clsid, IUnknown* outer, DWORD context, REFIID iid, LPVOID* out);
/// Unloads every module that activation loaded whose DllCanUnloadNow answers
/// S_OK and that no call of this runtime is inside.
ZQPLATFORM_API void CoFreeUnusedLibraries();

/// The class of a ProgID: its CLSID subkey, or failing that the class of the
/// ProgID its CurVer names (a version-independent ProgID). E_INVALIDARG for
/// null arguments; CO_E_CLASSSTRING for an unregistered ProgID.
ZQPLATFORM_API HRESULT CLSIDFromProgID(LPCOLESTR progId, CLSID* clsid);
/// Reads "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" (hex in either case), or
/// failing that a ProgID. A null text gives GUID_NULL. CO_E_CLASSSTRING for
/// anything else; E_INVALIDARG for a null `clsid`.
ZQPLATFORM_API HRESULT CLSIDFromString(LPCOLESTR text, CLSID* clsid);
/// Writes the braced upper-case form and its NUL; answers the characters
/// written with the NUL (39), or 0 if `capacity` is smaller.
ZQPLATFORM_API INT StringFromGUID2(REFGUID guid, LPOLESTR buffer, INT capacity);
}
