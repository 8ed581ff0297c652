#include "mux/CZQMuxSubtitle.h"

#include <utility>

#include "subtitle/CZQSubtitleTrack.h"
#include "subtitle/CZQSubtitleTrackList.h"
#include "support/CStatusException.h"
#include "support/ZQCreateInstance.h"

namespace {

constexpr LONG kStateStopped = 0;
constexpr LONG kStateRunning = 2;

// Requests to the pump.
constexpr DWORD kRequestStart = 0;
constexpr DWORD kRequestExit = 1;

constexpr DWORD kReplyOk = static_cast<DWORD>(S_OK);
constexpr DWORD kReplyNotImplemented = static_cast<DWORD>(E_NOTIMPL);

}  // namespace

HRESULT CZQMuxSubtitle::FinalConstruct() noexcept {
    HRESULT hr = CWorkerInterlock::Create(&m_Lock);
    if (FAILED(hr))
        return hr;
    return CZQSubtitleTrackList::Create(&m_Tracks);
}

CZQMuxSubtitle::~CZQMuxSubtitle() {
    // A failed FinalConstruct leaves no lock, and then no worker either.
    if (m_Lock)
        EndWorkerInternal();
}

void* CZQMuxSubtitle::GetInterface(REFIID iid) noexcept {
    return ZQFindInterface<IZQMuxSubtitle, IDispatch, IZQMuxSubtitleControl>(this, iid);
}

HRESULT CZQMuxSubtitle::get_Tracks(IZQSubtitleTrackList** pVal) noexcept {
    return ZQCallWithBarrier([&] { return SnapshotInternal(&CZQSubtitleTrackList::GetAllTracks, pVal); });
}

HRESULT CZQMuxSubtitle::get_TextTracks(IZQSubtitleTrackList** pVal) noexcept {
    return ZQCallWithBarrier([&] { return SnapshotInternal(&CZQSubtitleTrackList::GetTextTracks, pVal); });
}

HRESULT CZQMuxSubtitle::SnapshotInternal(SnapshotOperation take, IZQSubtitleTrackList** pVal) {
    if (pVal == nullptr)
        return E_POINTER;
    *pVal = nullptr;
    CWorkerInterlock::Guard lock(*m_Lock);
    CZQSubtitleTrackList* snapshot = nullptr;
    const HRESULT hr = (m_Tracks.Get()->*take)(&snapshot);
    if (FAILED(hr))
        return hr;
    *pVal = snapshot;
    return S_OK;
}

HRESULT CZQMuxSubtitle::AddTextTrackFromFile(BSTR path, BSTR Label, BSTR Language, LONG* trackid) noexcept {
    return ZQCallWithBarrier([&] {
        CWorkerInterlock::Guard lock(*m_Lock);
        if (m_State != kStateStopped)
            return VFW_E_WRONG_STATE;
        // A null BSTR is the empty string; the loader would take null for a
        // missing argument.
        const WCHAR* filePath = path != nullptr ? path : u"";
        return m_Tracks->AddTextTrackFromFile(m_Callback.Get(), filePath, Label, Language, trackid);
    });
}

HRESULT CZQMuxSubtitle::RemoveTrack(LONG trackid) noexcept {
    return ZQCallWithBarrier([&] {
        CWorkerInterlock::Guard lock(*m_Lock);
        if (m_State != kStateStopped)
            return VFW_E_WRONG_STATE;
        return m_Tracks->RemoveTrack(m_Callback.Get(), trackid);
    });
}

HRESULT CZQMuxSubtitle::EnterEdit() noexcept {
    return ZQCallWithBarrier([&] {
        CWorkerInterlock::Guard lock(*m_Lock);
        if (m_State != kStateStopped)
            return VFW_E_WRONG_STATE;
        CComPtr<CZQSubtitleTrackList> snapshot;
        const HRESULT hr = m_Tracks->Clone(&snapshot);
        if (FAILED(hr))
            return hr;
        // Out of memory here raises, and the snapshot goes with it.
        m_EditStack.push_back(std::move(snapshot));
        return S_OK;
    });
}

HRESULT CZQMuxSubtitle::LeaveEdit(VARIANT_BOOL discard) noexcept {
    return ZQCallWithBarrier([&] {
        CWorkerInterlock::Guard lock(*m_Lock);
        if (m_State != kStateStopped)
            return VFW_E_WRONG_STATE;
        if (m_EditStack.empty())
            return S_OK;
        CComPtr<CZQSubtitleTrackList> snapshot = std::move(m_EditStack.back());
        m_EditStack.pop_back();
        // Kept: the host was told of every change as it happened.
        if (discard == VARIANT_FALSE)
            return S_OK;
        return RestoreInternal(std::move(snapshot));
    });
}

HRESULT CZQMuxSubtitle::RestoreInternal(CComPtr<CZQSubtitleTrackList> snapshot) {
    // Tracks that only the discarded list holds leave the live list here, and
    // like any track that leaves it they stop bearing its id: a track added
    // during the edit may bear an id that the snapshot gives back to another.
    for (LONG i = 0; i < m_Tracks->GetCount(); ++i) {
        CZQSubtitleTrack* track = m_Tracks->GetTrackAt(i);
        LONG index = -1;
        snapshot->GetTrackIndexByID(track->GetID(), &index);
        if (snapshot->GetTrackAt(index) != track)
            track->SetID(0);
    }
    m_Tracks = std::move(snapshot);
    m_Tracks->RestoreIDs();
    return m_Tracks->AnnounceAll(m_Callback.Get());
}

