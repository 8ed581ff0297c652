// VARIANT life cycle: initialise, clear, copy and copy through references.
#include "automation/VariantInternal.h"

#include <cstring>

namespace zqplatform {

bool IsKnownValueType(VARTYPE vt) noexcept {
    switch (vt) {
    case VT_EMPTY:
    case VT_NULL:
    case VT_I2:
    case VT_I4:
    case VT_R4:
    case VT_R8:
    case VT_CY:
    case VT_DATE:
    case VT_BSTR:
    case VT_DISPATCH:
    case VT_ERROR:
    case VT_BOOL:
    case VT_UNKNOWN:
    case VT_DECIMAL:
    case VT_I1:
    case VT_UI1:
    case VT_UI2:
    case VT_UI4:
    case VT_I8:
    case VT_UI8:
    case VT_INT:
    case VT_UINT:
        return true;
    default:
        return false;
    }
}

namespace {

/// The size of the value a reference of type `vt` points at, 0 when the type
/// can't be referenced. VT_DECIMAL is special: it fills the whole variant.
size_t ReferencedSize(VARTYPE vt) noexcept {
    switch (vt) {
    case VT_I1:
    case VT_UI1:
        return 1;
    case VT_I2:
    case VT_UI2:
    case VT_BOOL:
        return 2;
    case VT_I4:
    case VT_UI4:
    case VT_INT:
    case VT_UINT:
    case VT_R4:
    case VT_ERROR:
        return 4;
    case VT_I8:
    case VT_UI8:
    case VT_R8:
    case VT_CY:
    case VT_DATE:
        return 8;
    case VT_BSTR:
    case VT_UNKNOWN:
    case VT_DISPATCH:
        return sizeof(void*);
    default:
        return 0;
    }
}

void MakeEmpty(VARIANT& v) noexcept {
    std::memset(&v, 0, sizeof v);
    v.vt = VT_EMPTY;
}

/// Copies a by-value variant into `dest`, which holds nothing yet: a fresh
/// BSTR, one more reference for an interface.
HRESULT CopyValue(VARIANT& dest, const VARIANT& source) noexcept {
    std::memcpy(&dest, &source, sizeof dest);
    switch (source.vt) {
    case VT_BSTR:
        if (source.bstrVal == nullptr)
            return S_OK;
        dest.bstrVal = SysAllocStringByteLen(reinterpret_cast<const char*>(source.bstrVal),
                                             SysStringByteLen(source.bstrVal));
        if (dest.bstrVal == nullptr) {
            MakeEmpty(dest);
            return E_OUTOFMEMORY;
        }
        return S_OK;
    case VT_UNKNOWN:
    case VT_DISPATCH:
        if (source.punkVal != nullptr)
            source.punkVal->AddRef();
        return S_OK;
    default:
        return S_OK;
    }
}

HRESULT ValidateSource(const VARIANT& source) noexcept {
    VARTYPE base = source.vt & VT_TYPEMASK;
    if ((source.vt & VT_ARRAY) != 0)
        return DISP_E_BADVARTYPE;  // safe arrays are not part of this runtime
    if ((source.vt & ~(VT_BYREF | VT_TYPEMASK)) != 0)
        return DISP_E_BADVARTYPE;
    if ((source.vt & VT_BYREF) != 0)
        return base == VT_VARIANT || base == VT_DECIMAL || ReferencedSize(base) != 0 ? S_OK : DISP_E_BADVARTYPE;
    return IsKnownValueType(base) ? S_OK : DISP_E_BADVARTYPE;
}

}  // namespace

HRESULT ReadThroughReference(const VARIANT& source, VARIANT& shallow) noexcept {
    if ((source.vt & VT_BYREF) == 0) {
        std::memcpy(&shallow, &source, sizeof shallow);
        return S_OK;
    }
    VARTYPE base = source.vt & ~VT_BYREF;
    if (source.byref == nullptr)
        return E_INVALIDARG;
    if (base == VT_VARIANT) {
        // One level only: a variant behind a reference may not be a reference itself.
        if ((source.pvarVal->vt & VT_BYREF) != 0)
            return E_INVALIDARG;
        std::memcpy(&shallow, source.pvarVal, sizeof shallow);
        return S_OK;
    }
    if (base == VT_DECIMAL) {
        std::memcpy(&shallow, source.byref, sizeof shallow);
        shallow.vt = VT_DECIMAL;
        return S_OK;
    }
    size_t size = ReferencedSize(base);
    if (size == 0)
        return DISP_E_BADVARTYPE;
    MakeEmpty(shallow);
    shallow.vt = base;
    std::memcpy(&shallow.llVal, source.byref, size);
    return S_OK;
}

}  // namespace zqplatform

using namespace zqplatform;

extern "C" {

void VariantInit(VARIANTARG* pvarg) {
    if (pvarg == nullptr)
        return;
    pvarg->vt = VT_EMPTY;
    pvarg->wReserved1 = 0;
    pvarg->wReserved2 = 0;
    pvarg->wReserved3 = 0;
}

HRESULT VariantClear(VARIANTARG* pvarg) {
    if (pvarg == nullptr)
        return E_INVALIDARG;
    if (HRESULT hr = ValidateSource(*pvarg); FAILED(hr))
        return hr;
    // A reference owns nothing; only by-value strings and interfaces are freed.
    if (pvarg->vt == VT_BSTR)
        SysFreeString(pvarg->bstrVal);
    else if ((pvarg->vt == VT_UNKNOWN || pvarg->vt == VT_DISPATCH) && pvarg->punkVal != nullptr)
        pvarg->punkVal->Release();
    MakeEmpty(*pvarg);
    return S_OK;
}

HRESULT VariantCopy(VARIANTARG* pvargDest, const VARIANTARG* pvargSrc) {
    if (pvargDest == nullptr || pvargSrc == nullptr)
        return E_INVALIDARG;
    if (pvargDest == pvargSrc)
        return S_OK;
    if (HRESULT hr = ValidateSource(*pvargSrc); FAILED(hr))
        return hr;
    if (HRESULT hr = VariantClear(pvargDest); FAILED(hr))
        return hr;
    // References are copied as references: the copy points at the same place.
    return CopyValue(*pvargDest, *pvargSrc);
}

HRESULT VariantCopyInd(VARIANT* pvarDest, const VARIANTARG* pvargSrc) {
    if (pvarDest == nullptr || pvargSrc == nullptr)
        return E_INVALIDARG;
    if ((pvargSrc->vt & VT_BYREF) == 0)
        return VariantCopy(pvarDest, pvargSrc);
    if (HRESULT hr = ValidateSource(*pvargSrc); FAILED(hr))
        return hr;
    VARIANT shallow;
    if (HRESULT hr = ReadThroughReference(*pvargSrc, shallow); FAILED(hr))
        return hr;
    // Copy first, clear after: the destination may be the source itself.
    VARIANT copy;
    if (HRESULT hr = CopyValue(copy, shallow); FAILED(hr))
        return hr;
    if (HRESULT hr = VariantClear(pvarDest); FAILED(hr)) {
        VariantClear(&copy);
        return hr;
    }
    std::memcpy(pvarDest, &copy, sizeof copy);
    return S_OK;
}

}  // extern "C"
