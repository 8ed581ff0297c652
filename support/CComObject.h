// The shell of a public object that is not aggregated.
#pragma once

#include "support/CComObjectRoot.h"
#include "support/CZQSubtitleModule.h"

ZQ_BEGIN_INTERFACE_CLASS

/// A class T (derived from CComObjectRootEx and its interfaces) made into a
/// public object: this shell supplies IUnknown for every interface of T,
/// counts in T's root and holds one module lock from construction to
/// destruction. The last Release takes one more module lock around the
/// delete, so the lock count can't touch zero while the destructor runs. Any
/// thread may count; the object is deleted on the thread of the last Release.
template <class T>
class CComObject final : public T {
public:
    /// Makes an object with the count 0 (the caller takes the first reference)
    /// and runs FinalConstruct. E_POINTER for a null `out`, E_OUTOFMEMORY
    /// without memory, a status thrown by T's constructor, or the failure of
    /// FinalConstruct; then nothing is left behind and `*out` is null.
    static HRESULT CreateInstance(CComObject** out) noexcept { return CComObjectRootEx::CreateShell(out); }

    ULONG AddRef() noexcept override { return static_cast<ULONG>(this->InternalAddRef()); }

    ULONG Release() noexcept override {
        LONG count = this->InternalRelease();
        if (count == 0) {
            ZQModule().Lock();
            delete this;
            ZQModule().Unlock();
        }
        return static_cast<ULONG>(count);
    }

    /// E_POINTER for a null `out`; otherwise `*out` is cleared, then holds one
    /// reference to the interface of T's identity table, or E_NOINTERFACE.
    HRESULT QueryInterface(REFIID iid, void** out) noexcept override {
        return CComObjectRootEx::QueryShell(this, iid, out);
    }

    template <class Q>
    HRESULT QueryInterface(Q** out) noexcept {
        return QueryInterface(ZQIidOf<Q>(), reinterpret_cast<void**>(out));
    }

private:
    friend class CComObjectRootEx;

    CComObject() { ZQModule().Lock(); }

    ~CComObject() {
        this->BeginDestruction();
        this->FinalRelease();
        ZQModule().Unlock();
    }
};

ZQ_END_INTERFACE_CLASS
