// Windows and message queues: classes, ownership, posting across threads,
// peeking, the queue's file descriptor, stale handles and thread end.
#include <gtest/gtest.h>
#include <poll.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "zqplatform/sync.h"
#include "zqplatform/winuser.h"

namespace {

constexpr const WCHAR* kClassName = u"ZQ test window class";
constexpr UINT kTestMessage = WM_APP + 1;

/// What a window procedure saw, kept by the window's creation parameter.
struct WindowLog {
    std::mutex mutex;  // guards everything below
    std::vector<UINT> messages;
    std::vector<WPARAM> wParams;
    std::vector<DWORD> threads;

    void Add(UINT message, WPARAM wParam) {
        std::lock_guard<std::mutex> lock(mutex);
        messages.push_back(message);
        wParams.push_back(wParam);
        threads.push_back(GetCurrentThreadId());
    }
    size_t Count(UINT message) {
        std::lock_guard<std::mutex> lock(mutex);
        return static_cast<size_t>(std::count(messages.begin(), messages.end(), message));
    }
};

LRESULT LoggingProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_NCCREATE) {
        auto* create = reinterpret_cast<CREATESTRUCTW*>(lParam);
        SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(create->lpCreateParams));
    }
    if (auto* log = reinterpret_cast<WindowLog*>(GetWindowLongPtrW(window, GWLP_USERDATA)))
        log->Add(message, wParam);
    return DefWindowProcW(window, message, wParam, lParam);
}

HINSTANCE TestInstance() {
    static const char anchor = 0;
    return reinterpret_cast<HINSTANCE>(const_cast<char*>(&anchor));
}

HWND MakeWindow(WindowLog* log) {
    return CreateWindowExW(0, kClassName, u"test", 0, CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT,
                           nullptr, nullptr, TestInstance(), log);
}

bool QueueReadable(int fd) {
    pollfd entry{fd, POLLIN, 0};
    return ::poll(&entry, 1, 0) == 1 && (entry.revents & POLLIN) != 0;
}

/// Pumps the calling thread until `done` holds or ten seconds pass.
template <class Predicate>
bool PumpUntil(Predicate done) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    MSG message;
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        pollfd entry{ZQGetMessageQueueFd(), POLLIN, 0};
        ::poll(&entry, 1, 50);
        // Posters may keep the queue full: look at the condition now and then while draining.
        for (int n = 1; PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE); ++n) {
            DispatchMessageW(&message);
            if (n % 256 == 0 && done())
                return true;
        }
    }
    return true;
}

class WindowMessageTest : public ::testing::Test {
protected:
    void SetUp() override {
        WNDCLASSW windowClass{};
        windowClass.lpfnWndProc = LoggingProc;
        windowClass.hInstance = TestInstance();
        windowClass.lpszClassName = kClassName;
        ASSERT_NE(RegisterClassW(&windowClass), 0);
    }
    void TearDown() override {
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        }
        EXPECT_TRUE(UnregisterClassW(kClassName, TestInstance())) << "a test left a window behind";
    }
};

TEST_F(WindowMessageTest, ClassesAreKeyedByNameAndInstanceAndLiveUntilTheirLastWindow) {
    WNDCLASSW again{};
    again.lpfnWndProc = DefWindowProcW;
    again.hInstance = TestInstance();
    again.lpszClassName = u"zq TEST window CLASS";
    EXPECT_EQ(RegisterClassW(&again), 0);
    EXPECT_EQ(GetLastError(), ERROR_CLASS_ALREADY_EXISTS);

    WNDCLASSW found{};
    ASSERT_TRUE(GetClassInfoW(TestInstance(), kClassName, &found));
    EXPECT_EQ(found.lpfnWndProc, &LoggingProc);
    EXPECT_EQ(found.lpszClassName, kClassName);

    // Another instance has its own class of the same name.
    HINSTANCE other = reinterpret_cast<HINSTANCE>(&found);
    EXPECT_FALSE(GetClassInfoW(other, kClassName, &found));
    EXPECT_EQ(GetLastError(), ERROR_CLASS_DOES_NOT_EXIST);
    again.hInstance = other;
    ASSERT_NE(RegisterClassW(&again), 0);
    EXPECT_TRUE(UnregisterClassW(kClassName, other));

    HWND window = MakeWindow(nullptr);
    ASSERT_NE(window, nullptr);
    EXPECT_FALSE(UnregisterClassW(kClassName, TestInstance()));
    EXPECT_EQ(GetLastError(), ERROR_CLASS_HAS_WINDOWS);
    EXPECT_TRUE(DestroyWindow(window));
    EXPECT_EQ(CreateWindowExW(0, u"no such class", nullptr, 0, 0, 0, 0, 0, nullptr, nullptr, TestInstance(),
                              nullptr),
              nullptr);
    EXPECT_EQ(GetLastError(), ERROR_CLASS_DOES_NOT_EXIST);
}

