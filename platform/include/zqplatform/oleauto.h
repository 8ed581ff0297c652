// BSTR, task memory and VARIANT services of the runtime.
#pragma once

#include "zqplatform/oaidl.h"

/// The registry key that names this platform's kind of type library under a
/// library's locale key (TypeLib\{LIBID}\1.0\0\<key>), where the path of
/// the file that holds the library stands. Windows' own key for 64-bit
/// libraries; on Linux one that no Windows loader takes for its own, as the
/// library here is the module's own description rather than a file format.
#if defined(_WIN32)
inline constexpr char16_t kZQTypeLibSystemKey[] = u"win64";
#else
inline constexpr char16_t kZQTypeLibSystemKey[] = u"linux64";
#endif

extern "C" {
/// A BSTR is preceded by a uint32_t byte length and followed by a 16-bit NUL.
/// A null BSTR reads as the empty string. Allocation failures answer null.
ZQPLATFORM_API BSTR SysAllocString(const OLECHAR* psz);
ZQPLATFORM_API BSTR SysAllocStringLen(const OLECHAR* strIn, UINT ui);
ZQPLATFORM_API BSTR SysAllocStringByteLen(const char* psz, UINT len);
ZQPLATFORM_API INT SysReAllocStringLen(BSTR* pbstr, const OLECHAR* psz, UINT len);
ZQPLATFORM_API void SysFreeString(BSTR bstrString);
ZQPLATFORM_API UINT SysStringLen(BSTR pbstr);
ZQPLATFORM_API UINT SysStringByteLen(BSTR bstr);

ZQPLATFORM_API LPVOID CoTaskMemAlloc(size_t cb);
ZQPLATFORM_API LPVOID CoTaskMemRealloc(LPVOID pv, size_t cb);
ZQPLATFORM_API void CoTaskMemFree(LPVOID pv);

ZQPLATFORM_API void VariantInit(VARIANTARG* pvarg);
/// Frees what the variant owns (BSTR, interface reference) and makes it VT_EMPTY.
/// DISP_E_BADVARTYPE for a type it does not know; the variant is then unchanged.
ZQPLATFORM_API HRESULT VariantClear(VARIANTARG* pvarg);
/// Deep copy: a new BSTR, one more reference for interfaces.
ZQPLATFORM_API HRESULT VariantCopy(VARIANTARG* pvargDest, const VARIANTARG* pvargSrc);
/// Copies `pvarSrc` into `pvargDest`, dereferencing VT_BYREF sources.
ZQPLATFORM_API HRESULT VariantCopyInd(VARIANT* pvarDest, const VARIANTARG* pvargSrc);
/// Converts between the scalar types, BSTR, VT_BOOL and interfaces, as
/// dispatch needs. DISP_E_TYPEMISMATCH where no conversion exists,
/// DISP_E_OVERFLOW where the value doesn't fit. `pvargDest` may equal `pvarSrc`.
ZQPLATFORM_API HRESULT VariantChangeType(VARIANTARG* pvargDest, const VARIANTARG* pvarSrc, USHORT wFlags,
                                         VARTYPE vt);
}
