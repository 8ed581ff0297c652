// A reference clock fake whose time the test sets, with a status it answers
// and a hook that runs inside GetTime.
#pragma once

#include <atomic>
#include <functional>
#include <mutex>

#include "zqplatform/strmif.h"

namespace zqtest {

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

/// An IReferenceClock that stands still until the test moves it. A stack or
/// member object that never deletes itself; it counts its references.
/// QueryInterface answers IUnknown and IReferenceClock. Any thread may call
/// it: a timing worker reads it while the test sets it. Only GetTime has a
/// behaviour; the advise methods answer E_NOTIMPL.
class FakeReferenceClock : public IReferenceClock {
public:
    /// Runs inside GetTime, with no lock of the fake held, before the time is
    /// written.
    using Hook = std::function<void()>;

    FakeReferenceClock() = default;
    FakeReferenceClock(const FakeReferenceClock&) = delete;
    FakeReferenceClock& operator=(const FakeReferenceClock&) = delete;

    HRESULT QueryInterface(REFIID iid, void** out) override;
    ULONG AddRef() override;
    ULONG Release() override;

    /// Writes the time set last, or, while a failure is set, that status with
    /// the time written only if the failure says so.
    HRESULT GetTime(REFERENCE_TIME* pTime) override;
    HRESULT AdviseTime(REFERENCE_TIME, REFERENCE_TIME, HEVENT, DWORD_PTR*) override { return E_NOTIMPL; }
    HRESULT AdvisePeriodic(REFERENCE_TIME, REFERENCE_TIME, HSEMAPHORE, DWORD_PTR*) override { return E_NOTIMPL; }
    HRESULT Unadvise(DWORD_PTR) override { return E_NOTIMPL; }

    void SetTime(REFERENCE_TIME time) noexcept { m_time.store(time); }
    /// Seconds as a double, the unit of the tests' timelines.
    void SetSeconds(double seconds) noexcept;
    REFERENCE_TIME Time() const noexcept { return m_time.load(); }

    /// From now on GetTime answers `status` (S_OK to heal); a failing call
    /// writes the time too only when `writeTime` is true.
    void SetFailure(HRESULT status, bool writeTime = false) noexcept;
    void SetHook(Hook hook);

    LONG GetTimeCalls() const noexcept { return m_calls.load(); }
    /// References held now: AddRefs minus Releases.
    LONG References() const noexcept { return m_references.load(); }

private:
    std::atomic<REFERENCE_TIME> m_time{0};
    std::atomic<HRESULT> m_status{S_OK};
    std::atomic<bool> m_writeOnFailure{false};
    std::atomic<LONG> m_calls{0};
    std::atomic<LONG> m_references{0};
    // Guards m_hook.
    std::mutex m_mutex;
    Hook m_hook;
};

#pragma GCC diagnostic pop

}  // namespace zqtest
