// The host demultiplexer over a container read with libavformat.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "hosts/ffmpeg/CContainerReader.h"
#include "hosts/ffmpeg/CHostStatus.h"
#include "hosts/ffmpeg/CSubtitleMediaType.h"
#include "hosts/ffmpeg/CSubtitleTextDecoder.h"
#include "zqsubtitle/ZQSubtitle.h"

/// One subtitle stream of a container, as the demultiplexer host sees it.
struct ContainerSubtitleStream {
    /// The stream's index in the container.
    int index = 0;
    /// FFmpeg's name of its codec ("subrip", "mov_text", "hdmv_pgs_subtitle").
    std::string codec;
    /// Its language and title as the container tells them.
    SubtitleStreamLabel label;
    /// Text that the host can read; bitmap subtitles aren't.
    bool text = false;
    /// The demultiplexer's id of its track once announced, else 0.
    LONG trackid = 0;
};

/// A host demultiplexer's streaming side over one container: it announces
/// each text subtitle stream to a demultiplexer object with the subtitle
/// media type (the stream's language and title in the SUBTITLEINFO block),
/// starts the streams with a segment (after a seek: BeginFlush, EndFlush,
/// NewSegment), and pushes the packets as samples in 100 ns units, read as
/// far ahead as the caller asks, then EndOfStream on each track. The caller
/// drives the object's state and clock, and keeps the object alive while
/// the host uses it. One thread at a time.
class CDmxHost {
public:
    /// Opens `path` as a container and lists its subtitle streams.
    static CHostStatus Open(const std::string& path, std::unique_ptr<CDmxHost>& out);

    const std::string& Path() const noexcept { return m_reader->Path(); }
    const std::vector<ContainerSubtitleStream>& Streams() const noexcept { return m_streams; }

    /// Announces every text stream to `dmx` with AddTrack, in stream order.
    /// A refusal names the stream and gives the status.
    CHostStatus Announce(IZQDmxSubtitleControl* dmx);

    /// Starts the announced streams at `from` (the container's time): a
    /// segment that begins there, after a seek of the container when `from`
    /// isn't 0. Samples are then given relative to `from`, and those that
    /// end before it are left out. The object must be paused or running, or
    /// it ignores stream operations.
    CHostStatus Start(REFERENCE_TIME from);

    /// Pushes the samples of the announced streams that start before
    /// `horizon` (the container's time). At the end of the file every track
    /// gets EndOfStream and `ended` turns true. A packet without a duration
    /// gives a sample that ends where it begins, which makes no cue.
    CHostStatus FeedUntil(REFERENCE_TIME horizon, bool& ended);

    /// The latest end of a sample pushed so far (the container's time).
    REFERENCE_TIME LastStop() const noexcept { return m_lastStop; }

    /// Reads the whole container and counts, per entry of Streams(), the
    /// packets that make a cue: a text and a duration. 0 for bitmap streams.
    CHostStatus CountCues(std::vector<int64_t>& counts);

private:
    explicit CDmxHost(std::unique_ptr<CContainerReader> reader) : m_reader(std::move(reader)) {}
    /// The entry of Streams() for a container stream, or null.
    ContainerSubtitleStream* FindStreamInternal(int index);
    CHostStatus DeliverInternal(const AVPacket* packet);
    /// The text and times of a packet of a text stream.
    CHostStatus ReadSampleInternal(const AVPacket* packet, std::string& text, REFERENCE_TIME& start,
                                   REFERENCE_TIME& stop);

    std::unique_ptr<CContainerReader> m_reader;
    std::vector<ContainerSubtitleStream> m_streams;
    // By entry of m_streams; null for the streams that aren't text.
    std::vector<std::unique_ptr<CSubtitleTextDecoder>> m_decoders;
    IZQDmxSubtitleControl* m_dmx = nullptr;
    REFERENCE_TIME m_from = 0;
    REFERENCE_TIME m_lastStop = 0;
    // The packet read ahead of the horizon, if m_pending is set.
    std::unique_ptr<CPacket> m_packet;
    bool m_pending = false;
    bool m_ended = false;
    bool m_endsSent = false;
};
