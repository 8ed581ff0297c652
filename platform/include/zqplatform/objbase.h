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
}
