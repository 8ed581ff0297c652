// Fundamental types of the binary interface, LP64 Linux x86-64 and LLP64
// Windows x64.
//
// The interface word "long" is 32 bits on the original platform and 64 on
// Linux, so every interface type below has an explicit width; C++ `long` and
// `wchar_t` never appear at an interface. On Windows x64 each of these types
// has the width and layout of the system's own, so the declarations of the
// platform headers bind directly to the system's libraries there (see
// platform/win32/binding/).
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(_WIN32)
// Windows' own libraries serve the declared functions, and the few the
// platform adds (the ZQ ones) are linked statically into each module and
// program: nothing is exported under these names. The declarations carry no
// calling convention: x64 has one, where 32-bit Windows would need __stdcall.
static_assert(sizeof(void*) == 8, "the Windows build binds to Windows' functions under the x64 calling convention");
#define ZQPLATFORM_API
#elif defined(__GNUC__)
#define ZQPLATFORM_API __attribute__((visibility("default")))
#else
#define ZQPLATFORM_API
#endif

using HRESULT = int32_t;
using LONG = int32_t;
using SCODE = int32_t;
using DISPID = int32_t;
using MEMBERID = int32_t;
using INT = int32_t;
using ULONG = uint32_t;
using DWORD = uint32_t;
using UINT = uint32_t;
using LCID = uint32_t;
using BOOL = int32_t;
using WORD = uint16_t;
using VARTYPE = uint16_t;
using USHORT = uint16_t;
using SHORT = int16_t;
using VARIANT_BOOL = int16_t;
using BYTE = uint8_t;
using CHAR = char;
using LONGLONG = int64_t;
using ULONGLONG = uint64_t;
using REFERENCE_TIME = int64_t;
using WCHAR = char16_t;
using OLECHAR = char16_t;
using BSTR = OLECHAR*;
using LPOLESTR = OLECHAR*;
using LPCOLESTR = const OLECHAR*;
using LPWSTR = WCHAR*;
using LPCWSTR = const WCHAR*;
using LPSTR = char*;
using LPCSTR = const char*;
using WPARAM = uintptr_t;
using DWORD_PTR = uintptr_t;
using UINT_PTR = uintptr_t;
using ULONG_PTR = uintptr_t;
using LPARAM = intptr_t;
using LRESULT = intptr_t;
using LONG_PTR = intptr_t;
using PVOID = void*;
using LPVOID = void*;

// Opaque handle types: distinct so that a window can't be passed where a
// module or kernel object is expected.
struct HWND__;
struct HINSTANCE__;
struct HANDLE__;
using HWND = HWND__*;
using HINSTANCE = HINSTANCE__*;
using HMODULE = HINSTANCE__*;
using HANDLE = HANDLE__*;

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

inline constexpr VARIANT_BOOL VARIANT_TRUE = -1;
inline constexpr VARIANT_BOOL VARIANT_FALSE = 0;

struct GUID {
    uint32_t Data1;
    uint16_t Data2;
    uint16_t Data3;
    uint8_t Data4[8];
};
using IID = GUID;
using CLSID = GUID;
using REFIID = const IID&;
using REFCLSID = const CLSID&;
using REFGUID = const GUID&;

inline constexpr bool operator==(const GUID& a, const GUID& b) noexcept {
    if (a.Data1 != b.Data1 || a.Data2 != b.Data2 || a.Data3 != b.Data3)
        return false;
    for (int i = 0; i < 8; ++i)
        if (a.Data4[i] != b.Data4[i])
            return false;
    return true;
}
inline constexpr bool operator!=(const GUID& a, const GUID& b) noexcept { return !(a == b); }
inline constexpr bool IsEqualGUID(const GUID& a, const GUID& b) noexcept { return a == b; }
inline constexpr bool IsEqualIID(const IID& a, const IID& b) noexcept { return a == b; }
inline constexpr bool IsEqualCLSID(const CLSID& a, const CLSID& b) noexcept { return a == b; }

inline constexpr GUID GUID_NULL = {0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}};

struct RECT {
    LONG left;
    LONG top;
    LONG right;
    LONG bottom;
};

struct POINT {
    LONG x;
    LONG y;
};

struct SIZE {
    LONG cx;
    LONG cy;
};

static_assert(sizeof(GUID) == 16);
static_assert(offsetof(GUID, Data2) == 4 && offsetof(GUID, Data3) == 6 && offsetof(GUID, Data4) == 8);
static_assert(sizeof(LONG) == 4 && sizeof(ULONG) == 4 && sizeof(HRESULT) == 4 && sizeof(OLECHAR) == 2);
static_assert(sizeof(RECT) == 16);
