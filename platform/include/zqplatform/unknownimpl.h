// IUnknown written once for the objects that a host, a tool or a test makes
// itself: callbacks, clocks, fakes.
#pragma once

#include <atomic>

#include "zqplatform/unknwn.h"

/// How an object made with CUnknownImpl ends.
enum class ZQLifetime {
    /// Made with `new`; the first reference is the creator's, and the Release
    /// that brings the count to 0 deletes the object.
    Counted,
    /// A stack or member object (a host's callback, a test's fake): it only
    /// counts, and its owner's scope ends it. The owner must not let it go
    /// while somebody still holds a reference; References() tells.
    Borrowed,
};

#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#endif

/// Implements IUnknown for a class that serves `Primary` and `Others...`
/// (interfaces, each derived from IUnknown). QueryInterface answers
/// IID_IUnknown with `Primary` (the object's one identity) and the IID of each
/// listed interface, each with one reference; anything else is E_NOINTERFACE
/// with a null out pointer, and a null out pointer is E_POINTER. The count is
/// atomic, so any thread may add and release references.
///
///     class CMyHost final : public CUnknownImpl<ZQLifetime::Borrowed, IZQMuxSubtitleControlCallback> {
///         HRESULT Receive(...) override;
///         ...
///     };
template <ZQLifetime kLifetime, class Primary, class... Others>
class CUnknownImpl : public Primary, public Others... {
public:
    CUnknownImpl(const CUnknownImpl&) = delete;
    CUnknownImpl& operator=(const CUnknownImpl&) = delete;

    HRESULT QueryInterface(REFIID iid, void** out) override {
        if (out == nullptr)
            return E_POINTER;
        *out = FindInterface(iid);
        if (*out == nullptr)
            return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }

    ULONG AddRef() override { return m_references.fetch_add(1, std::memory_order_relaxed) + 1; }

    ULONG Release() override {
        // Acquire/release, so that the thread that deletes sees every write
        // made before the other threads' releases.
        const ULONG count = m_references.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if constexpr (kLifetime == ZQLifetime::Counted) {
            if (count == 0)
                delete this;
        }
        return count;
    }

    /// References held now: for a borrowed object, what others still hold.
    ULONG References() const noexcept { return m_references.load(std::memory_order_acquire); }

protected:
    /// A counted object starts with the creator's reference; a borrowed one
    /// with none.
    CUnknownImpl() noexcept : m_references(kLifetime == ZQLifetime::Counted ? 1 : 0) {}
    virtual ~CUnknownImpl() = default;

private:
    void* FindInterface(REFIID iid) noexcept {
        if (iid == IID_IUnknown || iid == ZQIidOf<Primary>())
            return static_cast<Primary*>(this);
        void* found = nullptr;
        // The first listed interface whose IID matches.
        ((found == nullptr && iid == ZQIidOf<Others>() ? (found = static_cast<Others*>(this)) : nullptr), ...);
        return found;
    }

    std::atomic<ULONG> m_references;
};

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif
