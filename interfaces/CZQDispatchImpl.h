// The IDispatch half of every dual interface of the module.
#pragma once

#include "interfaces/CZQTypeInfo.h"
#include "zqplatform/oaidl.h"

#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#endif

/// Implements the four IDispatch methods of the dual interface `Interface`
/// from the module's shared type information of that interface, so a class
/// writes only its own methods:
///     class CZQSubtitleCue : public CComObjectRootEx, public CZQDispatchImpl<IZQSubtitleCue> { ... };
/// IUnknown comes from the shell that wraps the class (CComObject and kin);
/// the class's identity table answers IID_IDispatch with this interface.
/// Stateless, so any thread may call it; the type information is made at the
/// first call that needs it and then shared by every object of the module.
template <class Interface>
class CZQDispatchImpl : public Interface {
public:
    /// One type information. E_POINTER for a null `pctinfo`.
    HRESULT GetTypeInfoCount(UINT* pctinfo) noexcept override {
        if (!pctinfo)
            return E_POINTER;
        *pctinfo = 1;
        return S_OK;
    }

    /// The type information of `Interface` with a reference for the caller.
    /// Only index 0 exists: DISP_E_BADINDEX for others, E_POINTER for a null
    /// `ppTInfo`. The locale doesn't matter; the module has one language.
    HRESULT GetTypeInfo(UINT iTInfo, LCID, ITypeInfo** ppTInfo) noexcept override {
        if (!ppTInfo)
            return E_POINTER;
        *ppTInfo = nullptr;
        if (iTInfo != 0)
            return DISP_E_BADINDEX;
        CZQTypeInfo* typeInfo = nullptr;
        HRESULT hr = CZQTypeInfo::GetShared(ZQIidOf<Interface>(), &typeInfo);
        if (FAILED(hr))
            return hr;
        typeInfo->AddRef();
        *ppTInfo = typeInfo;
        return S_OK;
    }

    /// Member and parameter names to ids, without regard to case; see
    /// CZQTypeInfo::GetIDsOfNames. DISP_E_UNKNOWNINTERFACE unless `riid` is
    /// IID_NULL.
    HRESULT GetIDsOfNames(REFIID riid, LPOLESTR* rgszNames, UINT cNames, LCID,
                          DISPID* rgDispId) noexcept override {
        if (riid != GUID_NULL)
            return DISP_E_UNKNOWNINTERFACE;
        CZQTypeInfo* typeInfo = nullptr;
        HRESULT hr = CZQTypeInfo::GetShared(ZQIidOf<Interface>(), &typeInfo);
        if (FAILED(hr))
            return hr;
        return typeInfo->GetIDsOfNames(rgszNames, cNames, rgDispId);
    }

    /// Calls a member of `Interface` on this object; see CZQTypeInfo::Invoke
    /// for the statuses. DISP_E_UNKNOWNINTERFACE unless `riid` is IID_NULL.
    HRESULT Invoke(DISPID dispIdMember, REFIID riid, LCID, WORD wFlags, DISPPARAMS* pDispParams,
                   VARIANT* pVarResult, EXCEPINFO* pExcepInfo, UINT* puArgErr) noexcept override {
        if (riid != GUID_NULL)
            return DISP_E_UNKNOWNINTERFACE;
        CZQTypeInfo* typeInfo = nullptr;
        HRESULT hr = CZQTypeInfo::GetShared(ZQIidOf<Interface>(), &typeInfo);
        if (FAILED(hr))
            return hr;
        return typeInfo->Invoke(static_cast<Interface*>(this), dispIdMember, wFlags, pDispParams, pVarResult,
                                pExcepInfo, puArgErr);
    }

protected:
    CZQDispatchImpl() noexcept = default;
    ~CZQDispatchImpl() = default;
};

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif
