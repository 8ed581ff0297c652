// Timer queues, named records, the file API's sharing and errors, and the
// handle count: the services the trace log stands on.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <thread>

#include "zqplatform/diag.h"
#include "zqplatform/fileapi.h"
#include "zqplatform/status.h"
#include "zqplatform/sync.h"

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

TEST(FileMapping, OneNameGivesOneRecordWhileAHandleLives) {
    HANDLE first = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 16, "zq.mapping.test");
    ASSERT_NE(nullptr, first);
    EXPECT_EQ(ERROR_SUCCESS, GetLastError());
    HANDLE second = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 16, "zq.mapping.test");
    EXPECT_EQ(ERROR_ALREADY_EXISTS, GetLastError());
    auto* a = static_cast<int*>(MapViewOfFile(first, FILE_MAP_ALL_ACCESS, 0, 0, 16));
    auto* b = static_cast<int*>(MapViewOfFile(second, FILE_MAP_ALL_ACCESS, 0, 0, 16));
    ASSERT_NE(nullptr, a);
    EXPECT_EQ(0, *a) << "a new record is zeroed";
    *a = 322;
    EXPECT_EQ(322, *b);
    EXPECT_TRUE(UnmapViewOfFile(a));
    EXPECT_TRUE(UnmapViewOfFile(b));
    EXPECT_FALSE(UnmapViewOfFile(b));

    CloseHandle(first);
    HANDLE again = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 16, "zq.mapping.test");
    EXPECT_EQ(ERROR_ALREADY_EXISTS, GetLastError()) << "the second handle keeps it";
    CloseHandle(again);
    CloseHandle(second);
    HANDLE fresh = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 16, "zq.mapping.test");
    EXPECT_EQ(ERROR_SUCCESS, GetLastError());
    CloseHandle(fresh);
}

class FileApiTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_directory = std::filesystem::temp_directory_path() /
                      ("zqfile-" + std::to_string(GetCurrentProcessId()));
        std::filesystem::create_directories(m_directory);
        m_file = m_directory / "file.txt";
    }
    void TearDown() override { std::filesystem::remove_all(m_directory); }

    HANDLE Open(const std::filesystem::path& path, DWORD share = FILE_SHARE_READ) {
        return CreateFileW(path.u16string().c_str(), GENERIC_READ | GENERIC_WRITE, share, nullptr, OPEN_ALWAYS,
                           FILE_ATTRIBUTE_NORMAL, nullptr);
    }

    std::filesystem::path m_directory;
    std::filesystem::path m_file;
};

TEST_F(FileApiTest, OpenFailuresCarryTheUsualErrors) {
    EXPECT_EQ(INVALID_HANDLE_VALUE, Open(m_directory));
    EXPECT_EQ(ERROR_ACCESS_DENIED, GetLastError());
    EXPECT_EQ(INVALID_HANDLE_VALUE, Open(m_directory / "missing" / "file.txt"));
    EXPECT_EQ(ERROR_PATH_NOT_FOUND, GetLastError());
    EXPECT_EQ(INVALID_HANDLE_VALUE, CreateFileW(m_file.u16string().c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                                OPEN_EXISTING, 0, nullptr));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, GetLastError());
    EXPECT_EQ(FILE_ATTRIBUTE_DIRECTORY, GetFileAttributesW(m_directory.u16string().c_str()) & FILE_ATTRIBUTE_DIRECTORY);
    EXPECT_FALSE(CreateDirectoryW(m_directory.u16string().c_str(), nullptr));
    EXPECT_EQ(ERROR_ALREADY_EXISTS, GetLastError());
}

TEST_F(FileApiTest, SecondWriterThatSharesOnlyReadingMeetsASharingViolation) {
    HANDLE first = Open(m_file);
    ASSERT_NE(INVALID_HANDLE_VALUE, first);
    EXPECT_EQ(INVALID_HANDLE_VALUE, Open(m_file));
    EXPECT_EQ(ERROR_SHARING_VIOLATION, GetLastError());
    CloseHandle(first);
    HANDLE after = Open(m_file);
    EXPECT_NE(INVALID_HANDLE_VALUE, after);
    EXPECT_EQ(ERROR_ALREADY_EXISTS, GetLastError());
    CloseHandle(after);
}

TEST_F(FileApiTest, AppendsAtTheEndAndCountsTheHandle) {
    DWORD before = 0;
    ASSERT_TRUE(GetProcessHandleCount(GetCurrentProcess(), &before));
    HANDLE file = Open(m_file);
    DWORD during = 0;
    ASSERT_TRUE(GetProcessHandleCount(GetCurrentProcess(), &during));
    EXPECT_EQ(before + 1, during);

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
}

}  // namespace
