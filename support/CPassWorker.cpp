#include "support/CPassWorker.h"

namespace {

constexpr DWORD kReplyOk = static_cast<DWORD>(S_OK);
constexpr DWORD kReplyNotImplemented = static_cast<DWORD>(E_NOTIMPL);

}  // namespace

HRESULT CPassWorker::StartWorkerInternal(CWorkerInterlock& lock) {
    m_runLock = &lock;
    lock.BeginRun();
    if (!Create())
        return HRESULT_FROM_WIN32(GetLastError());
    const auto reply = static_cast<HRESULT>(CallWorker(kRequestStart));
    if (FAILED(reply)) {
        // The thread exists and waits for requests; it must be told to end
        // before Close waits for it.
        EndWorkerInternal(lock);
        return reply;
    }
    return S_OK;
}

void CPassWorker::EndWorkerInternal(CWorkerInterlock& lock) {
    // A worker that wants to start a pass gives up instead of waiting for
    // the lock that the caller holds, and waits for this request.
    lock.BeginStop();
    CallWorker(kRequestExit);
    Close();
}

void CPassWorker::AbandonOrEndWorkerInternal(CWorkerInterlock& lock) {
    if (!lock.IsWorkerThread()) {
        EndWorkerInternal(lock);
        return;
    }
    // A thread can't wait for its own end: the pass under way finishes on
    // its own references and the worker leaves without touching the owner.
    lock.AbandonWorker();
    Close();
}

DWORD CPassWorker::ThreadProc() {
    // The worker's own reference: the lock outlives the owner when the last
    // reference goes inside a pass.
    const CComPtr<CWorkerInterlock> lock = m_runLock;
    lock->AttachWorker();
    for (;;) {
        const DWORD code = GetRequest();
        if (code == kRequestExit) {
            Reply(kReplyOk);
            return 0;
        }
        if (code != kRequestStart) {
            Reply(kReplyNotImplemented);
            continue;
        }
        Reply(kReplyOk);
        if (!PassLoopInternal(*lock))
            return 0;
    }
}

bool CPassWorker::PassLoopInternal(CWorkerInterlock& lock) {
    for (;;) {
        DWORD code = 0;
        // The wait for a request is the timer: a pass at each time-out, so
        // the period is the wait plus the pass, with no catching up.
        if (CheckRequest(&code, m_passPeriodMs)) {
            // The end request stays standing; the waiting loop answers it.
            if (code == kRequestExit)
                return true;
            GetRequest();
            Reply(code == kRequestStart ? kReplyOk : kReplyNotImplemented);
            continue;
        }
        if (!lock.EnterForPass()) {
            // The owner holds the lock to end the worker, and its end
            // request is on its way.
            CheckRequest(nullptr, INFINITE);
            continue;
        }
        const HRESULT result = PassInternal();
        lock.Leave();
        // Nothing of the owner may be touched once it is gone.
        if (lock.IsAbandoned())
            return false;
        if (result != S_OK)
            return true;
    }
}
