// The host multiplexer of the mux command: the callback of a multiplexer object.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "hosts/ffmpeg/CCueSink.h"
#include "hosts/ffmpeg/CSubtitleMediaType.h"
#include "zqplatform/unknownimpl.h"
#include "zqsubtitle/ZQSubtitle.h"

/// The host of a multiplexer object: keeps the tracks the object announces,
/// each with the language and title of its media type, in the order of the
/// announcements, and hands the samples of a run to a cue sink by track.
/// Once the output's streams are made (FreezeTracks) the list is fixed and
/// the object may no longer change it. It lives in the multiplexing session,
/// longer than the object's use of it, so it only counts references.
/// AddTrack, RemoveTrack and RemoveAllTracks come on the thread that edits
/// the object, Receive and EndOfStream on the object's pump; the list and
/// the sink change only while the object is stopped, which orders them
/// before the pump's reads.
class CMuxHost final : public CUnknownImpl<ZQLifetime::Borrowed, IZQMuxSubtitleControlCallback> {
public:
    struct Track {
        LONG id = 0;
        SubtitleStreamLabel label;
    };

    /// The announced tracks in order; their index is the sink's track.
    const std::vector<Track>& Tracks() const noexcept { return m_tracks; }
    /// Refuses every later change of the list with VFW_E_WRONG_STATE.
    void FreezeTracks() noexcept { m_frozen = true; }
    /// Where the samples of the next run go, null for nowhere. Only while
    /// the object is stopped.
    void SetSink(CCueSink* sink) noexcept { m_sink = sink; }
    /// What went wrong on the pump's side, empty when nothing did.
    std::string Failure() const;

    /// VFW_E_INVALIDMEDIATYPE for anything but the subtitle media type.
    HRESULT AddTrack(const AM_MEDIA_TYPE* mediatype, LONG trackid) override;
    HRESULT RemoveAllTracks() override;
    HRESULT RemoveTrack(LONG trackid) override;
    /// Hands the cue to the sink; E_INVALIDARG for a track never announced,
    /// which abandons the run. A run without a sink takes every sample.
    HRESULT Receive(LONG trackid, REFERENCE_TIME start, REFERENCE_TIME stop, BYTE* data, LONG length) override;
    HRESULT EndOfStream(LONG trackid) override;

private:
    /// The index of `trackid`, or SIZE_MAX (then the run is abandoned).
    size_t FindTrackInternal(LONG trackid);
    void FailInternal(const std::string& reason) noexcept;

    std::vector<Track> m_tracks;
    bool m_frozen = false;
    CCueSink* m_sink = nullptr;
    // Guards m_failure: the first failure on the pump's side.
    mutable std::mutex m_failureMutex;
    std::string m_failure;
};
