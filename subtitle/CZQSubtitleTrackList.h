// An ordered set of subtitle tracks that finds a track by its id in one step.
#pragma once

#include "interfaces/CZQDispatchImpl.h"
#include "subtitle/CGrowableArray.h"
#include "support/CComObjectRoot.h"
#include "zqsubtitle/ZQSubtitle.h"

class CZQSubtitleTrack;

ZQ_BEGIN_INTERFACE_CLASS

/// A list of tracks, made as CComObjectCached<CZQSubtitleTrackList>, holding
/// one reference per track. It serves two roles:
/// - the live list of a multiplexer or demultiplexer object, which gives the
///   tracks their ids and drives them all; every call on it runs under the
///   owner's lock;
/// - a snapshot (GetAllTracks and kin), which keeps references to the same
///   tracks under the ids they had; it is never changed after it is made, so
///   any thread may read it without a lock.
/// It takes no lock itself.
class CZQSubtitleTrackList : public CComObjectRootEx, public CZQDispatchImpl<IZQSubtitleTrackList> {
public:
    /// Makes an empty list; `*out` holds the caller's one reference.
    /// E_POINTER for a null `out`, E_OUTOFMEMORY; `*out` is null on failure.
    static HRESULT Create(CZQSubtitleTrackList** out) noexcept;

    /// Identity table: IUnknown, IZQSubtitleTrackList and IDispatch.
    void* GetInterface(REFIID iid) noexcept;

    // IZQSubtitleTrackList.
    /// The number of tracks. E_POINTER for a null `pVal`.
    HRESULT get_Count(LONG* pVal) override;
    /// The track at `index` with a reference for the caller. E_POINTER for a
    /// null `track`; DISP_E_BADINDEX outside [0, count), `*track` untouched.
    HRESULT GetTrack(LONG index, IZQSubtitleTrack** track) override;
    /// The track of `trackid` with a reference for the caller; `*track` is
    /// null first. E_POINTER for a null `track`; E_INVALIDARG for an id that
    /// no track of this list has.
    HRESULT GetTrackByID(LONG trackid, IZQSubtitleTrack** track) override;
    /// The index of the track of `trackid`; `*index` is -1 first. E_POINTER
    /// for a null `index`; E_INVALIDARG for an id below 1 or past the ids this
    /// list has known. A freed id inside them gives S_OK with -1.
    HRESULT GetTrackIndexByID(LONG trackid, LONG* index) override;

    /// As GetTrackByID, on the track's own class.
    HRESULT FindByID(LONG trackid, CZQSubtitleTrack** track) noexcept;

    /// Live list: gives `track` the lowest free id and appends it. E_POINTER
    /// for a null track; E_INVALIDARG for a track that already has an id,
    /// which keeps it (a free entry that was made for it stays free). Raises
    /// E_OUTOFMEMORY, with the list and the track as they were.
    HRESULT AddTrack(CZQSubtitleTrack* track);

    /// Snapshot: appends `track` under the id it bears, not touching the
    /// track. E_POINTER for a null track; E_INVALIDARG, the list unchanged,
    /// for a track without an id or with an id this list already holds.
    /// Raises E_OUTOFMEMORY, with the list as it was.
    HRESULT AddExisting(CZQSubtitleTrack* track);

    /// Takes the track of `trackid` out: its id becomes free, the track and
    /// its cues bear id 0, the tracks behind it move up one place and keep
    /// their ids. E_INVALIDARG, nothing changed, for an id the list doesn't hold.
    HRESULT RemoveByID(LONG trackid) noexcept;

    /// Releases every track and forgets every id; the next AddTrack gives id
    /// 1. The tracks keep the ids they bear.
    void RemoveAll() noexcept;

    /// Snapshots: a new list, `*list` holding the caller's reference, with the
    /// tracks that pass the filter, in list order and under the ids of this
    /// list. E_POINTER for a null `list`; E_OUTOFMEMORY as a status when the
    /// new list can't be made, raised when it can't grow.
    HRESULT Clone(CZQSubtitleTrackList** list);
    HRESULT GetAllTracks(CZQSubtitleTrackList** list);
    /// Only tracks of kind Text.
    HRESULT GetTextTracks(CZQSubtitleTrackList** list);
    /// Only selected tracks.
    HRESULT GetSelectedTracks(CZQSubtitleTrackList** list);

