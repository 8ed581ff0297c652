#include "support/trace/CSharedTracer.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "support/trace/CHeapBuffer.h"
#include "support/trace/Trace.h"
#include "zqplatform/fileapi.h"
#include "zqplatform/heapapi.h"
#include "zqplatform/status.h"
#include "zqplatform/sync.h"

namespace {

constexpr DWORD kFlushPeriodMs = 500;
// A flush this soon after the last write waits for the next period, so the
// file is written at most about twice a second even when Release and the
// timer meet.
constexpr LONGLONG kQuietMs = 51;
constexpr ULONGLONG kOpenRetryLimitMs = 1000;
constexpr DWORD kLockTryStepMs = 100;
constexpr ULONGLONG kLockTryLimitMs = 1000;
constexpr DWORD kFlushWaitStepMs = 10;
constexpr ULONGLONG kFlushWaitLimitMs = 1000;
// The two open failures that mean another writer holds the file.
constexpr DWORD kSharingViolation = 32;
constexpr DWORD kLockViolation = 33;
constexpr BYTE kUtf8Mark[] = {0xEF, 0xBB, 0xBF};
// The room for converted text on the stack; a longer text goes in pieces.
constexpr size_t kChunkBytes = 512;

HANDLE OpenTraceFile(const WCHAR* path) {
    return CreateFileW(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_ALWAYS,
                       FILE_ATTRIBUTE_NORMAL, nullptr);
}

/// The file name and extension of a path: what follows its last separator.
const WCHAR* FileNameOf(const WCHAR* path) {
    const WCHAR* name = path;
    for (const WCHAR* c = path; *c != 0; ++c)
        if (*c == u'/' || *c == u'\\')
            name = c + 1;
    return name;
}

size_t Length(const WCHAR* text) {
    size_t length = 0;
    while (text[length] != 0)
        ++length;
    return length;
}

}  // namespace

CSharedTracer* CSharedTracer::Create() noexcept {
    void* memory = HeapAlloc(GetProcessHeap(), 0, sizeof(CSharedTracer));
    if (memory == nullptr)
        return nullptr;
    return new (memory) CSharedTracer;
}

void CSharedTracer::Destroy() noexcept {
    // Nobody uses the tracer any more; what a release couldn't do for want
    // of the lock is done now.
    if (m_WriteBuffer != nullptr) {
        WriteOutPendingLocked();
        CHeapBuffer::Destroy(m_WriteBuffer);
        m_WriteBuffer = nullptr;
    }
    StopTimer();
    this->~CSharedTracer();
    HeapFree(GetProcessHeap(), 0, this);
}

LONG CSharedTracer::AddUse() noexcept {
    return m_UseCount.fetch_add(1, std::memory_order_acq_rel) + 1;
}

const CHeapBuffer* CSharedTracer::GetWriteBuffer() noexcept {
    CTraceLock::CAutoLock lock(m_Lock);
    return m_WriteBuffer;
}

void CSharedTracer::Append(const char* text) noexcept {
    if (text == nullptr)
        return;
    {
        CTraceLock::CAutoLock lock(m_Lock);
        if (m_WriteBuffer == nullptr)
            m_WriteBuffer = CHeapBuffer::Create();
        if (m_WriteBuffer == nullptr)
            return;
        char chunk[kChunkBytes];
        size_t used = 0;
        for (const char* c = text; *c != 0; ++c) {
            if (*c == '\r' || *c == '\n') {
                // A CR LF pair is one line end; its LF is consumed here.
                if (c[0] == '\r' && c[1] == '\n')
                    ++c;
                chunk[used++] = '\r';
                chunk[used++] = '\n';
            } else {
                chunk[used++] = *c;
            }
            if (used + 2 > sizeof chunk || c[1] == 0) {
                // Grow by doubling so that a batch of lines isn't copied
                // over and over; Append then needs no growth of its own.
                LONG capacity = m_WriteBuffer->Capacity();
                LONG needed = m_WriteBuffer->Size() + static_cast<LONG>(used);
                if (needed > capacity && capacity < 0x3FFFFFFF)
                    m_WriteBuffer->Reserve(std::max(needed, 2 * capacity));
                if (FAILED(m_WriteBuffer->Append(chunk, static_cast<LONG>(used))))
                    return;
                used = 0;
            }
        }
    }
    StartTimer();
}

