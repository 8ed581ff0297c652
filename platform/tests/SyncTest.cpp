// Critical sections, events, threads and per-thread initialisation.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "tests/support/HResultAssertions.h"
#include "zqplatform/objbase.h"
#include "zqplatform/status.h"
#include "zqplatform/sync.h"

namespace {

constexpr DWORD kGenerousMs = 10000;

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

TEST(Event, AutoResetReleasesOneWaitAndManualResetStaysSignalled) {
    HANDLE autoReset = CreateEventW(nullptr, FALSE, TRUE, nullptr);
    ASSERT_NE(autoReset, nullptr);
    EXPECT_EQ(WaitForSingleObject(autoReset, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(autoReset, 20), WAIT_TIMEOUT);
    ASSERT_TRUE(SetEvent(autoReset));
    EXPECT_EQ(WaitForSingleObject(autoReset, 20), WAIT_OBJECT_0);
    EXPECT_TRUE(CloseHandle(autoReset));

    HANDLE manual = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    EXPECT_EQ(WaitForSingleObject(manual, 0), WAIT_TIMEOUT);
    std::atomic<int> woken{0};
    std::thread a([&] { woken += WaitForSingleObject(manual, kGenerousMs) == WAIT_OBJECT_0; });
    std::thread b([&] { woken += WaitForSingleObject(manual, kGenerousMs) == WAIT_OBJECT_0; });
    ASSERT_TRUE(SetEvent(manual));
    a.join();
    b.join();
    EXPECT_EQ(woken.load(), 2);
    EXPECT_EQ(WaitForSingleObject(manual, 0), WAIT_OBJECT_0);
    ASSERT_TRUE(ResetEvent(manual));
    EXPECT_EQ(WaitForSingleObject(manual, 0), WAIT_TIMEOUT);
    EXPECT_TRUE(CloseHandle(manual));

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
    ThreadContext context;
    context.go = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    DWORD threadId = 0;
    HANDLE thread = CreateThread(nullptr, 0, WaitThenFinish, &context, 0, &threadId);
    ASSERT_NE(thread, nullptr);
    EXPECT_NE(threadId, GetCurrentThreadId());
    DWORD exitCode = 0;
    ASSERT_TRUE(GetExitCodeThread(thread, &exitCode));
    EXPECT_EQ(exitCode, STILL_ACTIVE);
    EXPECT_EQ(WaitForSingleObject(thread, 0), WAIT_TIMEOUT);

    SetEvent(context.go);
    ASSERT_EQ(WaitForSingleObject(thread, kGenerousMs), WAIT_OBJECT_0);
    EXPECT_EQ(context.threadId.load(), threadId);
    ASSERT_TRUE(GetExitCodeThread(thread, &exitCode));
    EXPECT_EQ(exitCode, 42u);
    EXPECT_EQ(WaitForSingleObject(thread, 0), WAIT_OBJECT_0);  // stays signalled
    EXPECT_FALSE(SetEvent(thread));  // a thread is no event
    CloseHandle(thread);
    CloseHandle(context.go);
}

TEST(Thread, ClosingTheHandleEarlyDetachesSafely) {
    ThreadContext context;
    context.go = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    context.done = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    HANDLE thread = CreateThread(nullptr, 64 * 1024, WaitThenFinish, &context, 0, nullptr);
    ASSERT_NE(thread, nullptr);
    EXPECT_TRUE(CloseHandle(thread));
    SetEvent(context.go);
    EXPECT_EQ(WaitForSingleObject(context.done, kGenerousMs), WAIT_OBJECT_0);
    CloseHandle(context.go);
    CloseHandle(context.done);
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
