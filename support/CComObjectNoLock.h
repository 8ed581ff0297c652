// The shell of an object that counts but never holds the module.
#pragma once

#include "support/CComObjectRoot.h"

ZQ_BEGIN_INTERFACE_CLASS

/// A class T (derived from CComObjectRootEx and its interfaces) made into an
/// object that counts atomically and is deleted at 0, but never touches the
/// module's lock count: the dispatcher of cue events is such an object, so
/// that it alone doesn't keep the module loaded. Any thread may count.
template <class T>
class CComObjectNoLock final : public T {
public:
    /// Makes an object with the count 0 and runs FinalConstruct. E_POINTER for
    /// a null `out`, E_OUTOFMEMORY without memory, or the status of the
    /// constructor or FinalConstruct; `*out` is null on failure.
    static HRESULT CreateInstance(CComObjectNoLock** out) noexcept { return CComObjectRootEx::CreateShell(out); }

    ULONG AddRef() noexcept override { return static_cast<ULONG>(this->InternalAddRef()); }

    ULONG Release() noexcept override {
        LONG count = this->InternalRelease();
        if (count == 0)
            delete this;
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

    CComObjectNoLock() = default;

    ~CComObjectNoLock() {
        this->BeginDestruction();
        this->FinalRelease();
    }
};

ZQ_END_INTERFACE_CLASS