void CSharedTracer::StartTimer() noexcept {
    if (m_TimerQueue.load(std::memory_order_acquire) != nullptr)
        return;
    HANDLE queue = CreateTimerQueue();
    if (queue == nullptr)
        return;
    HANDLE none = nullptr;
    if (!m_TimerQueue.compare_exchange_strong(none, queue, std::memory_order_acq_rel)) {
        // Another thread was first.
        DeleteTimerQueueEx(queue, INVALID_HANDLE_VALUE);
        return;
    }
    // The timer calls this copy's code, which must therefore delete it
    // before it goes away.
    m_TimerOwner.store(&g_TraceFlags, std::memory_order_release);
    HANDLE timer = nullptr;
    if (!CreateTimerQueueTimer(&timer, queue, &CSharedTracer::TimerRoutine, this, kFlushPeriodMs, kFlushPeriodMs,
                               WT_EXECUTEINTIMERTHREAD)) {
        m_TimerOwner.store(nullptr, std::memory_order_release);
        m_TimerQueue.store(nullptr, std::memory_order_release);
        DeleteTimerQueueEx(queue, INVALID_HANDLE_VALUE);
        return;
    }
    m_Timer.store(timer, std::memory_order_release);
}

void CSharedTracer::TimerRoutine(PVOID parameter, BOOLEAN /*fired*/) {
    auto* tracer = static_cast<CSharedTracer*>(parameter);
    // Flushes never overlap; a pending deletion of the timer also holds one.
    if (tracer->m_FlushGuard.fetch_add(1, std::memory_order_acq_rel) + 1 < 2)
        tracer->Flush();
    tracer->m_FlushGuard.fetch_sub(1, std::memory_order_acq_rel);
}

void CSharedTracer::Flush() noexcept {
    CHeapBuffer batch;
    {
        CTraceLock::CAutoLock lock(m_Lock);
        if (m_WriteBuffer == nullptr || m_WriteBuffer->Size() == 0 || m_FlushTimer.Elapsed() < kQuietMs)
            return;
        m_WriteBuffer->Swap(batch);
    }
    // Traced threads go on appending to the emptied buffer meanwhile.
    WriteOut(batch.Data(), batch.Size());
    CTraceLock::CAutoLock lock(m_Lock);
    m_FlushTimer.Restart();
}

void CSharedTracer::WriteOut(const BYTE* bytes, LONG size) noexcept {
    if (bytes == nullptr || size <= 0)
        return;
    ULONGLONG start = GetTickCount64();
    WCHAR path[kTracePathChars];
    CopyTracePath(path);
    HANDLE file = OpenTraceFile(path);
    while (file == INVALID_HANDLE_VALUE && m_Retry.load(std::memory_order_acquire) != 0) {
        DWORD error = GetLastError();
        if (error == ERROR_ACCESS_DENIED) {
            // Refused where a directory can be made, or a directory left by
            // an earlier run: the log goes into a directory of that name.
            DWORD attributes = GetFileAttributesW(path);
            bool isDirectory = attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
            if (isDirectory || (attributes == INVALID_FILE_ATTRIBUTES && CreateDirectoryW(path, nullptr))) {
                MoveIntoDirectory(path);
                CopyTracePath(path);
                file = OpenTraceFile(path);
                break;
            }
        }
        // Only another writer holding the file is worth waiting for.
        if (GetTickCount64() - start > kOpenRetryLimitMs ||
            (error != kSharingViolation && error != kLockViolation))
            break;
        Sleep(1);
        file = OpenTraceFile(path);
    }
    if (file == INVALID_HANDLE_VALUE)
        return;
    LARGE_INTEGER fileSize {};
    if (GetFileSizeEx(file, &fileSize) && fileSize.QuadPart == 0)
        WriteFile(file, kUtf8Mark, sizeof kUtf8Mark, nullptr, nullptr);
    SetFilePointerEx(file, LARGE_INTEGER {0}, nullptr, FILE_END);
    WriteFile(file, bytes, static_cast<DWORD>(size), nullptr, nullptr);
    CloseHandle(file);
}

