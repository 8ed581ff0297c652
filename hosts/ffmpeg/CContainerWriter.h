// An output container written with libavformat.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "hosts/ffmpeg/CByteSink.h"
#include "hosts/ffmpeg/CHostStatus.h"
#include "hosts/ffmpeg/CSubtitleEncoder.h"
#include "hosts/ffmpeg/CSubtitleMediaType.h"

extern "C" {
#include <libavutil/rational.h>
}

struct AVFormatContext;
struct AVIOContext;
struct AVOutputFormat;
struct AVPacket;
struct AVStream;

/// An output container written with libavformat into a byte sink: streams
/// copied from an input without re-encoding, and subtitle streams whose cues
/// come as texts. The subtitle codec is the first one the format takes of
/// SubRip (Matroska's S_TEXT/UTF8), plain text, mov_text (MP4), WebVTT (WebM)
/// and ASS. Owned by the multiplexing session, which keeps the sink alive
/// longer; one thread at a time.
class CContainerWriter {
public:
    ~CContainerWriter();
    CContainerWriter(const CContainerWriter&) = delete;
    CContainerWriter& operator=(const CContainerWriter&) = delete;

    /// The output format of `path`: `formatName` (FFmpeg's short name, such
    /// as "matroska", "mp4", "webm") when given, else the one the name's
    /// extension tells, else Matroska. Refuses an unknown format name, and a
    /// format that can carry no text subtitles.
    static CHostStatus ChooseFormat(const std::string& path, const std::string& formatName,
                                    const AVOutputFormat*& format);
    /// A writer of `path` in `format` (from ChooseFormat) into `sink`.
    static CHostStatus Create(const std::string& path, const AVOutputFormat* format, CByteSink& sink,
                              std::unique_ptr<CContainerWriter>& out);

    /// The format's short name and its subtitle codec's name ("subrip").
    std::string FormatName() const;
    std::string SubtitleCodecName() const;

    /// Whether the format can take a stream like `input`: FFmpeg knows the
    /// codec for it, or doesn't know and lets it try.
    bool CanCarry(const AVStream* input) const;
    /// Adds a stream that takes `input`'s packets as they stand, with its
    /// metadata and dispositions. Refuses a codec the format can't carry,
    /// naming the stream of `inputFile`.
    CHostStatus AddCopiedStream(const std::string& inputFile, const AVStream* input, int& index);
    /// Adds a subtitle stream with the language and title of `label`.
    CHostStatus AddSubtitleStream(const SubtitleStreamLabel& label, int& index);

    /// Writes the container's header: after the last stream, before the first packet.
    CHostStatus Begin();
    /// Writes a copied packet, its times in `timeBase` moved back by `shift`
    /// (100 ns units). Takes the packet's data and leaves it empty.
    CHostStatus WriteCopied(int index, AVPacket* packet, AVRational timeBase, int64_t shift);
    /// Writes one cue, without the line ends at the end of its text; a cue
    /// that shows nothing gets no packet.
    CHostStatus WriteCue(int index, int64_t start, int64_t stop, std::string_view text);
    /// Writes the end of the container and everything still buffered.
    CHostStatus Finish();

    /// Packets written into each stream so far.
    int64_t PacketsWritten(int index) const;

private:
    CContainerWriter(std::string path, CByteSink& sink) : m_path(std::move(path)), m_sink(sink) {}
    CHostStatus OpenInternal(const AVOutputFormat* format);
    CHostStatus FailedWriteInternal(const std::string& what, int error) const;
    /// Hands a packet to the muxer, which takes its data; an AVERROR or 0.
    int WritePacketInternal(AVPacket* packet);
    static int WritePacket(void* opaque, uint8_t* data, int size);
    static int64_t Seek(void* opaque, int64_t offset, int whence);

    const std::string m_path;
    CByteSink& m_sink;
    AVFormatContext* m_context = nullptr;
    AVIOContext* m_io = nullptr;
    // Indexed by stream: the encoder of a subtitle stream, null for a copy.
    std::vector<std::unique_ptr<CSubtitleEncoder>> m_encoders;
    std::vector<int64_t> m_packets;
    size_t m_copiedStreams = 0;
    // The packet of the cue being written, kept from one cue to the next.
    AVPacket* m_packet = nullptr;
    // The sink's first failure, which the muxer only sees as an I/O error.
    HRESULT m_sinkStatus = S_OK;
    bool m_begun = false;
};
