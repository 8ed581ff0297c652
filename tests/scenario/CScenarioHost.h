// The scenario's host multiplexer: what it is told, in order, as listing
// lines, and the samples of each track, which the scenario then hands to a
// demultiplexer.
#pragma once

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "zqplatform/unknownimpl.h"
#include "zqsubtitle/ZQSubtitle.h"

/// One sample as the multiplexer sent it.
struct ScenarioSample {
    REFERENCE_TIME m_start;
    REFERENCE_TIME m_stop;
    std::string m_text;
};

/// One announced track: its media type (with a copy of the format block) and
/// its samples.
struct ScenarioTrack {
    GUID m_majortype;
    GUID m_subtype;
    GUID m_formattype;
    std::vector<BYTE> m_format;
    std::vector<ScenarioSample> m_samples;
    bool m_ended = false;
};

/// Owned by the scenario's stack. The pump worker calls it while the scenario
/// waits, so every record is guarded by one mutex.
class CScenarioHost final : public CUnknownImpl<ZQLifetime::Borrowed, IZQMuxSubtitleControlCallback> {
public:
    CScenarioHost() = default;

    HRESULT Receive(LONG trackid, REFERENCE_TIME start, REFERENCE_TIME stop, BYTE* data, LONG length) override;
    HRESULT EndOfStream(LONG trackid) override;
    HRESULT AddTrack(const AM_MEDIA_TYPE* mediatype, LONG trackid) override;
    HRESULT RemoveAllTracks() override;
    HRESULT RemoveTrack(LONG trackid) override;

    /// Waits until every announced track has had its end of stream; false
    /// when `timeout` passes first.
    bool WaitForAllEnds(std::chrono::milliseconds timeout);

    /// What the host was told, one line per call, in order.
    std::vector<std::string> Lines();
    /// The announced tracks by the multiplexer's id.
    std::map<LONG, ScenarioTrack> Tracks();

private:
    void AddLine(std::string line);

    // Guards everything below; m_changed is signalled on every end of stream.
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<std::string> m_lines;
    std::map<LONG, ScenarioTrack> m_tracks;
};

/// A text for a listing line: quoted, with line ends, backslashes, quotes and
/// other control characters escaped.
std::string QuotedForListing(const std::string& text);
