#include "dmx/CZQDmxSubtitle.h"

#include <cstdint>

#include "dmx/CZQDmxSubtitleCallback.h"
#include "subtitle/CZQSubtitleTrack.h"
#include "subtitle/CZQSubtitleTrackList.h"
#include "support/CStatusException.h"
#include "support/ZQCreateInstance.h"

namespace {

constexpr LONG kStateStopped = 0;
constexpr LONG kStatePaused = 1;
constexpr LONG kStateRunning = 2;

/// The stream time of a state, shared by GetStreamTime and the tick (which
/// must not read the object after it has called the clock). A clock that
/// fails leaves in `*time` what it wrote, without the subtraction.
HRESULT ReadStreamTime(LONG state, IReferenceClock* clock, REFERENCE_TIME start, REFERENCE_TIME paused,
                       REFERENCE_TIME* time) {
    *time = 0;
    if (state == kStatePaused) {
        *time = paused;
        return S_OK;
    }
    if (clock == nullptr)
        return VFW_E_NO_CLOCK;
    const HRESULT hr = clock->GetTime(time);
    if (FAILED(hr))
        return hr;
    // A host may give any start; the difference wraps rather than overflows.
    *time = static_cast<REFERENCE_TIME>(static_cast<uint64_t>(*time) - static_cast<uint64_t>(start));
    return S_OK;
}

}  // namespace

CZQDmxSubtitle::CZQDmxSubtitle() noexcept : CPassWorker(kTickPeriodMs) {}

HRESULT CZQDmxSubtitle::FinalConstruct() noexcept {
    const HRESULT hr = CWorkerInterlock::Create(&m_Lock);
    if (FAILED(hr))
        return hr;
    return CZQSubtitleTrackList::Create(&m_Tracks);
}

CZQDmxSubtitle::~CZQDmxSubtitle() {
    // A failed FinalConstruct leaves no lock, and then no worker either.
    if (m_Lock)
        EndRunInternal();
    m_Callback = nullptr;
    m_Tracks = nullptr;
    m_Clock = nullptr;
}

void* CZQDmxSubtitle::GetInterface(REFIID iid) noexcept {
    return ZQFindInterface<IZQDmxSubtitle, IDispatch, IZQDmxSubtitleControl>(this, iid);
}

// --- IZQDmxSubtitle -------------------------------------------------------

HRESULT CZQDmxSubtitle::get_Tracks(IZQSubtitleTrackList** pVal) noexcept {
    return ZQCallWithBarrier([&] { return SnapshotInternal(&CZQSubtitleTrackList::GetAllTracks, pVal); });
}

HRESULT CZQDmxSubtitle::get_TextTracks(IZQSubtitleTrackList** pVal) noexcept {
    return ZQCallWithBarrier([&] { return SnapshotInternal(&CZQSubtitleTrackList::GetTextTracks, pVal); });
}

HRESULT CZQDmxSubtitle::get_SelectedTracks(IZQSubtitleTrackList** pVal) noexcept {
    return ZQCallWithBarrier([&] { return SnapshotInternal(&CZQSubtitleTrackList::GetSelectedTracks, pVal); });
}

