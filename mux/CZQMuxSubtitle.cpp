#include "mux/CZQMuxSubtitle.h"

#include <utility>

#include "subtitle/CZQSubtitleTrack.h"
#include "subtitle/CZQSubtitleTrackList.h"
#include "support/CStatusException.h"
#include "support/ZQCreateInstance.h"

namespace {

constexpr LONG kStateStopped = 0;
constexpr LONG kStateRunning = 2;

}  // namespace

// The pump makes its passes back to back: only the host sets its pace.
CZQMuxSubtitle::CZQMuxSubtitle() noexcept : CPassWorker(0) {}

HRESULT CZQMuxSubtitle::FinalConstruct() noexcept {
    HRESULT hr = CWorkerInterlock::Create(&m_Lock);
    if (FAILED(hr))
        return hr;
    return CZQSubtitleTrackList::Create(&m_Tracks);
}

CZQMuxSubtitle::~CZQMuxSubtitle() {
    // A failed FinalConstruct leaves no lock, and then no worker either.
    if (m_Lock)
        EndRunInternal();
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
        const HRESULT hr = StartWorkerInternal(*m_Lock);
        if (FAILED(hr))
            return hr;
        // The lock is held until here, so the first pass comes after Run.
        m_State = kStateRunning;
        return S_OK;
    });
}

// Stop holds m_Lock from its test to its answer, across the wait for the
// pump's end, so that no other operation sees the object between running and
// stopped, and a Run or Stop of another thread waits for the whole of it (the
// pump never waits plainly for m_Lock: see CWorkerInterlock). A pass under way
// holds m_Lock, so Stop gets in only between passes.
HRESULT CZQMuxSubtitle::Stop() noexcept {
    return ZQCallWithBarrier([&] {
        CWorkerInterlock::Guard lock(*m_Lock);
        if (m_State == kStateStopped)
            return S_OK;
        // Called from Receive or EndOfStream: the pump would wait for itself.
        if (m_Lock->IsWorkerThread())
            return VFW_E_WRONG_STATE;
        EndWorkerInternal(*m_Lock);
        m_State = kStateStopped;
        return S_OK;
    });
}

void CZQMuxSubtitle::EndRunInternal() noexcept {
    CWorkerInterlock::Guard lock(*m_Lock);
    if (m_State == kStateStopped)
        return;
    AbandonOrEndWorkerInternal(*m_Lock);
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

HRESULT CZQMuxSubtitle::PassInternal() noexcept {
    // References of the pass's own: if the host lets the object's last
    // reference go from inside Receive, the list and the callback must last
    // until the pass is over.
    const CComPtr<CZQSubtitleTrackList> tracks = m_Tracks;
    const CComPtr<IZQMuxSubtitleControlCallback> callback = m_Callback;
    // 0 (S_OK): something went out; 1 (S_FALSE): every track has ended;
    // negative: the host failed. Either of the last two rests the pump.
    return ZQCallWithBarrier([&] { return tracks->SendNext(callback.Get()); });
}

HRESULT ZQCreateMuxSubtitle(IUnknown* outer, REFIID iid, void** out) {
    return ZQCreateInstance<CZQMuxSubtitle>(outer, iid, out);
}
