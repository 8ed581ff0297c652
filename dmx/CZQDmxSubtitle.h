// The demultiplexer object: a host demultiplexer's subtitle streams as tracks,
// timed against the graph's clock, with cue events for the application.
#pragma once

#include <atomic>
#include <cstdint>

#include "interfaces/CZQDispatchImpl.h"
#include "support/CComObjectRoot.h"
#include "support/CPassWorker.h"
#include "support/CWorkerInterlock.h"
#include "zqplatform/comptr.h"
#include "zqplatform/strmif.h"
#include "zqsubtitle/ZQSubtitle.h"

class CZQDmxSubtitleCallback;
class CZQSubtitleTrack;
class CZQSubtitleTrackList;

ZQ_BEGIN_INTERFACE_CLASS

/// The object of the class ZQDmxSubtitle, made as CComObject or aggregated
/// (ZQCreateDmxSubtitle). A host demultiplexer drives it through
/// IZQDmxSubtitleControl: it announces streams as tracks, mirrors its filter's
/// states and pushes each stream's samples and signals. An application
/// selects tracks and sets its IZQDmxSubtitleCallback through IZQDmxSubtitle,
/// and hears of cues on the thread that set the callback. Any thread may call
/// either interface: every operation holds m_Lock from its first test to its
/// answer. While the object isn't Stopped a worker thread tests every cue
/// against the stream time about every 30 ms, under m_Lock.
///
/// The host calls Stop before it lets its last reference go. If it doesn't,
/// the destructor ends the worker first, quietly (no Clear: the dispatcher
/// goes with the object and would drop it anyway).
class CZQDmxSubtitle : public CZQDispatchImpl<IZQDmxSubtitle>,
                       public IZQDmxSubtitleControl,
                       public CPassWorker,
                       public CComObjectRootEx {
public:
    /// The wait of the worker between two ticks, in milliseconds.
    static constexpr DWORD kTickPeriodMs = 30;

    /// Second-phase construction: the lock and the empty track list.
    /// E_OUTOFMEMORY when either can't be made, which fails the creation.
    HRESULT FinalConstruct() noexcept;

    /// Identity table: IZQDmxSubtitle (also for IUnknown), IDispatch (the
    /// dual interface) and IZQDmxSubtitleControl.
    void* GetInterface(REFIID iid) noexcept;

    // IZQDmxSubtitle.
    /// A snapshot of all tracks, of the text tracks, or of the selected ones,
    /// for the caller. Later changes of the list don't show in it; a change of
    /// a track's selection does. E_POINTER for a null `pVal`, E_OUTOFMEMORY.
    HRESULT get_Tracks(IZQSubtitleTrackList** pVal) noexcept override;
    HRESULT get_TextTracks(IZQSubtitleTrackList** pVal) noexcept override;
    HRESULT get_SelectedTracks(IZQSubtitleTrackList** pVal) noexcept override;
    /// Turns a track's events on (any non-zero `Selected`) or off. While not
    /// Stopped the track is tested at once at the present stream time, so an
    /// active cue of a track turned off fires Inactive and a cue covering the
    /// present time of a track turned on fires Active, before this returns
    /// (delivered at once when called on the callback's thread). The same
    /// value as before does nothing. E_INVALIDARG for an unknown id.
    HRESULT SelectTrack(LONG trackid, VARIANT_BOOL Selected) noexcept override;
    /// The application's callback with a reference, null when none is set.
    /// E_POINTER for a null `pVal`.
    HRESULT get_Callback(IZQDmxSubtitleCallback** pVal) noexcept override;
    /// Sets the callback; the calling thread becomes the one on which every
    /// event arrives, and it must pump messages. Events of the callback before
    /// are dropped undelivered and no cue stays active. Null removes it, and
    /// then Pause and Run do nothing. VFW_E_WRONG_STATE unless Stopped;
    /// E_OUTOFMEMORY when the dispatcher or its window can't be made.
    HRESULT putref_Callback(IZQDmxSubtitleCallback* pVal) noexcept override;

    // IZQDmxSubtitleControl.
    /// Announces a stream; `*trackid` takes its id (the lowest free one).
    /// Works in every state. E_POINTER for a null `trackid` or `mediatype`;
    /// VFW_E_INVALIDMEDIATYPE for anything but the subtitle media type;
    /// E_OUTOFMEMORY. The list is unchanged on failure.
    HRESULT AddTrack(const AM_MEDIA_TYPE* mediatype, LONG* trackid) noexcept override;
    /// Forgets every stream, without events even for active cues; the next
    /// AddTrack yields id 1.
    HRESULT RemoveAllTracks() noexcept override;
    /// Forgets one stream, without events. E_INVALIDARG for an unknown id.
    HRESULT RemoveTrack(LONG trackid) noexcept override;
    /// Stream time zero is the clock reading `start`. From Stopped it passes
    /// through Pause (and its worker start). S_OK without effect while
    /// Running, or without a clock or a callback; a second Run keeps the
    /// first start. A failed worker start is the answer, the state unchanged.
    HRESULT Run(REFERENCE_TIME start) noexcept override;
    /// Ends the timing: every active cue becomes inactive and, if any was,
    /// the callback gets one Clear; then the worker ends. When it returns no
    /// tick runs any more. S_OK when Stopped. A Clear that can't be queued is
    /// the answer, and the object stays as it was, with its cues inactive.
    HRESULT Stop() noexcept override;
    /// Freezes the stream time (Running), or starts the timing at stream time
    /// 0 (Stopped). S_OK without effect when Paused, or without a clock or a
    /// callback. From Stopped, the platform's error when no thread can be
    /// made, the state unchanged.
    HRESULT Pause() noexcept override;
    /// The graph's clock (null allowed). VFW_E_WRONG_STATE unless Stopped.
    HRESULT SetSyncSource(IReferenceClock* clock) noexcept override;
    /// Keeps the graph pointer, without a reference and without using it.
    /// VFW_E_WRONG_STATE unless Stopped.
    HRESULT JoinFilterGraph(IFilterGraph* graph) noexcept override;
    // The five stream operations: S_OK and no effect whatever the id while
    // Stopped; E_INVALIDARG for an unknown id otherwise.
    /// Deactivates the track's cues (one Clear if any was active; a Clear that
    /// can't be queued is the answer, with the cues inactive and the track
    /// otherwise as it was), then drops its cues and its samples until EndFlush.
    HRESULT BeginFlush(LONG trackid) noexcept override;
    HRESULT EndFlush(LONG trackid) noexcept override;
    /// A new segment: the track's cues go silently, later samples and tests
    /// are shifted by `start`. Resets the paused stream time to 0 for the
    /// whole object, even when the id proves unknown.
    HRESULT NewSegment(LONG trackid, REFERENCE_TIME start, REFERENCE_TIME stop, double rate) noexcept override;
    HRESULT EndOfStream(LONG trackid) noexcept override;
    /// One sample of UTF-8 text; see CZQSubtitleTrack::AddSample.
    HRESULT Receive(LONG trackid, REFERENCE_TIME start, REFERENCE_TIME stop, BYTE* data,
                    LONG length) noexcept override;

    /// The present stream time into `*time`: the paused time when Paused,
    /// else the clock reading minus the start of Run. VFW_E_NO_CLOCK (time 0)
    /// without a clock; the clock's failure, with the time as the clock left
    /// it. Called with m_Lock held.
    HRESULT GetStreamTime(REFERENCE_TIME* time);

    /// How many ticks have begun since the object was made, from any thread.
    /// Tick n+2 has begun only after tick n+1 has ended, so a caller that
    /// changes the time, reads n here and then waits for n+2 knows that one
    /// whole tick has seen the change.
    uint64_t GetTicksBegun() const noexcept { return m_TicksBegun.load(std::memory_order_acquire); }

protected:
    CZQDmxSubtitle() noexcept;
    ~CZQDmxSubtitle() override;

private:
    /// One tick under m_Lock: every cue of every track against the stream
    /// time. Reads the object's fields first and touches nothing of it after
    /// calling the clock. S_OK always: a tick never ends the ticking.
    HRESULT PassInternal() noexcept override;

    using SnapshotOperation = HRESULT (CZQSubtitleTrackList::*)(CZQSubtitleTrackList**);
    HRESULT SnapshotInternal(SnapshotOperation take, IZQSubtitleTrackList** pVal);
    /// The shared start of the five stream operations: `*track` is null and
    /// the answer S_OK while Stopped; else the look-up's answer.
    HRESULT FindStreamTrackInternal(LONG trackid, CZQSubtitleTrack** track);
    /// A stream operation that only needs its track: under m_Lock, S_OK and
    /// nothing done while Stopped, the look-up's failure for an unknown id,
    /// else the answer of `operation(track)`.
    template <class Operation>
    HRESULT OnStreamTrack(LONG trackid, Operation operation) noexcept;
    /// The destructor's part: ends a worker the host left running.
    void EndRunInternal() noexcept;

    // The object's one lock, recursive for its owning thread, shared with the
    // worker (which holds its own reference). Guards everything below and the
    // lists, tracks and cues behind m_Tracks. Lock order: m_Lock, then the
    // client lock of CAMThread; m_Lock, then the dispatcher's lock.
    CComPtr<CWorkerInterlock> m_Lock;
    // The graph's clock; only GetTime is used. Null until SetSyncSource.
    CComPtr<IReferenceClock> m_Clock;
    // The live list; made at construction, never null.
    CComPtr<CZQSubtitleTrackList> m_Tracks;
    // The dispatcher of the application's callback; a new one per callback.
    CComPtr<CZQDmxSubtitleCallback> m_Callback;
    // What JoinFilterGraph gave; never used, so held without a reference.
    IFilterGraph* m_Graph = nullptr;
    // The clock reading of stream time zero (the argument of Run).
    REFERENCE_TIME m_StartTime = 0;
    // The stream time while Paused.
    REFERENCE_TIME m_PausedTime = 0;
    // 0 Stopped, 1 Paused, 2 Running; the worker exists exactly while not 0.
    LONG m_State = 0;
    // Counted by the worker as each tick begins; read without the lock.
    std::atomic<uint64_t> m_TicksBegun{0};
};

ZQ_END_INTERFACE_CLASS

/// Makes a demultiplexer object for a client, as the class object of
/// ZQDmxSubtitle does: plain without `outer`, aggregated with it (then `iid`
/// must be IID_IUnknown). E_POINTER for a null `out`; CLASS_E_NOAGGREGATION;
/// E_OUTOFMEMORY; E_NOINTERFACE. `*out` is null on failure. Never throws; the
/// declaration matches the class table's (shell/ZQClassCreation.h) exactly.
HRESULT ZQCreateDmxSubtitle(IUnknown* outer, REFIID iid, void** out);
