// The shell of a cached object: one whose single owner inside the module
// doesn't keep the module loaded.
#pragma once

#include "support/CComObjectRoot.h"
#include "support/CZQSubtitleModule.h"

ZQ_BEGIN_INTERFACE_CLASS

/// A class T (derived from CComObjectRootEx and its interfaces) made into a
/// cached object: class objects and the tracks, track lists and cues. The
/// module lock is held only while the count is 2 or more, so that an object
/// referenced only by its owner inside the module (count 1) doesn't keep the
/// module loaded; the first outside reference takes a lock and its release
/// gives it back. Any thread may count.
template <class T>
class CComObjectCached final : public T {
public:
    /// Makes an object with the count 0 and runs FinalConstruct. E_POINTER for
    /// a null `out`, E_OUTOFMEMORY without memory, or the status of the
    /// constructor or FinalConstruct; `*out` is null on failure.
    static HRESULT CreateInstance(CComObjectCached** out) noexcept { return CComObjectRootEx::CreateShell(out); }

    ULONG AddRef() noexcept override {
        LONG count = this->InternalAddRef();
        if (count == 2)
            ZQModule().Lock();
        return static_cast<ULONG>(count);
    }

    ULONG Release() noexcept override {
        LONG count = this->InternalRelease();
        if (count == 0)
            delete this;
        else if (count == 1)
            ZQModule().Unlock();
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

    CComObjectCached() = default;

    ~CComObjectCached() {
        this->BeginDestruction();
        this->FinalRelease();
    }
};

ZQ_END_INTERFACE_CLASS
