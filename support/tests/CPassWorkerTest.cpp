// The pass worker's protocol, with an owner that only counts its passes:
// start and end in cycles, a pass that rests the worker, other requests, an
// end while the worker waits for the lock, and an owner that dies inside a
// pass. Run under ThreadSanitizer too.
#include "support/CPassWorker.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include "tests/support/HResultAssertions.h"

namespace {

using namespace std::chrono_literals;

bool WaitUntil(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::yield();
    }
    return true;
}

ULONG References(CWorkerInterlock& lock) {
    lock.AddRef();
    return lock.Release();
}

/// An owner as the two objects are: its lock guards its state, its pass is
/// whatever the test gives, and it counts the passes it saw.
class FakeOwner final : public CPassWorker {
public:
    explicit FakeOwner(DWORD periodMs = 0) : CPassWorker(periodMs) { CWorkerInterlock::Create(&m_lock); }
    ~FakeOwner() override {
        CWorkerInterlock::Guard guard(*m_lock);
        if (m_running)
            AbandonOrEndWorkerInternal(*m_lock);
        m_running = false;
    }

    HRESULT Start() {
        CWorkerInterlock::Guard guard(*m_lock);
        const HRESULT hr = StartWorkerInternal(*m_lock);
        m_running = SUCCEEDED(hr);
        return hr;
    }
    void End() {
        CWorkerInterlock::Guard guard(*m_lock);
        EndWorkerInternal(*m_lock);
        m_running = false;
    }
    /// A request as another client of the thread would send it.
    DWORD Send(DWORD code) { return CallWorker(code); }

    CWorkerInterlock& Lock() { return *m_lock; }
    int Passes() const { return m_passes.load(); }
    /// The pass's answer; S_OK when not set.
    std::function<HRESULT(int pass)> m_pass;

private:
    HRESULT PassInternal() noexcept override {
        const int pass = m_passes.fetch_add(1) + 1;
        return m_pass ? m_pass(pass) : S_OK;
    }

    CComPtr<CWorkerInterlock> m_lock;
    std::atomic<int> m_passes{0};
    bool m_running = false;  // guarded by m_lock
};

TEST(CPassWorkerTest, PassesComeBetweenStartAndEndOnlyThroughManyCycles) {
    FakeOwner owner;
    for (int cycle = 0; cycle < 200; ++cycle) {
        const int before = owner.Passes();
        ASSERT_OK(owner.Start());
        ASSERT_TRUE(WaitUntil([&] { return owner.Passes() > before; })) << "cycle " << cycle;
        owner.End();
        const int ended = owner.Passes();
        std::this_thread::yield();
        ASSERT_EQ(ended, owner.Passes()) << "a pass after the end, cycle " << cycle;
    }
}

TEST(CPassWorkerTest, PassThatDoesNotAnswerOkRestsTheWorkerUntilTheNextStart) {
    FakeOwner owner;
    owner.m_pass = [](int pass) { return pass == 3 ? S_FALSE : S_OK; };
    ASSERT_OK(owner.Start());
    ASSERT_TRUE(WaitUntil([&] { return owner.Passes() == 3; }));
    // Resting, the worker answers requests: another start resumes the passes.
    EXPECT_EQ(static_cast<DWORD>(S_OK), owner.Send(CPassWorker::kRequestStart));
    ASSERT_TRUE(WaitUntil([&] { return owner.Passes() > 3; }));
    owner.End();
}

TEST(CPassWorkerTest, OtherRequestsAreNotImplementedAndTheWorkGoesOn) {
    FakeOwner owner(1);
    ASSERT_OK(owner.Start());
    EXPECT_EQ(static_cast<DWORD>(E_NOTIMPL), owner.Send(7));
    const int seen = owner.Passes();
    EXPECT_TRUE(WaitUntil([&] { return owner.Passes() > seen; }));
    EXPECT_EQ(static_cast<DWORD>(S_OK), owner.Send(CPassWorker::kRequestStart)) << "a second start is harmless";
    owner.End();
}

// The worker waits for the lock to start a pass while the owner, holding it,
// ends the worker: neither may be left waiting for the other.
TEST(CPassWorkerTest, EndsWhileTheWorkerWaitsForTheLockTheOwnerHolds) {
    for (int round = 0; round < 50; ++round) {
        FakeOwner owner;
        ASSERT_OK(owner.Start());
        owner.Lock().Enter();
        const int seen = owner.Passes();
        // Give the worker the chance to queue up for the lock.
        std::this_thread::sleep_for(1ms);
        owner.End();
        EXPECT_EQ(seen, owner.Passes()) << "no pass while the owner held its lock";
        owner.Lock().Leave();
    }
}

TEST(CPassWorkerTest, OwnerDyingInsideAPassLetsTheWorkerLeaveWithoutTouchingIt) {
    for (int round = 0; round < 20; ++round) {
        auto* owner = new FakeOwner;
        CComPtr<CWorkerInterlock> lock = &owner->Lock();
        std::atomic<bool> died{false};
        owner->m_pass = [&died, owner](int) {
            // The last reference goes on the worker, as a host's Release
            // inside Receive would let it go. This lambda dies with it, so
            // nothing of it is touched after the delete.
            died = true;
            delete owner;
            return S_OK;
        };
        ASSERT_OK(owner->Start());
        ASSERT_TRUE(WaitUntil([&] { return died.load(); }));
        // The worker held the lock alive until its thread ended.
        EXPECT_TRUE(WaitUntil([&] { return References(*lock) == 1; }));
    }
}

}  // namespace
