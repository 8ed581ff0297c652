// The shell of a public object aggregated into an outer object.
#pragma once

#include "support/CComObjectRoot.h"
#include "support/CZQSubtitleModule.h"

ZQ_BEGIN_INTERFACE_CLASS

/// T living inside an aggregate: every IUnknown call on any of T's interfaces
/// goes to the outer unknown, which is stored without a reference (the outer
/// object owns the aggregate, not the other way round). Only CComAggObject
/// makes one, as its member.
template <class T>
class CComContainedObject final : public T {
public:
    explicit CComContainedObject(IUnknown* outer) { this->m_pOuterUnknown = outer; }

    ULONG AddRef() noexcept override { return this->m_pOuterUnknown->AddRef(); }
    ULONG Release() noexcept override { return this->m_pOuterUnknown->Release(); }

    HRESULT QueryInterface(REFIID iid, void** out) noexcept override {
        return this->m_pOuterUnknown->QueryInterface(iid, out);
    }

    template <class Q>
    HRESULT QueryInterface(Q** out) noexcept {
        return QueryInterface(ZQIidOf<Q>(), reinterpret_cast<void**>(out));
    }

    /// The unknown that speaks for the whole aggregate.
    IUnknown* GetControllingUnknown() const noexcept { return this->m_pOuterUnknown; }
};

/// The inner unknown of an aggregated T. Its own count (not T's) decides the
/// life of the aggregate; only the outer object holds it. QueryInterface gives
/// this shell for IUnknown and anything else from T's identity table, with
/// the reference counted on the outer object. Holds one module lock from
/// construction to destruction, and one more around the final delete. Any
/// thread may count.
template <class T>
class CComAggObject final : public IUnknown, public CComObjectRootEx {
public:
    /// Makes an aggregate for `outer` (not null, not counted) with the count 0
    /// and runs T's FinalConstruct. E_POINTER for a null `out`, E_OUTOFMEMORY
    /// without memory, or the status of T's constructor or FinalConstruct;
    /// `*out` is null on failure.
    static HRESULT CreateInstance(IUnknown* outer, CComAggObject** out) noexcept {
        return CComObjectRootEx::CreateShell(out, outer);
    }

    ULONG AddRef() noexcept override { return static_cast<ULONG>(InternalAddRef()); }

    ULONG Release() noexcept override {
        LONG count = InternalRelease();
        if (count == 0) {
            ZQModule().Lock();
            delete this;
            ZQModule().Unlock();
        }
        return static_cast<ULONG>(count);
    }

    /// E_POINTER for a null `out`; otherwise `*out` is cleared. IUnknown gives
    /// this inner unknown (counted here); another IID gives T's interface,
    /// counted on the outer object, or E_NOINTERFACE.
    HRESULT QueryInterface(REFIID iid, void** out) noexcept override {
        if (!out)
            return E_POINTER;
        *out = nullptr;
        if (iid == IID_IUnknown) {
            AddRef();
            *out = static_cast<IUnknown*>(this);
            return S_OK;
        }
        return CComObjectRootEx::QueryShell(&m_contained, iid, out);
    }

    /// The aggregated object itself, for the outer object's own use.
    CComContainedObject<T>& Contained() noexcept { return m_contained; }

private:
    friend class CComObjectRootEx;

    explicit CComAggObject(IUnknown* outer) : m_contained(outer) { ZQModule().Lock(); }

    ~CComAggObject() {
        BeginDestruction();
        m_contained.FinalRelease();
        ZQModule().Unlock();
    }

    HRESULT FinalConstruct() { return m_contained.FinalConstruct(); }

    CComContainedObject<T> m_contained;
};

ZQ_END_INTERFACE_CLASS