TEST_F(WindowMessageTest, OnlyTheOwnerThreadSendsOrDestroysAndEveryMessageRunsThere) {
    WindowLog log;
    HWND window = MakeWindow(&log);
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(GetWindowThreadProcessId(window, nullptr), GetCurrentThreadId());
    EXPECT_EQ(SendMessageW(window, kTestMessage, 7, 0), 0);
    std::thread([&] {
        EXPECT_EQ(SendMessageW(window, kTestMessage, 8, 0), 0);
        EXPECT_EQ(GetLastError(), ERROR_NOT_SUPPORTED);
        EXPECT_FALSE(DestroyWindow(window));
        EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
        EXPECT_TRUE(IsWindow(window));
        EXPECT_TRUE(PostMessageW(window, WM_CLOSE, 0, 0));
    }).join();
    EXPECT_TRUE(IsWindow(window));
    ASSERT_TRUE(PumpUntil([&] { return !IsWindow(window); }));
    EXPECT_EQ(log.messages,
              (std::vector<UINT>{WM_NCCREATE, WM_CREATE, kTestMessage, WM_CLOSE, WM_DESTROY, WM_NCDESTROY}));
    EXPECT_EQ(log.threads, std::vector<DWORD>(6, GetCurrentThreadId()));
}

TEST_F(WindowMessageTest, PostsFromOtherThreadsArriveInOrderAndPeekCanLeaveThem) {
    WindowLog log;
    HWND window = MakeWindow(&log);
    ASSERT_NE(window, nullptr);
    std::thread([&] {
        for (WPARAM i = 0; i < 5; ++i)
            EXPECT_TRUE(PostMessageW(window, kTestMessage, i, 0));
        EXPECT_TRUE(PostMessageW(window, WM_USER, 99, 0));
    }).join();

    MSG message{};
    ASSERT_TRUE(PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE));
    EXPECT_EQ(message.hwnd, window);
    EXPECT_EQ(message.wParam, 0u);
    // A range that skips the first five takes the sixth out of turn.
    ASSERT_TRUE(PeekMessageW(&message, window, WM_USER, WM_USER, PM_REMOVE));
    EXPECT_EQ(message.wParam, 99u);
    for (WPARAM i = 0; i < 5; ++i) {
        ASSERT_TRUE(PeekMessageW(&message, window, 0, 0, PM_REMOVE));
        EXPECT_EQ(message.wParam, i);
        DispatchMessageW(&message);
    }
    EXPECT_FALSE(PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE));
    EXPECT_EQ(log.wParams.size(), 2u + 5u);
    EXPECT_EQ(log.wParams.back(), 4u);
    EXPECT_TRUE(DestroyWindow(window));
}

TEST_F(WindowMessageTest, QueueDescriptorIsReadableExactlyWhileAMessageWaits) {
    HWND window = MakeWindow(nullptr);
    ASSERT_NE(window, nullptr);
    int fd = ZQGetMessageQueueFd();
    ASSERT_GE(fd, 0);
    EXPECT_EQ(ZQGetMessageQueueFd(), fd);
    EXPECT_FALSE(QueueReadable(fd));

    ASSERT_TRUE(PostMessageW(window, kTestMessage, 1, 0));
    ASSERT_TRUE(PostMessageW(window, kTestMessage, 2, 0));
    EXPECT_TRUE(QueueReadable(fd));
    MSG message;
    ASSERT_TRUE(PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE));
    EXPECT_TRUE(QueueReadable(fd));
    ASSERT_TRUE(PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE));
    EXPECT_TRUE(QueueReadable(fd)) << "one message still waits";
    ASSERT_TRUE(PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE));
    EXPECT_FALSE(QueueReadable(fd));

    // A post from another thread wakes a poll that waits.
    std::thread poster([&] { PostMessageW(window, kTestMessage, 3, 0); });
    pollfd entry{fd, POLLIN, 0};
    EXPECT_EQ(::poll(&entry, 1, 10000), 1);
    poster.join();
    // Destroying the window drops its message, and the descriptor follows.
    EXPECT_TRUE(DestroyWindow(window));
    EXPECT_FALSE(QueueReadable(fd));
}

TEST_F(WindowMessageTest, StaleHandlesAreRefusedAndNeverNameANewerWindow) {
    WindowLog log;
    HWND window = MakeWindow(&log);
    ASSERT_NE(window, nullptr);
    ASSERT_TRUE(PostMessageW(window, kTestMessage, 1, 0));
    MSG taken;
    ASSERT_TRUE(PeekMessageW(&taken, nullptr, 0, 0, PM_NOREMOVE));
    ASSERT_TRUE(DestroyWindow(window));

    EXPECT_FALSE(IsWindow(window));
    EXPECT_FALSE(PeekMessageW(&taken, nullptr, 0, 0, PM_NOREMOVE)) << "the destroyed window's message stays";
    EXPECT_FALSE(PostMessageW(window, kTestMessage, 2, 0));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_WINDOW_HANDLE);
    EXPECT_FALSE(DestroyWindow(window));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_WINDOW_HANDLE);
    EXPECT_EQ(GetWindowLongPtrW(window, GWLP_USERDATA), 0);
    // A message taken out before the window went is dropped at dispatch.
    DispatchMessageW(&taken);
    EXPECT_EQ(log.Count(kTestMessage), 0u);

    // The slot is used again under a new generation.
    WindowLog newerLog;
    HWND newer = MakeWindow(&newerLog);
    ASSERT_NE(newer, nullptr);
    EXPECT_NE(newer, window);
    EXPECT_FALSE(PostMessageW(window, kTestMessage, 3, 0));
    EXPECT_FALSE(IsWindow(window));
    EXPECT_TRUE(IsWindow(newer));
    EXPECT_TRUE(DestroyWindow(newer));
}

