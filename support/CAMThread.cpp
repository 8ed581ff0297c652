#include "support/CAMThread.h"

#include "zqplatform/objbase.h"

namespace {

/// Holds the client lock for a scope.
class ClientLockGuard {
public:
    explicit ClientLockGuard(CRITICAL_SECTION& lock) noexcept : m_lock(lock) { EnterCriticalSection(&m_lock); }
    ~ClientLockGuard() { LeaveCriticalSection(&m_lock); }
    ClientLockGuard(const ClientLockGuard&) = delete;
    ClientLockGuard& operator=(const ClientLockGuard&) = delete;

private:
    CRITICAL_SECTION& m_lock;
};

constexpr DWORD kFailed = static_cast<DWORD>(E_FAIL);

}  // namespace

CAMThread::CAMThread(HRESULT* status) noexcept {
    m_RequestEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    m_ReplyEvent = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    InitializeCriticalSection(&m_ClientLock);
    if ((!m_RequestEvent || !m_ReplyEvent) && status && SUCCEEDED(*status))
        *status = E_OUTOFMEMORY;
}

CAMThread::~CAMThread() {
    Close();
    DeleteCriticalSection(&m_ClientLock);
    if (m_ReplyEvent)
        CloseHandle(m_ReplyEvent);
    if (m_RequestEvent)
        CloseHandle(m_RequestEvent);
}

bool CAMThread::Create() {
    ClientLockGuard lock(m_ClientLock);
    if (m_Thread.load(std::memory_order_acquire))
        return false;
    // A request that an earlier worker never took must not reach this one.
    ResetEvent(m_RequestEvent);
    DWORD threadId = 0;
    HANDLE thread = CreateThread(nullptr, 0, &CAMThread::InitialThreadProc, this, 0, &threadId);
    if (!thread)
        return false;
    // Known here already, so that a Close right after Create on this thread
    // can't mistake itself for the worker before the worker writes its id.
    if (threadId != 0)
        m_ThreadId.store(threadId, std::memory_order_release);
    m_Thread.store(thread, std::memory_order_release);
    m_Thread.notify_all();
    return true;
}

DWORD CAMThread::InitialThreadProc(LPVOID parameter) {
    auto* self = static_cast<CAMThread*>(parameter);
    // The worker joins the multithreaded apartment, so that the interfaces it
    // calls may be called from a thread of its own.
    HRESULT status = CoInitializeEx(nullptr, COINIT_MULTITHREADED | COINIT_DISABLE_OLE1DDE);
    self->m_ThreadId.store(GetCurrentThreadId(), std::memory_order_release);
    // The body starts only once Create has stored the handle: a worker that
    // closes itself at once must find the handle it is to let go of.
    self->m_Thread.wait(nullptr, std::memory_order_acquire);
    DWORD exitCode = self->ThreadProc();
    // The object may be gone by now (a worker that closed itself); nothing of
    // it is touched from here on.
    if (SUCCEEDED(status))
        CoUninitialize();
    return exitCode;
}

DWORD CAMThread::CallWorker(DWORD code) {
    ClientLockGuard lock(m_ClientLock);
    if (!m_Thread.load(std::memory_order_acquire))
        return kFailed;
    // A request still standing belongs to an exchange that didn't finish:
    // wait for its reply. Otherwise drop a reply nobody waited for.
    if (WaitForSingleObject(m_RequestEvent, 0) == WAIT_OBJECT_0)
        WaitForSingleObject(m_ReplyEvent, INFINITE);
    else
        ResetEvent(m_ReplyEvent);
    if (!m_Thread.load(std::memory_order_acquire))
        return kFailed;
    m_RequestCode = code;
    SetEvent(m_RequestEvent);
    WaitForSingleObject(m_ReplyEvent, INFINITE);
    return m_ReplyCode;
}

DWORD CAMThread::GetRequest() {
    WaitForSingleObject(m_RequestEvent, INFINITE);
    DWORD code = m_RequestCode;
    ResetEvent(m_RequestEvent);
    return code;
}

bool CAMThread::CheckRequest(DWORD* code, DWORD timeoutMs) {
    if (WaitForSingleObject(m_RequestEvent, timeoutMs) != WAIT_OBJECT_0)
        return false;
    if (code)
        *code = m_RequestCode;
    return true;
}

void CAMThread::Reply(DWORD code) {
    m_ReplyCode = code;
    ResetEvent(m_RequestEvent);
    SetEvent(m_ReplyEvent);
}

void CAMThread::Close() {
    HANDLE thread = m_Thread.exchange(nullptr, std::memory_order_acq_rel);
    if (!thread)
        return;
    // A thread can't wait for its own end: the worker closing itself only
    // lets go of the handle and runs on to its end.
    if (m_ThreadId.load(std::memory_order_acquire) != GetCurrentThreadId())
        WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
}
