// Timer queues, the file API's sharing and errors, and the handle count: services the
// trace log stands on (its named record is tested with the two copies of the trace code).
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>

#include "zqplatform/debugapi.h"
#include "zqplatform/fileapi.h"
#include "zqplatform/status.h"
#include "zqplatform/sync.h"
#include "zqplatform/timerqueue.h"

namespace {

bool WaitUntil(const std::function<bool()>& condition) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition() && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    return condition();
}

struct TimerProbe {
    std::atomic<int> calls{0};
    std::atomic<bool> inside{false};
    std::atomic<bool> release{false};
    HANDLE queue = nullptr;
    HANDLE timer = nullptr;
};

TEST(TimerQueue, PeriodicTimerRunsUntilDeleted) {
    TimerProbe probe;
    probe.queue = CreateTimerQueue();
    ASSERT_NE(nullptr, probe.queue);
    auto count = [](PVOID parameter, BOOLEAN) { ++static_cast<TimerProbe*>(parameter)->calls; };
    ASSERT_TRUE(CreateTimerQueueTimer(&probe.timer, probe.queue, count, &probe, 1, 1, 0));
    EXPECT_TRUE(WaitUntil([&] { return probe.calls >= 3; }));
    ASSERT_TRUE(DeleteTimerQueueTimer(probe.queue, probe.timer, INVALID_HANDLE_VALUE));
    int settled = probe.calls;
    EXPECT_TRUE(DeleteTimerQueueEx(probe.queue, INVALID_HANDLE_VALUE));
    EXPECT_EQ(settled, probe.calls);
}

TEST(TimerQueue, DeleteWaitsForTheRunningRoutine) {
    TimerProbe probe;
    probe.queue = CreateTimerQueue();
    auto block = [](PVOID parameter, BOOLEAN) {
        auto* p = static_cast<TimerProbe*>(parameter);
        p->inside = true;
        while (!p->release)
            std::this_thread::yield();
        p->inside = false;
    };
    ASSERT_TRUE(CreateTimerQueueTimer(&probe.timer, probe.queue, block, &probe, 0, 0, 0));
    ASSERT_TRUE(WaitUntil([&] { return probe.inside.load(); }));
    std::atomic<bool> deleted{false};
    std::thread deleter([&] {
        DeleteTimerQueueTimer(probe.queue, probe.timer, INVALID_HANDLE_VALUE);
        deleted = true;
    });
    // The deleter can't finish while the routine runs.
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_FALSE(deleted);
    probe.release = true;
    deleter.join();
    EXPECT_FALSE(probe.inside);
    EXPECT_TRUE(DeleteTimerQueueEx(probe.queue, INVALID_HANDLE_VALUE));
}

TEST(TimerQueue, RoutineMayDeleteItsTimerAndQueue) {
    TimerProbe probe;
    probe.queue = CreateTimerQueue();
    auto selfDelete = [](PVOID parameter, BOOLEAN) {
        auto* p = static_cast<TimerProbe*>(parameter);
        DeleteTimerQueueTimer(p->queue, p->timer, INVALID_HANDLE_VALUE);
        DeleteTimerQueueEx(p->queue, INVALID_HANDLE_VALUE);
        ++p->calls;
    };
    ASSERT_TRUE(CreateTimerQueueTimer(&probe.timer, probe.queue, selfDelete, &probe, 0, 1, 0));
    EXPECT_TRUE(WaitUntil([&] { return probe.calls == 1; }));
}

