// Threads behind HANDLEs, thread and process ids, sleeping and the tick count.
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <new>
#include <thread>

#include "kernel/KernelObject.h"
#include "zqplatform/status.h"

namespace {

using zqplatform::KernelObject;

/// A thread's record. Two references: the handle's and the running thread's,
/// so that closing the handle early detaches and the record outlives both.
class ThreadObject final : public KernelObject {
public:
    ThreadObject(LPTHREAD_START_ROUTINE start, LPVOID parameter) noexcept
        : KernelObject(Kind::Thread, /*manualReset=*/true, /*signalled=*/false), m_start(start),
          m_parameter(parameter) {}

    static ThreadObject* FromHandle(HANDLE handle) noexcept {
        KernelObject* object = KernelObject::FromHandle(handle);
        if (object == nullptr)
            return nullptr;
        if (object->GetKind() != Kind::Thread) {
            SetLastError(ERROR_INVALID_HANDLE);
            return nullptr;
        }
        return static_cast<ThreadObject*>(object);
    }

    /// Runs on the new thread: publishes its id, runs the routine, records the
    /// exit code, signals the end and drops the thread's reference.
    void Run() {
        m_threadId.store(GetCurrentThreadId(), std::memory_order_release);
        m_threadId.notify_all();
        DWORD exitCode = m_start(m_parameter);
        m_exitCode.store(exitCode, std::memory_order_release);
        Signal();
        Release();
    }

    /// The new thread's id; blocks until the thread has published it.
    DWORD WaitForThreadId() const noexcept {
        m_threadId.wait(0, std::memory_order_acquire);
        return m_threadId.load(std::memory_order_acquire);
    }

    DWORD GetExitCode() const noexcept { return m_exitCode.load(std::memory_order_acquire); }

private:
    ~ThreadObject() override = default;

    const LPTHREAD_START_ROUTINE m_start;
    const LPVOID m_parameter;
    std::atomic<DWORD> m_threadId{0};
    std::atomic<DWORD> m_exitCode{STILL_ACTIVE};
};

void* ThreadMain(void* record) {
    static_cast<ThreadObject*>(record)->Run();
    return nullptr;
}

/// pthread attributes for a detached thread of a given stack size; the
/// destructor gives them back.
class ThreadAttributes {
public:
    ThreadAttributes() noexcept { m_status = pthread_attr_init(&m_attributes); }
    ~ThreadAttributes() {
        if (m_initialised)
            pthread_attr_destroy(&m_attributes);
    }
    ThreadAttributes(const ThreadAttributes&) = delete;
    ThreadAttributes& operator=(const ThreadAttributes&) = delete;

    /// 0 on success, else an errno value.
    int Configure(size_t stackSize) noexcept {
        if (m_status != 0)
            return m_status;
        m_initialised = true;
        if (int rc = pthread_attr_setdetachstate(&m_attributes, PTHREAD_CREATE_DETACHED); rc != 0)
            return rc;
        if (stackSize == 0)
            return 0;
        return pthread_attr_setstacksize(&m_attributes, RoundStackSize(stackSize));
    }

    const pthread_attr_t* Get() const noexcept { return &m_attributes; }

private:
    static size_t RoundStackSize(size_t requested) noexcept {
        // PTHREAD_STACK_MIN is a run-time query on current glibc.
        long minimum = PTHREAD_STACK_MIN;
        size_t floor = minimum > 0 ? static_cast<size_t>(minimum) : 16384;
        size_t size = requested < floor ? floor : requested;
        long page = sysconf(_SC_PAGESIZE);
        size_t pageSize = page > 0 ? static_cast<size_t>(page) : 4096;
        return (size + pageSize - 1) / pageSize * pageSize;
    }

    pthread_attr_t m_attributes{};
    int m_status = 0;
    bool m_initialised = false;
};

DWORD Win32ErrorFromThreadError(int error) {
    // Out of threads or memory reads as the original platform's "not enough memory".
    if (error == EAGAIN || error == ENOMEM)
        return ERROR_NOT_ENOUGH_MEMORY;
    return ZQWin32ErrorFromErrno(error);
}

}  // namespace

extern "C" {

HANDLE CreateThread(void* securityAttributes, size_t stackSize, LPTHREAD_START_ROUTINE start, LPVOID parameter,
                    DWORD creationFlags, DWORD* threadId) {
    if (start == nullptr || securityAttributes != nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    if ((creationFlags & CREATE_SUSPENDED) != 0) {
        SetLastError(ERROR_NOT_SUPPORTED);
        return nullptr;
    }
    ThreadAttributes attributes;
    if (int rc = attributes.Configure(stackSize); rc != 0) {
        SetLastError(Win32ErrorFromThreadError(rc));
        return nullptr;
    }
    auto* record = new (std::nothrow) ThreadObject(start, parameter);
    if (record == nullptr) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    record->AddRef();  // the running thread's reference
    pthread_t thread;
    if (int rc = pthread_create(&thread, attributes.Get(), ThreadMain, record); rc != 0) {
        record->Release();
        record->Release();
        SetLastError(Win32ErrorFromThreadError(rc));
        return nullptr;
    }
    if (threadId != nullptr)
        *threadId = record->WaitForThreadId();
    return record->ToHandle();
}

BOOL GetExitCodeThread(HANDLE handle, DWORD* exitCode) {
    ThreadObject* thread = ThreadObject::FromHandle(handle);
    if (thread == nullptr)
        return FALSE;
    if (exitCode == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    *exitCode = thread->GetExitCode();
    return TRUE;
}

DWORD GetCurrentThreadId() {
    // The kernel's thread id: small, stable for the thread's life, and the
    // number debuggers and /proc show.
    thread_local const DWORD t_threadId = static_cast<DWORD>(gettid());
    return t_threadId;
}

DWORD GetCurrentProcessId() {
    return static_cast<DWORD>(getpid());
}

void Sleep(DWORD milliseconds) {
    if (milliseconds == 0) {
        std::this_thread::yield();
        return;
    }
    // sleep_for resumes after signals itself, so an EINTR never cuts a sleep short.
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

ULONGLONG GetTickCount64() {
    auto sinceStart = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<ULONGLONG>(std::chrono::duration_cast<std::chrono::milliseconds>(sinceStart).count());
}

}  // extern "C"
