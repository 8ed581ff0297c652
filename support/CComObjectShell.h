// The one shell behind CComObject, CComObjectNoLock and CComObjectCached:
// they differ only in when the object holds the module.
#pragma once

#include "support/CComObjectRoot.h"
#include "support/CZQSubtitleModule.h"

ZQ_BEGIN_INTERFACE_CLASS

/// When a shell holds one module lock.
enum class ZQModuleHold {
    /// From construction to destruction (public objects). The last Release
    /// takes one more lock around the delete, so the lock count can't touch
    /// zero while the destructor runs.
    ForLife,
    /// Never (objects that must not keep the module loaded by themselves).
    Never,
    /// While the count is 2 or more: an object referenced only by its owner
    /// inside the module (count 1) doesn't keep the module loaded; the first
    /// outside reference takes a lock and its release gives it back.
    WhileShared,
};

/// A class T (derived from CComObjectRootEx and its interfaces) made into an
/// object: this shell supplies IUnknown for every interface of T, counts
/// atomically in T's root and deletes the object at 0, holding the module as
/// `kHold` says. Any thread may count; the object is deleted on the thread of
/// the last Release.
template <class T, ZQModuleHold kHold>
class CComObjectShell final : public T {
public:
    /// Makes an object with the count 0 (the caller takes the first reference)
    /// and runs FinalConstruct. E_POINTER for a null `out`, E_OUTOFMEMORY
    /// without memory, a status thrown by T's constructor, or the failure of
    /// FinalConstruct; then nothing is left behind and `*out` is null.
    static HRESULT CreateInstance(CComObjectShell** out) noexcept { return CComObjectRootEx::CreateShell(out); }

    ULONG AddRef() noexcept override {
        LONG count = this->InternalAddRef();
        if (kHold == ZQModuleHold::WhileShared && count == 2)
            ZQModule().Lock();
        return static_cast<ULONG>(count);
    }

    ULONG Release() noexcept override {
        LONG count = this->InternalRelease();
        if (count == 0) {
            if constexpr (kHold == ZQModuleHold::ForLife)
                ZQModule().Lock();
            delete this;
            if constexpr (kHold == ZQModuleHold::ForLife)
                ZQModule().Unlock();
        } else if (kHold == ZQModuleHold::WhileShared && count == 1) {
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

    CComObjectShell() {
        if constexpr (kHold == ZQModuleHold::ForLife)
            ZQModule().Lock();
    }

    ~CComObjectShell() {
        this->BeginDestruction();
        this->FinalRelease();
        if constexpr (kHold == ZQModuleHold::ForLife)
            ZQModule().Unlock();
    }
};

ZQ_END_INTERFACE_CLASS