TEST(FileApi, OpenFailuresSharingAppendingAndTheHandleCount) {
    std::filesystem::path directory =
        std::filesystem::temp_directory_path() / ("zqfile-" + std::to_string(GetCurrentProcessId()));
    std::filesystem::create_directories(directory);
    std::filesystem::path path = directory / "file.txt";
    auto open = [](const std::filesystem::path& at) {
        return CreateFileW(at.u16string().c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                           OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    };
    EXPECT_EQ(INVALID_HANDLE_VALUE, open(directory));
    EXPECT_EQ(ERROR_ACCESS_DENIED, GetLastError());
    EXPECT_EQ(INVALID_HANDLE_VALUE, open(directory / "missing" / "file.txt"));
    EXPECT_EQ(ERROR_PATH_NOT_FOUND, GetLastError());
    EXPECT_EQ(INVALID_HANDLE_VALUE, CreateFileW(path.u16string().c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                                OPEN_EXISTING, 0, nullptr));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, GetLastError());
    EXPECT_EQ(FILE_ATTRIBUTE_DIRECTORY, GetFileAttributesW(directory.u16string().c_str()) & FILE_ATTRIBUTE_DIRECTORY);
    EXPECT_FALSE(CreateDirectoryW(directory.u16string().c_str(), nullptr));
    EXPECT_EQ(ERROR_ALREADY_EXISTS, GetLastError());

    DWORD before = 0;
    ASSERT_TRUE(GetProcessHandleCount(GetCurrentProcess(), &before));
    HANDLE file = open(path);
    ASSERT_NE(INVALID_HANDLE_VALUE, file);
    DWORD during = 0;
    ASSERT_TRUE(GetProcessHandleCount(GetCurrentProcess(), &during));
    EXPECT_EQ(before + 1, during);
    // A second writer that shares only reading meets a sharing violation.
    EXPECT_EQ(INVALID_HANDLE_VALUE, open(path));
    EXPECT_EQ(ERROR_SHARING_VIOLATION, GetLastError());

    DWORD written = 0;
    ASSERT_TRUE(WriteFile(file, "abc", 3, &written, nullptr));
    ASSERT_TRUE(SetFilePointerEx(file, LARGE_INTEGER {0}, nullptr, FILE_BEGIN));
    ASSERT_TRUE(SetFilePointerEx(file, LARGE_INTEGER {0}, nullptr, FILE_END));
    ASSERT_TRUE(WriteFile(file, "de", 2, &written, nullptr));
    LARGE_INTEGER size {};
    ASSERT_TRUE(GetFileSizeEx(file, &size));
    EXPECT_EQ(5, size.QuadPart);
    EXPECT_TRUE(FlushFileBuffers(file));
    CloseHandle(file);
    HANDLE after = open(path);
    EXPECT_NE(INVALID_HANDLE_VALUE, after);
    EXPECT_EQ(ERROR_ALREADY_EXISTS, GetLastError());
    CloseHandle(after);
    std::filesystem::remove_all(directory);
}

// A file its owner may not read. Root reads any file, so the open runs in a
// child that gives root up first; the child's exit code carries the answer.
TEST(FileApi, FileWithoutReadPermissionIsAccessDenied) {
    std::filesystem::path path = std::filesystem::temp_directory_path() /
                                 ("zqfile-denied-" + std::to_string(GetCurrentProcessId()) + ".txt");
    { std::ofstream(path) << "x"; }
    std::filesystem::permissions(path, std::filesystem::perms::none);
    const uid_t unprivileged = 65534;  // nobody
    if (::geteuid() == 0)
        ::chown(path.c_str(), unprivileged, static_cast<gid_t>(-1));
    const pid_t child = ::fork();
    if (child == 0) {
        if (::geteuid() == 0 && (::setgid(unprivileged) != 0 || ::setuid(unprivileged) != 0))
            ::_exit(100);
        HANDLE file = CreateFileW(path.u16string().c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
        ::_exit(file == INVALID_HANDLE_VALUE && GetLastError() == ERROR_ACCESS_DENIED ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(child, ::waitpid(child, &status, 0));
    std::filesystem::remove(path);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_NE(100, WEXITSTATUS(status)) << "the child could not give root up";
    EXPECT_EQ(0, WEXITSTATUS(status)) << "the open did not fail with ERROR_ACCESS_DENIED";
}

}  // namespace
