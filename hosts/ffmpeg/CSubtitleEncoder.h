// Cue texts into the packets of an output subtitle codec.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "hosts/ffmpeg/CHostStatus.h"

extern "C" {
#include <libavcodec/codec_id.h>
}

struct AVCodecContext;
struct AVCodecParameters;

/// Turns cue texts as the multiplexer sends them (UTF-8, with SubRip's own
/// markup) into the packets of one output subtitle codec. SubRip and plain
/// text carry the text as it stands. Any other text codec (mov_text for MP4,
/// WebVTT for WebM, ASS) goes through libavcodec as FFmpeg converts SubRip:
/// the SubRip decoder reads the markup, the codec's encoder writes it. Owned
/// by the container writer; one thread at a time.
class CSubtitleEncoder {
public:
    ~CSubtitleEncoder();
    CSubtitleEncoder(const CSubtitleEncoder&) = delete;
    CSubtitleEncoder& operator=(const CSubtitleEncoder&) = delete;

    /// An encoder for `codec`; a failure names `file`, the output.
    static CHostStatus Create(const std::string& file, AVCodecID codec, std::unique_ptr<CSubtitleEncoder>& out);

    AVCodecID Codec() const noexcept { return m_codec; }

    /// Sets the codec of a new stream's parameters, with the encoder's
    /// extradata (an MP4 text track's sample description).
    CHostStatus DescribeStream(AVCodecParameters* parameters) const;

    /// The payload for one cue that lasts `durationMs`: `text` itself for
    /// SubRip and plain text, else the encoder's output, which stays valid
    /// until the next call. Empty when the cue shows nothing.
    CHostStatus Encode(std::string_view text, int64_t durationMs, std::span<const uint8_t>& payload);

private:
    CSubtitleEncoder(std::string file, AVCodecID codec) : m_file(std::move(file)), m_codec(codec) {}
    CHostStatus OpenCodecsInternal();

    const std::string m_file;
    const AVCodecID m_codec;
    // Both null when the text is carried as it stands.
    AVCodecContext* m_subRipDecoder = nullptr;
    AVCodecContext* m_encoder = nullptr;
    std::vector<uint8_t> m_buffer;
};
