// The root of every class that implements interfaces, and a helper that
// builds its identity table.
#pragma once

#include <atomic>
#include <new>

#include "support/CStatusException.h"
#include "zqplatform/unknwn.h"

/// Interfaces have no virtual destructor by contract of the binary interface,
/// and the shells delete objects by their most derived type, so the warning
/// about a polymorphic base without a virtual destructor is noise for every
/// class that implements interfaces. Wrap such a class (not the whole file)
/// in these two:
///     ZQ_BEGIN_INTERFACE_CLASS
///     class CZQFoo : public CComObjectRootEx, public IZQFoo { ... };
///     ZQ_END_INTERFACE_CLASS
#define ZQ_BEGIN_INTERFACE_CLASS \
    _Pragma("GCC diagnostic push") _Pragma("GCC diagnostic ignored \"-Wnon-virtual-dtor\"")
#define ZQ_END_INTERFACE_CLASS _Pragma("GCC diagnostic pop")

/// Root of a class T that implements interfaces. T derives from this and from
/// its interfaces, and supplies its identity table as a public member
///     void* GetInterface(REFIID iid) noexcept;
/// that answers the interface pointer for `iid` (cast to that interface), its
/// primary interface for IID_IUnknown, or null, without AddRef. T implements
/// neither QueryInterface nor AddRef nor Release: a shell (CComObject,
/// CComAggObject, CComObjectCached, CComObjectNoLock) derives from T and
/// supplies them. The count is atomic; the shell decides what it means.
class CComObjectRootEx {
public:
    CComObjectRootEx(const CComObjectRootEx&) = delete;
    CComObjectRootEx& operator=(const CComObjectRootEx&) = delete;

    /// Second-phase construction, run by the creating shell after the
    /// constructor while the object is protected by a temporary count. A
    /// failure destroys the object and is the answer of its creation.
    HRESULT FinalConstruct() { return S_OK; }

    /// Runs at the start of destruction, before the class's destructor.
    void FinalRelease() {}

    /// The outer unknown when the object is aggregated, else null.
    IUnknown* GetOuterUnknown() const noexcept { return m_pOuterUnknown; }

    /// The value a shell writes into the count when destruction begins: far
    /// from zero, so an AddRef and Release pair inside a destructor can't
    /// delete the object a second time.
    static constexpr LONG kDestructionCount = static_cast<LONG>(0xC0000001u);

protected:
    CComObjectRootEx() noexcept = default;
    ~CComObjectRootEx() = default;

    LONG InternalAddRef() noexcept { return m_dwRef.fetch_add(1, std::memory_order_relaxed) + 1; }

    /// Acquire/release so that the thread that sees 0 sees every write made
    /// before the other threads' releases.
    LONG InternalRelease() noexcept { return m_dwRef.fetch_sub(1, std::memory_order_acq_rel) - 1; }

    /// The creation shared by the shells: allocates a Shell without raising,
    /// constructs it, and runs FinalConstruct under a temporary count that
    /// goes past the shell's AddRef and Release (so it neither takes a module
    /// lock nor deletes). On failure nothing is left and `*out` is null: E_POINTER,
    /// E_OUTOFMEMORY, a status the constructor threw, or FinalConstruct's
    /// failure. On success the count is 0 and the caller takes the first
    /// reference. Shell befriends CComObjectRootEx for its private constructor.
    template <class Shell, class... Args>
    static HRESULT CreateShell(Shell** out, Args&&... args) noexcept {
        if (!out)
            return E_POINTER;
        *out = nullptr;
        Shell* object = nullptr;
        HRESULT hr = ZQCallWithBarrier([&] {
            object = new (std::nothrow) Shell(std::forward<Args>(args)...);
            return object ? S_OK : E_OUTOFMEMORY;
        });
        // Tested on the pointer rather than the status so that the optimiser
        // can see it is never null below.
        if (!object)
            return FAILED(hr) ? hr : E_OUTOFMEMORY;
        object->m_dwRef.fetch_add(1, std::memory_order_relaxed);
        hr = ZQCallWithBarrier([&] { return object->FinalConstruct(); });
        object->m_dwRef.fetch_sub(1, std::memory_order_relaxed);
        if (FAILED(hr)) {
            delete object;
            return hr;
        }
        *out = object;
        return S_OK;
    }

    /// QueryInterface over the identity table of `self`: E_POINTER for a null
    /// `out`; otherwise `*out` is cleared, then holds one reference (taken
    /// through `self`'s AddRef) or the answer is E_NOINTERFACE.
    template <class Shell>
    static HRESULT QueryShell(Shell* self, REFIID iid, void** out) noexcept {
        if (!out)
            return E_POINTER;
        *out = nullptr;
        void* found = self->GetInterface(iid);
        if (!found)
            return E_NOINTERFACE;
        self->AddRef();
        *out = found;
        return S_OK;
    }

    /// Marks the start of destruction (see kDestructionCount).
    void BeginDestruction() noexcept { m_dwRef.store(kDestructionCount, std::memory_order_relaxed); }

    std::atomic<LONG> m_dwRef{0};
    // Set by CComContainedObject only; never counted.
    IUnknown* m_pOuterUnknown = nullptr;
};

/// An identity table over a list of interfaces: answers `self` as the
/// interface whose IID is `iid`, and as the first interface for IID_IUnknown;
/// null for anything else. No AddRef. For use in GetInterface when each
/// interface is reached along one path:
///     void* GetInterface(REFIID iid) noexcept {
///         return ZQFindInterface<IZQFoo, IZQBar>(this, iid);
///     }
template <class First, class... Rest, class T>
void* ZQFindInterface(T* self, REFIID iid) noexcept {
    if (iid == IID_IUnknown)
        return static_cast<IUnknown*>(static_cast<First*>(self));
    void* found = nullptr;
    auto match = [&](auto* asInterface, const IID& candidate) {
        if (!found && iid == candidate)
            found = asInterface;
    };
    match(static_cast<First*>(self), ZQIidOf<First>());
    (match(static_cast<Rest*>(self), ZQIidOf<Rest>()), ...);
    return found;
}
