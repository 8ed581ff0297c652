// The multiplexer object: a host multiplexer's subtitle tracks, their edit
// bracket, and the pump that hands every cue to the host.
#pragma once

#include <vector>

#include "interfaces/CZQDispatchImpl.h"
#include "support/CComObjectRoot.h"
#include "support/CPassWorker.h"
#include "support/CWorkerInterlock.h"
#include "zqplatform/comptr.h"
#include "zqsubtitle/ZQSubtitle.h"

class CZQSubtitleTrackList;

ZQ_BEGIN_INTERFACE_CLASS

/// The object of the class ZQMuxSubtitle, made as CComObject or aggregated
/// (ZQCreateMuxSubtitle). A host multiplexer drives it through
/// IZQMuxSubtitleControl and hears of its tracks and samples through its
/// IZQMuxSubtitleControlCallback; applications and the property page edit the
/// tracks through IZQMuxSubtitle. Any thread may call either interface: every
/// operation holds m_Lock from its first test to its answer. Between Run and
/// Stop a worker thread (the pump) hands the host one cue of each unfinished
/// track per pass, under m_Lock, as fast as the host's Receive returns.
///
/// The host calls Stop before it lets its last reference go. If it doesn't,
/// the destructor stops the worker first; and if that last reference goes on
/// the worker itself, from inside Receive or EndOfStream, the worker finishes
/// its pass on references of its own and leaves without touching the object.
class CZQMuxSubtitle : public CZQDispatchImpl<IZQMuxSubtitle>,
                       public IZQMuxSubtitleControl,
                       public CPassWorker,
                       public CComObjectRootEx {
public:
    /// Second-phase construction: the lock and the empty track list.
    /// E_OUTOFMEMORY when either can't be made, which fails the creation.
    HRESULT FinalConstruct() noexcept;

    /// Identity table: IZQMuxSubtitle (also for IUnknown), IDispatch (the
    /// dual interface) and IZQMuxSubtitleControl.
    void* GetInterface(REFIID iid) noexcept;

    // IZQMuxSubtitle.
    /// A snapshot of all tracks (or only the text tracks) for the caller; it
    /// doesn't follow later changes. Works in every state. E_POINTER for a
    /// null `pVal`, E_OUTOFMEMORY.
    HRESULT get_Tracks(IZQSubtitleTrackList** pVal) noexcept override;
    HRESULT get_TextTracks(IZQSubtitleTrackList** pVal) noexcept override;
    /// Loads a SubRip file as a new text track and announces it to the host.
    /// VFW_E_WRONG_STATE while running. The status of the load, or the host's
    /// refusal, leaves the list as it was. A null `path` reads as empty; a
    /// null `trackid` is allowed, the id is then not given back.
    HRESULT AddTextTrackFromFile(BSTR path, BSTR Label, BSTR Language, LONG* trackid) noexcept override;
    /// Asks the host to drop the track, then drops it. VFW_E_WRONG_STATE while
    /// running; the host's refusal keeps the track; E_INVALIDARG for an
    /// unknown id, after the host has been asked.
    HRESULT RemoveTrack(LONG trackid) noexcept override;
    /// Opens one more level of the edit bracket: remembers the present list.
    /// VFW_E_WRONG_STATE while running; E_OUTOFMEMORY.
    HRESULT EnterEdit() noexcept override;
    /// Closes the innermost level. Keeping (`discard` 0) says nothing to the
    /// host; discarding (any other value) puts the remembered list back, with
    /// its ids, and announces it all to the host again (RemoveAllTracks, then
    /// AddTrack per track). S_OK without an open level; VFW_E_WRONG_STATE
    /// while running; a failed RemoveAllTracks is the answer.
    HRESULT LeaveEdit(VARIANT_BOOL discard) noexcept override;

    // IZQMuxSubtitleControl.
    /// Takes the host's callback (null allowed) and announces the present
    /// list to it, even when it is the callback already set. VFW_E_WRONG_STATE
    /// while running; a failed RemoveAllTracks is the answer, the callback
    /// stays set.
    HRESULT SetCallback(IZQMuxSubtitleControlCallback* callback) noexcept override;
    /// Rewinds every track and starts the pump. S_OK while running, without
    /// any effect. VFW_E_WRONG_STATE with an edit open, and when called from
    /// inside a host callback of another operation of this object (the list
    /// is being changed there). The platform's error when no thread can be
    /// made.
    HRESULT Run() noexcept override;
    /// Ends the pump between two passes and waits for its thread; no Receive
    /// or EndOfStream comes after it returns, and tracks not yet finished get
    /// no EndOfStream. S_OK when stopped. VFW_E_WRONG_STATE when the host
    /// calls it from inside Receive or EndOfStream, where the pump would wait
    /// for itself.
    HRESULT Stop() noexcept override;
    /// Stores the host's own 64-bit value in a track (0 from its creation on).
    /// VFW_E_WRONG_STATE while running; E_INVALIDARG for an unknown id.
    HRESULT SetTrackData(LONG trackid, LONGLONG data) noexcept override;
    /// Reads it back, in every state. E_POINTER for a null `data`;
    /// E_INVALIDARG for an unknown id.
    HRESULT GetTrackData(LONG trackid, LONGLONG* data) noexcept override;

protected:
    CZQMuxSubtitle() noexcept;
    ~CZQMuxSubtitle() override;

private:
    /// One pass of the pump, under m_Lock: S_OK when something went out;
    /// S_FALSE when nothing is left, or the host's negative status, both of
    /// which rest the pump until Stop.
    HRESULT PassInternal() noexcept override;

    using SnapshotOperation = HRESULT (CZQSubtitleTrackList::*)(CZQSubtitleTrackList**);
    HRESULT SnapshotInternal(SnapshotOperation take, IZQSubtitleTrackList** pVal);
    /// The destructor's part: ends a worker the host left running.
    void EndRunInternal() noexcept;
    /// Puts `snapshot` in the place of m_Tracks for a discarding LeaveEdit.
    HRESULT RestoreInternal(CComPtr<CZQSubtitleTrackList> snapshot);

    // The object's one lock, recursive for its owning thread, shared with the
    // worker (which holds its own reference). Guards everything below and all
    // tracks and cues reached through it. Lock order: m_Lock, then the client
    // lock of CAMThread.
    CComPtr<CWorkerInterlock> m_Lock;
    // The live list; replaced as a whole only by a discarding LeaveEdit.
    CComPtr<CZQSubtitleTrackList> m_Tracks;
    // One snapshot per open level of the edit bracket, innermost last.
    std::vector<CComPtr<CZQSubtitleTrackList>> m_EditStack;
    // The host's callback; null until SetCallback.
    CComPtr<IZQMuxSubtitleControlCallback> m_Callback;
    // 0 stopped, 2 running (while the worker exists).
    LONG m_State = 0;
};

ZQ_END_INTERFACE_CLASS

/// Makes a multiplexer object for a client, as the class object of
/// ZQMuxSubtitle does: plain without `outer`, aggregated with it (then `iid`
/// must be IID_IUnknown). E_POINTER for a null `out`; CLASS_E_NOAGGREGATION;
/// E_OUTOFMEMORY; E_NOINTERFACE. `*out` is null on failure. Never throws.
HRESULT ZQCreateMuxSubtitle(IUnknown* outer, REFIID iid, void** out);