    /// Gives every track of this list that bears no id the id under which
    /// the list holds it, and its cues too, so that a snapshot that takes the
    /// place of the live list has its tracks named again.
    void RestoreIDs() noexcept;

    // Loops over all tracks in list order. The first negative status ends the
    // pass and is returned; the tracks behind it are left out of it.
    HRESULT UpdateActive(IZQDmxSubtitleCallback* callback, REFERENCE_TIME time);
    /// `*wasActive` collects over all tracks (see CZQSubtitleTrack::DeactivateAll).
    HRESULT DeactivateAll(bool* wasActive) noexcept;
    HRESULT Rewind() noexcept;
    /// One cue (or one end of stream) per unfinished track: 1 only when every
    /// track answered 1, an empty list too; else 0; or a negative status.
    HRESULT SendNext(IZQMuxSubtitleControlCallback* callback);

    /// Stores the host's value for the track of `trackid`. E_INVALIDARG for
    /// an id the list doesn't hold.
    HRESULT SetTrackData(LONG trackid, LONGLONG data) noexcept;
    /// Reads it back. E_POINTER for a null `data`; E_INVALIDARG for an id the
    /// list doesn't hold, `*data` untouched.
    HRESULT GetTrackData(LONG trackid, LONGLONG* data) noexcept;

    /// Loads a SubRip file as a new selected text track, gives it an id and
    /// announces it to `callback` (if any) with its media type. The status of
    /// the load is returned with the list unchanged; a host that refuses the
    /// track gets its status back and the track is gone again, its id free.
    /// `*trackid` (if not null) takes the id only on success. E_OUTOFMEMORY as
    /// a status when the track can't be made.
    HRESULT AddTextTrackFromFile(IZQMuxSubtitleControlCallback* callback, const WCHAR* path, const WCHAR* label,
                                 const WCHAR* language, LONG* trackid);

    /// Asks the host (if any) to drop the track first, even for an unknown
    /// id; a refusal is returned and the track stays. Then RemoveByID.
    HRESULT RemoveTrack(IZQMuxSubtitleControlCallback* callback, LONG trackid);

    /// Tells the host (if any) to forget its tracks, then announces every
    /// track with its media type and id. A refused track leaves the list
    /// without a word and the result stays S_OK; only a failed
    /// RemoveAllTracks is returned, and then nothing else happens.
    HRESULT AnnounceAll(IZQMuxSubtitleControlCallback* callback);

    /// Number of tracks.
    LONG GetCount() const noexcept { return static_cast<LONG>(m_trackArray.GetCount()); }
    /// The track at `index`, borrowed (no reference); null outside the list.
    CZQSubtitleTrack* GetTrackAt(LONG index) const noexcept;
    /// Number of ids the map knows, free ones included.
    LONG GetIdMapSize() const noexcept { return static_cast<LONG>(m_idMap.GetCount()); }

protected:
    CZQSubtitleTrackList() noexcept = default;
    ~CZQSubtitleTrackList();

private:
    using TrackFilter = bool (*)(const CZQSubtitleTrack&);

    /// The four snapshot operations: a new list of the tracks that pass `keep`.
    HRESULT SnapshotInternal(TrackFilter keep, CZQSubtitleTrackList** list);
    /// Appends `track` under `trackid` without touching it; E_INVALIDARG for
    /// an id below 1 or already held here.
    HRESULT AddExistingInternal(CZQSubtitleTrack* track, LONG trackid);
    /// The index of the track of `trackid`, or -1 for an id the list doesn't hold.
    LONG IndexOfID(LONG trackid) const noexcept;
    /// The id under which this list holds the track at `index`.
    LONG IDAt(size_t index) const noexcept;

    /// The tracks in list order, one reference each. A position is an index.
    CGrowableArray<CZQSubtitleTrack*> m_trackArray;
    /// Entry i belongs to id i + 1: the index of its track, or -1 while free.
    CGrowableArray<LONG> m_idMap;
};

ZQ_END_INTERFACE_CLASS
