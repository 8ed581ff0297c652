// An input container read with libavformat.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "hosts/ffmpeg/CHostStatus.h"
#include "zqplatform/types.h"

struct AVFormatContext;
struct AVPacket;
struct AVStream;

/// 100 ns units: the time unit of the hosts and the module.
inline constexpr REFERENCE_TIME kUnitsPerSecond = 10000000;

/// An input container opened with libavformat: its streams, its packets in
/// the order of the file, seeking. Owned by one host; one thread at a time.
class CContainerReader {
public:
    ~CContainerReader();
    CContainerReader(const CContainerReader&) = delete;
    CContainerReader& operator=(const CContainerReader&) = delete;

    /// Opens `path` and reads what its streams are. A file that is no media
    /// FFmpeg knows, or that can't be read, is a failure that names it.
    static CHostStatus Open(const std::string& path, std::unique_ptr<CContainerReader>& out);

    const std::string& Path() const noexcept { return m_path; }
    unsigned StreamCount() const noexcept;
    const AVStream* Stream(unsigned index) const noexcept;
    /// The container format's short name ("matroska,webm", "mov,mp4,...").
    std::string FormatName() const;
    /// The length of the media, 0 when the container doesn't tell.
    REFERENCE_TIME Duration() const noexcept;
    /// When the video and audio begin, which a copy moves to 0 so that they
    /// start with the cues; 0 when they begin at or before 0 or there are
    /// none (a file of subtitles keeps its times).
    REFERENCE_TIME MediaStartTime() const noexcept;

    /// Skips the packets of every stream but those `keep` holds (indexed by
    /// stream), so that reading them costs next to nothing.
    void KeepOnly(const std::vector<bool>& keep);

    /// The next packet of a stream that is kept, in file order, with its
    /// stream index. `ended` is true and the packet empty at the end of the
    /// file. A read error is a failure that names the file, and so is a file
    /// that is cut short: one whose video and audio, when they are kept,
    /// end well before the length its header announces.
    CHostStatus Next(AVPacket* packet, bool& ended);

    /// Whether a packet has been read, so that reading again needs a new reader.
    bool Used() const noexcept { return m_used; }

    /// Moves the reading to the last key point at or before `time` (on the
    /// container's own time scale), as a player seeks. A container that
    /// can't seek stays where it is, so a caller that seeks before reading
    /// reads it from the start.
    void SeekTo(REFERENCE_TIME time);

private:
    CContainerReader(std::string path, AVFormatContext* context) : m_path(std::move(path)), m_context(context) {}

    /// The failure of a file whose media end early, or success.
    CHostStatus CheckCompleteInternal() const;

    const std::string m_path;
    AVFormatContext* m_context;
    // The latest end of a kept video or audio packet, 100 ns units.
    REFERENCE_TIME m_mediaEnd = 0;
    bool m_readsMedia = false;
    bool m_used = false;
};

/// A packet of libavcodec, freed with its scope.
class CPacket {
public:
    CPacket();
    ~CPacket();
    CPacket(const CPacket&) = delete;
    CPacket& operator=(const CPacket&) = delete;
    AVPacket* Get() const noexcept { return m_packet; }
    AVPacket* operator->() const noexcept { return m_packet; }

private:
    AVPacket* m_packet;
};
