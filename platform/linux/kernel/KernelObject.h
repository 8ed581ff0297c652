// The record behind a kernel-object HANDLE (event or thread).
#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>

#include "zqplatform/sync.h"

namespace zqplatform {

/// A waitable object with a signalled state, reference counted so that a
/// handle and a running thread can each keep the record alive. Any thread may
/// call any method; the handle's owner calls Release through CloseHandle.
class KernelObject {
public:
    enum class Kind : uint32_t { Event = 1, Thread = 2 };

    KernelObject(const KernelObject&) = delete;
    KernelObject& operator=(const KernelObject&) = delete;

    /// The record behind a handle, or null (last error ERROR_INVALID_HANDLE)
    /// for null and for pointers that don't carry our tag.
    static KernelObject* FromHandle(HANDLE handle) noexcept;
    HANDLE ToHandle() noexcept { return reinterpret_cast<HANDLE>(this); }

    Kind GetKind() const noexcept { return m_kind; }
    void AddRef() noexcept;
    /// Drops one reference; the last one deletes the record.
    void Release() noexcept;

    /// Blocks until signalled or until `milliseconds` of the monotonic clock
    /// pass; an auto-reset object is reset by the wait that it releases.
    DWORD Wait(DWORD milliseconds);
    void Signal();
    void Reset();

protected:
    KernelObject(Kind kind, bool manualReset, bool signalled) noexcept;
    virtual ~KernelObject();

private:
    static constexpr uint32_t kLiveTag = 0x5A514B4Fu;  // "ZQKO"

    uint32_t m_tag = kLiveTag;
    const Kind m_kind;
    const bool m_manualReset;
    std::atomic<uint32_t> m_references{1};
    std::mutex m_mutex;  // guards m_signalled
    std::condition_variable m_changed;
    bool m_signalled;
};

/// One reference held for the length of a call: the thread a signal wakes
/// may close the handle while the signalling call is still on its way out.
class ScopedReference {
public:
    explicit ScopedReference(KernelObject* object) noexcept : m_object(object) { m_object->AddRef(); }
    ~ScopedReference() { m_object->Release(); }
    ScopedReference(const ScopedReference&) = delete;
    ScopedReference& operator=(const ScopedReference&) = delete;

private:
    KernelObject* m_object;
};

}  // namespace zqplatform
