#include "support/CWorkerInterlock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

#include "tests/support/HResultAssertions.h"
#include "zqplatform/comptr.h"

namespace {

CComPtr<CWorkerInterlock> NewInterlock() {
    CComPtr<CWorkerInterlock> interlock;
    EXPECT_OK(CWorkerInterlock::Create(&interlock));
    return interlock;
}

TEST(CWorkerInterlockTest, IsRecursiveForItsOwnerAndTellsANestedEntry) {
    CComPtr<CWorkerInterlock> interlock = NewInterlock();
    EXPECT_HR(E_POINTER, CWorkerInterlock::Create(nullptr));
    interlock->Enter();
    EXPECT_FALSE(interlock->IsNested());
    interlock->Enter();
    EXPECT_TRUE(interlock->IsNested());
    interlock->Leave();
    // Another thread must wait until the last Leave.
    std::atomic<bool> entered{false};
    std::thread other([&] {
        interlock->Enter();
        entered = true;
        EXPECT_FALSE(interlock->IsNested());
        interlock->Leave();
    });
    EXPECT_FALSE(entered.load());
    interlock->Leave();
    other.join();
    EXPECT_TRUE(entered.load());
}

// The case the interlock exists for: the owner holds the lock and is about to
// wait for the worker, which is waiting for the lock to start a pass. BeginStop
// sends the worker away without the lock instead of leaving both waiting.
TEST(CWorkerInterlockTest, WorkerWaitingForAPassGivesUpWhenAStopBegins) {
    CComPtr<CWorkerInterlock> interlock = NewInterlock();
    interlock->Enter();
    interlock->BeginRun();
    std::promise<void> attached;
    std::promise<bool> entered;
    std::thread worker([&] {
        interlock->AttachWorker();
        attached.set_value();
        entered.set_value(interlock->EnterForPass());
    });
    attached.get_future().wait();
    EXPECT_FALSE(interlock->IsWorkerThread());
    interlock->BeginStop();
    std::future<bool> result = entered.get_future();
    ASSERT_EQ(std::future_status::ready, result.wait_for(std::chrono::seconds(10)));
    EXPECT_FALSE(result.get());
    worker.join();
    interlock->Leave();

    // The next run forgets the stop: the worker gets its pass.
    interlock->Enter();
    interlock->BeginRun();
    interlock->Leave();
    std::thread second([&] {
        interlock->AttachWorker();
        EXPECT_TRUE(interlock->IsWorkerThread());
        ASSERT_TRUE(interlock->EnterForPass());
        EXPECT_FALSE(interlock->IsAbandoned());
        interlock->Leave();
    });
    second.join();
}

}  // namespace
