// An IUnknown fake that counts every AddRef, Release and QueryInterface, for
// tests that prove lifetimes by exact counts.
#pragma once

#include <atomic>

#include "zqplatform/unknwn.h"

namespace zqtest {

// Interfaces have no virtual destructor by contract; the fake is never deleted
// through one.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

/// A stack or member object that never deletes itself: it only counts, so a
/// test can assert the exact references a piece of code took and gave back.
/// QueryInterface answers IUnknown only (itself, with one AddRef). All counts
/// are atomic, so worker threads may touch it.
class CountingUnknown : public IUnknown {
public:
    CountingUnknown() = default;
    CountingUnknown(const CountingUnknown&) = delete;
    CountingUnknown& operator=(const CountingUnknown&) = delete;

    HRESULT QueryInterface(REFIID iid, void** out) override;
    ULONG AddRef() override;
    ULONG Release() override;

    /// References held now: AddRefs minus Releases.
    LONG References() const noexcept { return m_references.load(); }
    LONG AddRefCalls() const noexcept { return m_addRefs.load(); }
    LONG ReleaseCalls() const noexcept { return m_releases.load(); }
    LONG QueryInterfaceCalls() const noexcept { return m_queries.load(); }

private:
    std::atomic<LONG> m_references{0};
    std::atomic<LONG> m_addRefs{0};
    std::atomic<LONG> m_releases{0};
    std::atomic<LONG> m_queries{0};
};

#pragma GCC diagnostic pop

}  // namespace zqtest