HRESULT CZQDmxSubtitle::SnapshotInternal(SnapshotOperation take, IZQSubtitleTrackList** pVal) {
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

HRESULT CZQDmxSubtitle::SelectTrack(LONG trackid, VARIANT_BOOL Selected) noexcept {
    return ZQCallWithBarrier([&] {
        CWorkerInterlock::Guard lock(*m_Lock);
        CComPtr<CZQSubtitleTrack> track;
        const HRESULT hr = m_Tracks->FindByID(trackid, &track);
        if (FAILED(hr))
            return hr;
        const bool selected = Selected != VARIANT_FALSE;
        if (track->IsSelected() == selected)
            return S_OK;
        track->SetSelected(selected);
        if (m_State == kStateStopped)
            return S_OK;
        // The application sees the change now, not at the next tick. A clock
        // that fails gives the time it left, as in a tick.
        REFERENCE_TIME time = 0;
        GetStreamTime(&time);
        track->UpdateActive(m_Callback.Get(), time);
        return S_OK;
    });
}

HRESULT CZQDmxSubtitle::get_Callback(IZQDmxSubtitleCallback** pVal) noexcept {
    return ZQCallWithBarrier([&] {
        if (pVal == nullptr)
            return E_POINTER;
        *pVal = nullptr;
        CWorkerInterlock::Guard lock(*m_Lock);
        if (!m_Callback)
            return S_OK;
        return m_Callback->GetCallback(pVal);
    });
}

HRESULT CZQDmxSubtitle::putref_Callback(IZQDmxSubtitleCallback* pVal) noexcept {
    return ZQCallWithBarrier([&] {
        CWorkerInterlock::Guard lock(*m_Lock);
        if (m_State != kStateStopped)
            return VFW_E_WRONG_STATE;
        // The old dispatcher drops its pending events with its last reference.
        m_Callback = nullptr;
        // No cue may stay marked active for a callback that never learns of
        // its end.
        m_Tracks->DeactivateAll(nullptr);
        if (pVal == nullptr)
            return S_OK;
        CComPtr<CZQDmxSubtitleCallback> dispatcher;
        const HRESULT hr = CZQDmxSubtitleCallback::CreateInstance(&dispatcher);
        if (FAILED(hr))
            return hr;
        // Stored before SetCallback: a dispatcher whose window can't be made
        // stays, idle, so that events then vanish without an error.
        m_Callback = dispatcher;
        return m_Callback->SetCallback(pVal);
    });
}

// --- IZQDmxSubtitleControl --------------------------------------------------

HRESULT CZQDmxSubtitle::AddTrack(const AM_MEDIA_TYPE* mediatype, LONG* trackid) noexcept {
    return ZQCallWithBarrier([&] {
        if (trackid == nullptr)
            return E_POINTER;
        CWorkerInterlock::Guard lock(*m_Lock);
        CComPtr<CZQSubtitleTrack> track;
        HRESULT hr = CZQSubtitleTrack::Create(&track);
        if (FAILED(hr))
            return hr;
        hr = track->InitFromMediaType(mediatype);
        if (FAILED(hr))
            return hr;
        hr = m_Tracks->AddTrack(track.Get());
        if (FAILED(hr))
            return hr;
        *trackid = track->GetID();
        return S_OK;
    });
}

HRESULT CZQDmxSubtitle::RemoveAllTracks() noexcept {
    return ZQCallWithBarrier([&] {
        CWorkerInterlock::Guard lock(*m_Lock);
        m_Tracks->RemoveAll();
        return S_OK;
    });
}

HRESULT CZQDmxSubtitle::RemoveTrack(LONG trackid) noexcept {
    return ZQCallWithBarrier([&] {
        CWorkerInterlock::Guard lock(*m_Lock);
        return m_Tracks->RemoveByID(trackid);
    });
}

HRESULT CZQDmxSubtitle::Run(REFERENCE_TIME start) noexcept {
    return ZQCallWithBarrier([&] {
        CWorkerInterlock::Guard lock(*m_Lock);
        if (m_State == kStateRunning || !m_Callback || !m_Clock)
            return S_OK;
        m_StartTime = start;
        if (m_State == kStateStopped) {
            const HRESULT hr = Pause();
            if (FAILED(hr))
                return hr;
        }
        m_State = kStateRunning;
        return S_OK;
    });
}

HRESULT CZQDmxSubtitle::Pause() noexcept {
    return ZQCallWithBarrier([&] {
        CWorkerInterlock::Guard lock(*m_Lock);
        if (m_State == kStatePaused || !m_Callback || !m_Clock)
            return S_OK;
        if (m_State == kStateRunning) {
            // Frozen where the clock stands; a failing clock freezes what it gave.
            GetStreamTime(&m_PausedTime);
            m_State = kStatePaused;
            return S_OK;
        }
        m_PausedTime = 0;
        const HRESULT hr = StartWorkerInternal(*m_Lock);
        if (FAILED(hr))
            return hr;
        m_State = kStatePaused;
        return S_OK;
    });
}

// Stop holds m_Lock from its test to its answer, across the wait for the
// worker's reply, so that no other operation sees the object between running
// and stopped, a Pause or Run of another thread can't start a second worker
// while the first is ending, and no tick can bring a cue back between the
// Clear and the end. The worker can't be left waiting for m_Lock meanwhile:
// BeginStop makes a worker that wants to start a tick give up and wait for the
// end request instead (see CWorkerInterlock). A tick under way holds m_Lock,
// so Stop gets in only between ticks, and no tick starts after the reply.
HRESULT CZQDmxSubtitle::Stop() noexcept {
    return ZQCallWithBarrier([&] {
        CWorkerInterlock::Guard lock(*m_Lock);
        if (m_State == kStateStopped)
            return S_OK;
        // Only a clock could call here from the worker, which would wait for
        // itself.
        if (m_Lock->IsWorkerThread())
            return VFW_E_WRONG_STATE;
        bool wasActive = false;
        m_Tracks->DeactivateAll(&wasActive);
        if (wasActive) {
            const HRESULT hr = m_Callback->Cue(ZQSubtitle_Cue_Event_Clear, 0.0, nullptr);
            if (FAILED(hr))
                return hr;
        }
        // The application may have stopped the object from inside the Clear,
        // delivered on its own thread within this call.
        if (m_State == kStateStopped)
            return S_OK;
        EndWorkerInternal(*m_Lock);
        m_State = kStateStopped;
        return S_OK;
    });
}

void CZQDmxSubtitle::EndRunInternal() noexcept {
    CWorkerInterlock::Guard lock(*m_Lock);
    if (m_State == kStateStopped)
        return;
    m_State = kStateStopped;
    // On the worker itself only the clock runs foreign code inside a tick.
    AbandonOrEndWorkerInternal(*m_Lock);
}

HRESULT CZQDmxSubtitle::SetSyncSource(IReferenceClock* clock) noexcept {
    return ZQCallWithBarrier([&] {
        CWorkerInterlock::Guard lock(*m_Lock);
        if (m_State != kStateStopped)
            return VFW_E_WRONG_STATE;
        m_Clock = clock;
        return S_OK;
    });
}

HRESULT CZQDmxSubtitle::JoinFilterGraph(IFilterGraph* graph) noexcept {
    return ZQCallWithBarrier([&] {
        CWorkerInterlock::Guard lock(*m_Lock);
        if (m_State != kStateStopped)
            return VFW_E_WRONG_STATE;
        m_Graph = graph;
        return S_OK;
    });
}

HRESULT CZQDmxSubtitle::FindStreamTrackInternal(LONG trackid, CZQSubtitleTrack** track) {
    *track = nullptr;
    // Stopped: the host's streaming side may still be winding down; its calls
    // are ignored whatever they name.
    if (m_State == kStateStopped)
        return S_OK;
    return m_Tracks->FindByID(trackid, track);
}

template <class Operation>
HRESULT CZQDmxSubtitle::OnStreamTrack(LONG trackid, Operation operation) noexcept {
    return ZQCallWithBarrier([&] {
        CWorkerInterlock::Guard lock(*m_Lock);
        CComPtr<CZQSubtitleTrack> track;
        const HRESULT hr = FindStreamTrackInternal(trackid, &track);
        if (FAILED(hr) || !track)
            return hr;
        return operation(*track);
    });
}

HRESULT CZQDmxSubtitle::BeginFlush(LONG trackid) noexcept {
    return OnStreamTrack(trackid, [this](CZQSubtitleTrack& track) {
        bool wasActive = false;
        track.DeactivateAll(&wasActive);
        if (wasActive) {
            const HRESULT cueHr = m_Callback->Cue(ZQSubtitle_Cue_Event_Clear, 0.0, nullptr);
            if (FAILED(cueHr))
                return cueHr;
        }
        return track.BeginFlush();
    });
}

HRESULT CZQDmxSubtitle::EndFlush(LONG trackid) noexcept {
    return OnStreamTrack(trackid, [](CZQSubtitleTrack& track) { return track.EndFlush(); });
}

HRESULT CZQDmxSubtitle::NewSegment(LONG trackid, REFERENCE_TIME start, REFERENCE_TIME stop, double rate) noexcept {
    return ZQCallWithBarrier([&] {
        CWorkerInterlock::Guard lock(*m_Lock);
        if (m_State == kStateStopped)
            return S_OK;
        // A segment that begins during Paused shows its first instant, for
        // the whole object and whether or not the id proves known.
        m_PausedTime = 0;
        CComPtr<CZQSubtitleTrack> track;
        const HRESULT hr = FindStreamTrackInternal(trackid, &track);
        if (FAILED(hr))
            return hr;
        return track->NewSegment(start, stop, rate);
    });
}

HRESULT CZQDmxSubtitle::EndOfStream(LONG trackid) noexcept {
    return OnStreamTrack(trackid, [](CZQSubtitleTrack& track) { return track.EndOfStream(); });
}

HRESULT CZQDmxSubtitle::Receive(LONG trackid, REFERENCE_TIME start, REFERENCE_TIME stop, BYTE* data,
                                LONG length) noexcept {
    return OnStreamTrack(trackid, [&](CZQSubtitleTrack& track) { return track.AddSample(start, stop, data, length); });
}

HRESULT CZQDmxSubtitle::GetStreamTime(REFERENCE_TIME* time) {
    return ReadStreamTime(m_State, m_Clock.Get(), m_StartTime, m_PausedTime, time);
}

// --- The timing worker ------------------------------------------------------

HRESULT CZQDmxSubtitle::PassInternal() noexcept {
    if (m_State == kStateStopped)
        return S_OK;
    m_TicksBegun.fetch_add(1, std::memory_order_release);
    // Everything the tick needs, taken before the clock runs: should the last
    // reference to the object go inside GetTime, the tick goes on with these.
    const CComPtr<CZQSubtitleTrackList> tracks = m_Tracks;
    const CComPtr<CZQDmxSubtitleCallback> callback = m_Callback;
    const CComPtr<IReferenceClock> clock = m_Clock;
    REFERENCE_TIME time = 0;
    // A failing clock costs a tick at a wrong time, nothing more.
    ReadStreamTime(m_State, clock.Get(), m_StartTime, m_PausedTime, &time);
    // On this thread the dispatcher only queues and posts. A failure ends
    // this tick's walk; the next tick starts afresh.
    ZQCallWithBarrier([&] { return tracks->UpdateActive(callback.Get(), time); });
    return S_OK;
}

HRESULT ZQCreateDmxSubtitle(IUnknown* outer, REFIID iid, void** out) {
    return ZQCreateInstance<CZQDmxSubtitle>(outer, iid, out);
}
