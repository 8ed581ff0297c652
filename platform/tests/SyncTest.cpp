// Critical sections, events, threads and per-thread initialisation.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <utility>

#include "tests/support/HResultAssertions.h"
#include "zqplatform/objbase.h"
#include "zqplatform/status.h"
#include "zqplatform/sync.h"

namespace {

constexpr DWORD kGenerousMs = 10000;

/// An event handle closed at scope end.
class ScopedHandle {
public:
    explicit ScopedHandle(HANDLE handle) : m_handle(handle) {}
    ~ScopedHandle() {
        if (m_handle != nullptr)
            CloseHandle(m_handle);
    }
    ScopedHandle(const ScopedHandle&) = delete;
    ScopedHandle& operator=(const ScopedHandle&) = delete;
    HANDLE Get() const { return m_handle; }
    HANDLE Release() { return std::exchange(m_handle, nullptr); }

private:
    HANDLE m_handle;
};

TEST(CriticalSection, IsRecursiveForItsOwnerAndExcludesOthers) {
    CRITICAL_SECTION cs;
    ASSERT_TRUE(InitializeCriticalSectionEx(&cs, 0, 0));
    EnterCriticalSection(&cs);
    ASSERT_TRUE(TryEnterCriticalSection(&cs));
    bool otherEntered = true;
    std::thread([&] { otherEntered = TryEnterCriticalSection(&cs) != FALSE; }).join();
    EXPECT_FALSE(otherEntered);
    LeaveCriticalSection(&cs);
    LeaveCriticalSection(&cs);
    std::thread([&] {
        otherEntered = TryEnterCriticalSection(&cs) != FALSE;
        if (otherEntered)
            LeaveCriticalSection(&cs);
    }).join();
    EXPECT_TRUE(otherEntered);
    DeleteCriticalSection(&cs);
}

TEST(CriticalSection, SerialisesUpdatesFromTwoThreads) {
    CRITICAL_SECTION cs;
    InitializeCriticalSection(&cs);
    int counter = 0;  // guarded by cs
    auto work = [&] {
        for (int i = 0; i < 10000; ++i) {
            EnterCriticalSection(&cs);
            ++counter;
            LeaveCriticalSection(&cs);
        }
    };
    std::thread a(work);
    std::thread b(work);
    a.join();
    b.join();
    EXPECT_EQ(counter, 20000);
    DeleteCriticalSection(&cs);
}

TEST(Event, AutoResetReleasesOneWaitAndResets) {
    ScopedHandle event(CreateEventW(nullptr, FALSE, TRUE, nullptr));
    ASSERT_NE(event.Get(), nullptr);
    EXPECT_EQ(WaitForSingleObject(event.Get(), 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(event.Get(), 0), WAIT_TIMEOUT);
    EXPECT_EQ(WaitForSingleObject(event.Get(), 20), WAIT_TIMEOUT);
    ASSERT_TRUE(SetEvent(event.Get()));
    EXPECT_EQ(WaitForSingleObject(event.Get(), 20), WAIT_OBJECT_0);
}

TEST(Event, ManualResetStaysSignalledUntilReset) {
    ScopedHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    EXPECT_EQ(WaitForSingleObject(event.Get(), 0), WAIT_TIMEOUT);
    ASSERT_TRUE(SetEvent(event.Get()));
    EXPECT_EQ(WaitForSingleObject(event.Get(), 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(event.Get(), INFINITE), WAIT_OBJECT_0);
    ASSERT_TRUE(ResetEvent(event.Get()));
    EXPECT_EQ(WaitForSingleObject(event.Get(), 0), WAIT_TIMEOUT);
}

TEST(Event, ManualResetWakesEveryWaiter) {
    ScopedHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    std::atomic<int> woken{0};
    std::thread a([&] { woken += WaitForSingleObject(event.Get(), kGenerousMs) == WAIT_OBJECT_0; });
    std::thread b([&] { woken += WaitForSingleObject(event.Get(), kGenerousMs) == WAIT_OBJECT_0; });
    SetEvent(event.Get());
    a.join();
    b.join();
    EXPECT_EQ(woken.load(), 2);
}

TEST(Handles, InvalidHandlesFailWithInvalidHandle) {
    SetLastError(0);
    EXPECT_EQ(WaitForSingleObject(nullptr, 0), WAIT_FAILED);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    EXPECT_FALSE(CloseHandle(nullptr));
    EXPECT_FALSE(SetEvent(nullptr));
    EXPECT_EQ(CreateEventW(nullptr, TRUE, FALSE, u"named"), nullptr);
}

struct ThreadContext {
    HANDLE go = nullptr;
    HANDLE done = nullptr;
    std::atomic<DWORD> threadId{0};
};

DWORD WaitThenFinish(LPVOID parameter) {
    auto* context = static_cast<ThreadContext*>(parameter);
    context->threadId = GetCurrentThreadId();
    if (WaitForSingleObject(context->go, kGenerousMs) != WAIT_OBJECT_0)
        return 1;
    if (context->done != nullptr)
        SetEvent(context->done);
    return 42;
}

TEST(Thread, ReportsItsIdAndExitCodeAndSignalsWhenEnded) {
    ScopedHandle go(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    ThreadContext context;
    context.go = go.Get();
    DWORD threadId = 0;
    ScopedHandle thread(CreateThread(nullptr, 0, WaitThenFinish, &context, 0, &threadId));
    ASSERT_NE(thread.Get(), nullptr);
    EXPECT_NE(threadId, 0u);
    EXPECT_NE(threadId, GetCurrentThreadId());
    DWORD exitCode = 0;
    ASSERT_TRUE(GetExitCodeThread(thread.Get(), &exitCode));
    EXPECT_EQ(exitCode, STILL_ACTIVE);
    EXPECT_EQ(WaitForSingleObject(thread.Get(), 0), WAIT_TIMEOUT);

    SetEvent(go.Get());
    ASSERT_EQ(WaitForSingleObject(thread.Get(), kGenerousMs), WAIT_OBJECT_0);
    EXPECT_EQ(context.threadId.load(), threadId);
    ASSERT_TRUE(GetExitCodeThread(thread.Get(), &exitCode));
    EXPECT_EQ(exitCode, 42u);
    EXPECT_EQ(WaitForSingleObject(thread.Get(), 0), WAIT_OBJECT_0);  // stays signalled
    EXPECT_FALSE(SetEvent(thread.Get()));  // a thread is no event
}

TEST(Thread, ClosingTheHandleEarlyDetachesSafely) {
    ScopedHandle go(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    ScopedHandle done(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    ThreadContext context;
    context.go = go.Get();
    context.done = done.Get();
    HANDLE thread = CreateThread(nullptr, 64 * 1024, WaitThenFinish, &context, 0, nullptr);
    ASSERT_NE(thread, nullptr);
    EXPECT_TRUE(CloseHandle(thread));
    SetEvent(go.Get());
    EXPECT_EQ(WaitForSingleObject(done.Get(), kGenerousMs), WAIT_OBJECT_0);
}

TEST(ComInit, CountsPerThreadAndRefusesAnotherApartmentKind) {
    std::thread([] {
        EXPECT_OK(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
        EXPECT_HR(S_FALSE, CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE));
        EXPECT_HR(RPC_E_CHANGED_MODE, CoInitializeEx(nullptr, COINIT_MULTITHREADED));
        std::thread([] { EXPECT_OK(CoInitializeEx(nullptr, COINIT_MULTITHREADED)); CoUninitialize(); }).join();
        CoUninitialize();
        CoUninitialize();
        EXPECT_OK(CoInitializeEx(nullptr, COINIT_MULTITHREADED));
        CoUninitialize();
    }).join();
}

}  // namespace
