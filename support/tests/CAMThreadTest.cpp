#include "support/CAMThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <thread>
#include <vector>

#include "tests/support/HResultAssertions.h"
#include "zqplatform/objbase.h"

namespace {

constexpr DWORD kExit = 1;
constexpr DWORD kReplyOffset = 1000;
constexpr auto kDeadline = std::chrono::seconds(30);
constexpr DWORD kFailed = static_cast<DWORD>(E_FAIL);

// A worker running the test's body; by default it answers code + kReplyOffset until kExit.
class TestThread : public CAMThread {
public:
    explicit TestThread(std::function<DWORD(TestThread&)> body = {}) : m_body(std::move(body)) {}
    ~TestThread() override { Close(); }

    DWORD ThreadProc() override { return m_body ? m_body(*this) : Echo(); }

    DWORD Echo() {
        for (;;) {
            DWORD code = GetRequest();
            if (code == kExit) {
                Reply(S_OK);
                return 0;
            }
            Reply(code + kReplyOffset);
        }
    }

    // Tells the worker to end and waits for it.
    void Stop() {
        EXPECT_EQ(static_cast<DWORD>(S_OK), CallWorker(kExit));
        Close();
    }

    using CAMThread::CheckRequest;
    using CAMThread::GetRequest;
    using CAMThread::Reply;

private:
    std::function<DWORD(TestThread&)> m_body;
};

template <class T>
bool Arrives(std::future<T>& future) {
    return future.wait_for(kDeadline) == std::future_status::ready;
}

TEST(CAMThreadTest, RepliesUntilToldToEndAndGoesThroughManyCreateCallClose) {
    TestThread thread;
    EXPECT_EQ(kFailed, thread.CallWorker(5)) << "without a thread a call fails at once";
    thread.Close();
    for (DWORD cycle = 0; cycle < 50; ++cycle) {
        ASSERT_TRUE(thread.Create()) << "cycle " << cycle;
        EXPECT_TRUE(thread.ThreadExists());
        EXPECT_FALSE(thread.Create()) << "a second Create leaves the thread alone";
        ASSERT_EQ(cycle + 2 + kReplyOffset, thread.CallWorker(cycle + 2));
        ASSERT_EQ(cycle + 3 + kReplyOffset, thread.CallWorker(cycle + 3));
        thread.Stop();
        thread.Close();
        EXPECT_FALSE(thread.ThreadExists());
        EXPECT_EQ(kFailed, thread.CallWorker(5));
    }
}

TEST(CAMThreadTest, LetsOneClientAtATimeThroughAndEachGetsItsOwnReply) {
    TestThread thread;
    ASSERT_TRUE(thread.Create());
    constexpr DWORD kCalls = 300;
    auto client = [&thread](DWORD first) {
        int mismatches = 0;
        for (DWORD code = first; code < first + kCalls; ++code)
            mismatches += thread.CallWorker(code) != code + kReplyOffset;
        return mismatches;
    };
    auto a = std::async(std::launch::async, client, 10);
    auto b = std::async(std::launch::async, client, 10 + kCalls);
    ASSERT_TRUE(Arrives(a) && Arrives(b));
    EXPECT_EQ(0, a.get());
    EXPECT_EQ(0, b.get());
    thread.Stop();
}

TEST(CAMThreadTest, WorkerInTheMultithreadedApartmentSeesARequestWithoutTakingIt) {
    std::promise<void> checkedEmpty;
    std::promise<void> checkedAnswered;
    std::vector<bool> seen;
    DWORD peeked = 0;
    DWORD taken = 0;
    HRESULT apartment = S_OK;
    TestThread thread([&](TestThread& self) -> DWORD {
        // The worker is in the multithreaded apartment: asking for another kind is refused.
        apartment = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        if (SUCCEEDED(apartment))
            CoUninitialize();
        seen.push_back(self.CheckRequest(&peeked, 0));
        seen.push_back(self.CheckRequest(nullptr, 20));
        checkedEmpty.set_value();
        while (!self.CheckRequest(nullptr, 10)) {
        }
        seen.push_back(self.CheckRequest(nullptr, 0));  // still standing
        seen.push_back(self.CheckRequest(&peeked, 0));
        taken = self.GetRequest();
        self.Reply(taken + kReplyOffset);
        // Answered: it must not show again.
        seen.push_back(self.CheckRequest(nullptr, 0));
        checkedAnswered.set_value();
        return self.Echo();
    });
    ASSERT_TRUE(thread.Create());
    auto checked = checkedEmpty.get_future();
    ASSERT_TRUE(Arrives(checked));
    EXPECT_EQ(42 + kReplyOffset, thread.CallWorker(42));
    auto answered = checkedAnswered.get_future();
    ASSERT_TRUE(Arrives(answered));
    thread.Stop();
    EXPECT_EQ((std::vector<bool>{false, false, true, true, false}), seen);
    EXPECT_EQ(42u, peeked);
    EXPECT_EQ(42u, taken);
    EXPECT_HR(RPC_E_CHANGED_MODE, apartment);
}

// What a self-closing worker saw (0 not yet, 1 no handle, 2 a handle); static, as it is never joined.
std::atomic<int> g_selfClosed{0};

bool SelfCloseArrives() {
    auto deadline = std::chrono::steady_clock::now() + kDeadline;
    while (g_selfClosed.load() == 0) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

TEST(CAMThreadTest, WorkerMayCloseItselfAndTheObjectCanStartAgain) {
    TestThread thread([](TestThread& self) -> DWORD {
        self.Close();
        g_selfClosed.store(self.ThreadExists() ? 2 : 1);
        return 0;
    });
    for (int round = 0; round < 2; ++round) {
        g_selfClosed.store(0);
        ASSERT_TRUE(thread.Create());
        ASSERT_TRUE(SelfCloseArrives());
        EXPECT_EQ(1, g_selfClosed.load());
        EXPECT_EQ(kFailed, thread.CallWorker(5));
        thread.Close();
    }
}

}  // namespace