void CSharedTracer::MoveIntoDirectory(const WCHAR* path) noexcept {
    // Whether or not the new path fits, there is one move only.
    m_Retry.store(0, std::memory_order_release);
    const WCHAR* name = FileNameOf(path);
    size_t pathLength = Length(path);
    size_t nameLength = Length(name);
    if (nameLength == 0 || pathLength + 1 + nameLength >= kTracePathChars)
        return;
    WCHAR moved[kTracePathChars];
    std::memcpy(moved, path, pathLength * sizeof(WCHAR));
    moved[pathLength] = u'/';
    std::memcpy(moved + pathLength + 1, name, (nameLength + 1) * sizeof(WCHAR));
    SetTracePath(moved);
}

void CSharedTracer::WriteOutPendingLocked() noexcept {
    if (m_WriteBuffer != nullptr && m_WriteBuffer->Size() > 0) {
        WriteOut(m_WriteBuffer->Data(), m_WriteBuffer->Size());
        m_WriteBuffer->Reset();
    }
    m_FlushTimer.Restart();
}

void CSharedTracer::StopTimer() noexcept {
    HANDLE queue = m_TimerQueue.load(std::memory_order_acquire);
    if (queue == nullptr)
        return;
    // A routine that starts from now on finds the guard taken and skips.
    m_FlushGuard.fetch_add(1, std::memory_order_acq_rel);
    HANDLE timer = m_Timer.exchange(nullptr, std::memory_order_acq_rel);
    if (timer != nullptr)
        DeleteTimerQueueTimer(queue, timer, INVALID_HANDLE_VALUE);
    DeleteTimerQueueEx(queue, INVALID_HANDLE_VALUE);
    m_TimerOwner.store(nullptr, std::memory_order_release);
    m_TimerQueue.store(nullptr, std::memory_order_release);
    // The deletions waited for the routine; a flush that some other caller
    // runs gets its own moment to end.
    ULONGLONG start = GetTickCount64();
    while (m_FlushGuard.load(std::memory_order_acquire) > 1 && GetTickCount64() - start < kFlushWaitLimitMs)
        Sleep(kFlushWaitStepMs);
    m_FlushGuard.fetch_sub(1, std::memory_order_acq_rel);
}

LONG CSharedTracer::Release() noexcept {
    LONG remaining = m_UseCount.fetch_sub(1, std::memory_order_acq_rel) - 1;

    // The write buffer's code belongs to the copy that made it, which may be
    // the caller's and about to go: write it out and destroy it.
    ULONGLONG start = GetTickCount64();
    bool locked = m_Lock.TryEnter();
    while (!locked && GetTickCount64() - start < kLockTryLimitMs) {
        Sleep(kLockTryStepMs);
        locked = m_Lock.TryEnter();
    }
    if (locked) {
        WriteOutPendingLocked();
        CHeapBuffer::Destroy(m_WriteBuffer);
        m_WriteBuffer = nullptr;
        m_Lock.Leave();
    }

    // The timer calls the code of the copy that made it; that copy takes it
    // down before it goes. The next line of another copy makes a new one.
    // This holds even when the lock couldn't be had: the timer needs none.
    if (m_TimerOwner.load(std::memory_order_acquire) == &g_TraceFlags)
        StopTimer();

    if (remaining == 0)
        Destroy();
    return remaining;
}
