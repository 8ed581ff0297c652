// Creation of a class's object, plain or aggregated, as a class object does it.
#pragma once

#include "support/CComAggObject.h"
#include "support/CComObject.h"

namespace zqsupport_detail {

/// Takes the first reference by asking `object` for `iid`; a failed query
/// lets that reference go again, which destroys the new object.
template <class Shell>
HRESULT HandOut(Shell* object, REFIID iid, void** out) noexcept {
    object->AddRef();
    HRESULT hr = object->QueryInterface(iid, out);
    object->Release();
    return hr;
}

}  // namespace zqsupport_detail

/// Makes an object of class T for a client: CComObject<T> without `outer`,
/// CComAggObject<T> with it. E_POINTER for a null `out`; `*out` is cleared;
/// CLASS_E_NOAGGREGATION for an outer unknown with an `iid` other than
/// IID_IUnknown (an outer object may only ask for the inner unknown);
/// E_OUTOFMEMORY without memory; the failure of the constructor or of
/// FinalConstruct; or the failure of QueryInterface(iid). Every failure
/// leaves nothing behind. On success `*out` carries the caller's reference.
template <class T>
HRESULT ZQCreateInstance(IUnknown* outer, REFIID iid, void** out) noexcept {
    if (!out)
        return E_POINTER;
    *out = nullptr;
    if (outer && iid != IID_IUnknown)
        return CLASS_E_NOAGGREGATION;
    if (outer) {
        CComAggObject<T>* aggregate = nullptr;
        HRESULT hr = CComAggObject<T>::CreateInstance(outer, &aggregate);
        if (FAILED(hr))
            return hr;
        return zqsupport_detail::HandOut(aggregate, iid, out);
    }
    CComObject<T>* object = nullptr;
    HRESULT hr = CComObject<T>::CreateInstance(&object);
    if (FAILED(hr))
        return hr;
    return zqsupport_detail::HandOut(object, iid, out);
}
