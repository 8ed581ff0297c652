// BSTR, task memory and VARIANT services of the runtime.
#pragma once

#include "zqplatform/oaidl.h"

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