HRESULT CZQMuxSubtitle::SetCallback(IZQMuxSubtitleControlCallback* callback) noexcept {
    return ZQCallWithBarrier([&] {
        CWorkerInterlock::Guard lock(*m_Lock);
        if (m_State != kStateStopped)
            return VFW_E_WRONG_STATE;
        m_Callback = callback;
        return m_Tracks->AnnounceAll(m_Callback.Get());
    });
}

HRESULT CZQMuxSubtitle::Run() noexcept {
    return ZQCallWithBarrier([&] {
        CWorkerInterlock::Guard lock(*m_Lock);
        if (!m_EditStack.empty())
            return VFW_E_WRONG_STATE;
        if (m_State == kStateRunning)
            return S_OK;
        // From a host callback of an operation that is changing the list: the
        // pump must not start on a list half changed.
        if (m_Lock->IsNested())
            return VFW_E_WRONG_STATE;
        m_Tracks->Rewind();
        m_Lock->BeginRun();
        if (!Create())
            return HRESULT_FROM_WIN32(GetLastError());
        const auto reply = static_cast<HRESULT>(CallWorker(kRequestStart));
        if (FAILED(reply)) {
            // The thread exists and waits for requests; it must be told to
            // end before Close waits for it.
            m_Lock->BeginStop();
            CallWorker(kRequestExit);
            Close();
            return reply;
        }
        // The lock is held until here, so the first pass comes after Run.
        m_State = kStateRunning;
        return S_OK;
    });
}

// Stop holds m_Lock from its test to its answer, across the wait for the
// pump's reply, so that no other operation sees the object between running and
// stopped, and a Run or Stop of another thread waits for the whole of it. The
// pump can't be left waiting for m_Lock meanwhile: BeginStop makes a worker
// that wants to start a pass give up and wait for the end request instead (see
// CWorkerInterlock). A pass already under way holds m_Lock, so Stop gets in
// only between passes, and the pump looks at requests before every pass, so
// none starts after its reply.
HRESULT CZQMuxSubtitle::Stop() noexcept {
    return ZQCallWithBarrier([&] {
        CWorkerInterlock::Guard lock(*m_Lock);
        return StopInternal();
    });
}

HRESULT CZQMuxSubtitle::StopInternal() {
    if (m_State == kStateStopped)
        return S_OK;
    // Called from Receive or EndOfStream: the pump would wait for itself.
    if (m_Lock->IsWorkerThread())
        return VFW_E_WRONG_STATE;
    m_Lock->BeginStop();
    CallWorker(kRequestExit);
    Close();
    m_State = kStateStopped;
    return S_OK;
}

void CZQMuxSubtitle::EndWorkerInternal() noexcept {
    CWorkerInterlock::Guard lock(*m_Lock);
    if (m_State == kStateStopped)
        return;
    if (!m_Lock->IsWorkerThread()) {
        StopInternal();
        return;
    }
    // The host let the last reference go from inside a pass. A thread can't
    // wait for its own end: the pump finishes this pass on its own references
    // to the list and the callback, and leaves without touching the object.
    m_Lock->AbandonWorker();
    Close();
    m_State = kStateStopped;
}

HRESULT CZQMuxSubtitle::SetTrackData(LONG trackid, LONGLONG data) noexcept {
    return ZQCallWithBarrier([&] {
        CWorkerInterlock::Guard lock(*m_Lock);
        if (m_State != kStateStopped)
            return VFW_E_WRONG_STATE;
        return m_Tracks->SetTrackData(trackid, data);
    });
}

HRESULT CZQMuxSubtitle::GetTrackData(LONG trackid, LONGLONG* data) noexcept {
    return ZQCallWithBarrier([&] {
        CWorkerInterlock::Guard lock(*m_Lock);
        return m_Tracks->GetTrackData(trackid, data);
    });
}

DWORD CZQMuxSubtitle::ThreadProc() {
    // The worker's own reference: the lock outlives the object when the host
    // lets the last reference go from inside a pass.
    const CComPtr<CWorkerInterlock> interlock = m_Lock;
    interlock->AttachWorker();
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
        if (!PumpInternal(*interlock))
            return 0;
    }
}

bool CZQMuxSubtitle::PumpInternal(CWorkerInterlock& interlock) {
    for (;;) {
        DWORD code = 0;
        if (CheckRequest(&code, 0)) {
            // The end request stays standing; the waiting loop answers it.
            if (code == kRequestExit)
                return true;
            GetRequest();
            Reply(code == kRequestStart ? kReplyOk : kReplyNotImplemented);
            continue;
        }
        if (!interlock.EnterForPass()) {
            // Stop holds the lock and its end request is on its way.
            CheckRequest(nullptr, INFINITE);
            continue;
        }
        const HRESULT result = PassInternal();
        interlock.Leave();
        if (interlock.IsAbandoned())
            return false;
        // Every track has ended, or the host failed: the pump rests until Stop.
        if (result != S_OK)
            return true;
    }
}

HRESULT CZQMuxSubtitle::PassInternal() noexcept {
    // References of the pass's own: if the host lets the object's last
    // reference go from inside Receive, the list and the callback must last
    // until the pass is over.
    const CComPtr<CZQSubtitleTrackList> tracks = m_Tracks;
    const CComPtr<IZQMuxSubtitleControlCallback> callback = m_Callback;
    return ZQCallWithBarrier([&] { return tracks->SendNext(callback.Get()); });
}

HRESULT ZQCreateMuxSubtitle(IUnknown* outer, REFIID iid, void** out) {
    return ZQCreateInstance<CZQMuxSubtitle>(outer, iid, out);
}