TEST_F(WindowMessageTest, ThreadEndDestroysItsWindowsOnThatThreadAndFreesItsQueue) {
    WindowLog log;
    HWND window = nullptr;
    DWORD threadId = 0;
    std::thread([&] {
        window = MakeWindow(&log);
        threadId = GetCurrentThreadId();
        PostMessageW(window, kTestMessage, 1, 0);
    }).join();
    ASSERT_NE(window, nullptr);
    EXPECT_FALSE(IsWindow(window));
    EXPECT_FALSE(PostMessageW(window, kTestMessage, 2, 0));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_WINDOW_HANDLE);
    EXPECT_FALSE(PostThreadMessageW(threadId, kTestMessage, 0, 0));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_THREAD_ID);
    EXPECT_EQ(log.messages, (std::vector<UINT>{WM_NCCREATE, WM_CREATE, WM_DESTROY, WM_NCDESTROY}));
    EXPECT_EQ(log.threads.back(), threadId);
}

TEST_F(WindowMessageTest, GetMessageWaitsForThreadMessagesAndEndsOnQuit) {
    std::atomic<DWORD> receiverId{0};
    std::vector<WPARAM> received;
    int exitCode = 0;
    std::thread receiver([&] {
        MSG message;
        PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE);  // makes the queue
        receiverId = GetCurrentThreadId();
        while (GetMessageW(&message, nullptr, 0, 0) > 0) {
            EXPECT_EQ(message.hwnd, nullptr);
            received.push_back(message.wParam);
            if (message.wParam == 2)
                PostQuitMessage(5);
        }
        exitCode = static_cast<int>(message.wParam);
    });
    while (receiverId == 0)
        std::this_thread::yield();
    EXPECT_TRUE(PostThreadMessageW(receiverId, kTestMessage, 1, 0));
    EXPECT_TRUE(PostThreadMessageW(receiverId, kTestMessage, 2, 0));
    receiver.join();
    EXPECT_EQ(received, (std::vector<WPARAM>{1, 2}));
    EXPECT_EQ(exitCode, 5);
}

// Every message arrives once and in each poster's order; nothing arrives after destruction.
TEST_F(WindowMessageTest, StressManyThreadsPostToOneThread) {
    constexpr int kPosters = 8;
    constexpr WPARAM kPerPoster = 2000;
    WindowLog log;
    HWND window = MakeWindow(&log);
    ASSERT_NE(window, nullptr);
    std::atomic<int> refused{0};
    std::vector<std::thread> posters;
    for (int p = 0; p < kPosters; ++p) {
        posters.emplace_back([&, p] {
            for (WPARAM i = 0; i < kPerPoster; ++i)
                EXPECT_TRUE(PostMessageW(window, kTestMessage + static_cast<UINT>(p), i, 0));
            // Keep posting into the destruction until the handle goes stale.
            while (PostMessageW(window, WM_USER, 0, 0))
                std::this_thread::yield();
            EXPECT_EQ(GetLastError(), ERROR_INVALID_WINDOW_HANDLE);
            ++refused;
        });
    }
    auto total = [&] {
        std::lock_guard<std::mutex> lock(log.mutex);
        return std::count_if(log.messages.begin(), log.messages.end(), [](UINT m) { return m >= kTestMessage; });
    };
    ASSERT_TRUE(PumpUntil([&] { return total() >= kPosters * static_cast<long>(kPerPoster); }));
    ASSERT_TRUE(DestroyWindow(window));
    size_t seenAtDestruction = log.messages.size();
    for (auto& poster : posters)
        poster.join();
    EXPECT_EQ(refused, kPosters);
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
        DispatchMessageW(&message);
    EXPECT_EQ(log.messages.size(), seenAtDestruction);
    EXPECT_EQ(log.messages.back(), WM_NCDESTROY);

    std::vector<WPARAM> next(kPosters, 0);
    for (size_t i = 0; i < log.messages.size(); ++i) {
        if (log.messages[i] < kTestMessage)
            continue;
        size_t poster = log.messages[i] - kTestMessage;
        ASSERT_LT(poster, static_cast<size_t>(kPosters));
        ASSERT_EQ(log.wParams[i], next[poster]++);
    }
}

}  // namespace
