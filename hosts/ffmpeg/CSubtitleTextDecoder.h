// Cue texts from the packets of a container's text subtitle stream.
#pragma once

#include <memory>
#include <string>

#include "hosts/ffmpeg/CHostStatus.h"

struct AVCodecContext;
struct AVCodecParameters;
struct AVPacket;
struct AVStream;

/// Turns the packets of one text subtitle stream into cue texts: plain UTF-8
/// with LF line ends. SubRip and plain text packets carry the text as it
/// stands; every other text codec (mov_text, WebVTT, ASS, ...) goes through
/// its libavcodec decoder, whose ASS events give the plain text. Owned by a
/// demultiplexer host; one thread at a time.
class CSubtitleTextDecoder {
public:
    ~CSubtitleTextDecoder();
    CSubtitleTextDecoder(const CSubtitleTextDecoder&) = delete;
    CSubtitleTextDecoder& operator=(const CSubtitleTextDecoder&) = delete;

    /// Whether a stream with these parameters holds text subtitles that can
    /// be read: SubRip, plain text, or a text codec that libavcodec decodes.
    /// Bitmap subtitles and everything else can't.
    static bool CanRead(const AVCodecParameters* parameters);

    /// A decoder for `stream` of the container `file` (named in failures),
    /// which CanRead accepts.
    static CHostStatus Create(const std::string& file, const AVStream* stream,
                              std::unique_ptr<CSubtitleTextDecoder>& out);

    /// The text that `packet` shows; empty when it shows nothing, as the
    /// packets that fill the gaps between an MP4 file's cues. A packet the
    /// decoder refuses is a failure that names the file.
    CHostStatus Decode(const AVPacket* packet, std::string& text);

private:
    CSubtitleTextDecoder(std::string file, AVCodecContext* context) : m_file(std::move(file)), m_context(context) {}

    const std::string m_file;
    // Null for SubRip and plain text, which need no decoding.
    AVCodecContext* m_context;
};
