// Kernel-object records and the two calls every handle kind shares.
#include "kernel/KernelObject.h"

#include <chrono>

#include "zqplatform/status.h"

namespace zqplatform {

KernelObject::KernelObject(Kind kind, bool manualReset, bool signalled) noexcept
    : m_kind(kind), m_manualReset(manualReset), m_signalled(signalled) {}

KernelObject::~KernelObject() {
    // A stale handle used after close then fails the tag check rather than
    // finding a plausible record (as long as the memory wasn't reused).
    m_tag = 0;
}

KernelObject* KernelObject::FromHandle(HANDLE handle) noexcept {
    auto* object = reinterpret_cast<KernelObject*>(handle);
    if (object == nullptr || reinterpret_cast<uintptr_t>(handle) == ~uintptr_t{0} || object->m_tag != kLiveTag) {
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    return object;
}

void KernelObject::AddRef() noexcept {
    m_references.fetch_add(1, std::memory_order_relaxed);
}

void KernelObject::Release() noexcept {
    if (m_references.fetch_sub(1, std::memory_order_acq_rel) == 1)
        delete this;
}

DWORD KernelObject::Wait(DWORD milliseconds) {
    std::unique_lock lock(m_mutex);
    auto signalled = [this] { return m_signalled; };
    // A look without waiting must not go through a timed wait: the condition
    // variable gives up the processor even for a deadline already past, and
    // the pump looks for a request on every pass.
    if (milliseconds == 0 && !m_signalled)
        return WAIT_TIMEOUT;
    if (milliseconds == INFINITE) {
        m_changed.wait(lock, signalled);
    } else {
        // steady_clock: a wall clock change must not stretch or cut a time-out.
        auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
        if (!m_changed.wait_until(lock, deadline, signalled))
            return WAIT_TIMEOUT;
    }
    if (!m_manualReset)
        m_signalled = false;
    return WAIT_OBJECT_0;
}

void KernelObject::Signal() {
    {
        std::lock_guard lock(m_mutex);
        m_signalled = true;
    }
    // All waiters wake; for auto reset the first to take the lock consumes the
    // signal and the others see it gone and sleep again.
    m_changed.notify_all();
}

void KernelObject::Reset() {
    std::lock_guard lock(m_mutex);
    m_signalled = false;
}

}  // namespace zqplatform

using zqplatform::KernelObject;

extern "C" {

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
    KernelObject* object = KernelObject::FromHandle(handle);
    if (object == nullptr)
        return WAIT_FAILED;
    zqplatform::ScopedReference hold(object);
    return object->Wait(milliseconds);
}

BOOL CloseHandle(HANDLE handle) {
    KernelObject* object = KernelObject::FromHandle(handle);
    if (object == nullptr)
        return FALSE;
    object->Release();
    return TRUE;
}

}  // extern "C"
