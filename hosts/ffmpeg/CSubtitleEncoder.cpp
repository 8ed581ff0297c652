#include "hosts/ffmpeg/CSubtitleEncoder.h"

#include <cstring>
#include <utility>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/mem.h>
}

namespace {

constexpr AVRational kMilliseconds = {1, 1000};
// Room for what an encoder adds to a text: a length, style records, escapes.
constexpr size_t kEncodedOverhead = 4096;

bool CarriesTextAsItStands(AVCodecID codec) {
    return codec == AV_CODEC_ID_SUBRIP || codec == AV_CODEC_ID_TEXT;
}

/// Frees a decoded subtitle however the encoding ends.
class SubtitleScope {
public:
    SubtitleScope() { std::memset(&m_subtitle, 0, sizeof m_subtitle); }
    ~SubtitleScope() { avsubtitle_free(&m_subtitle); }
    SubtitleScope(const SubtitleScope&) = delete;
    SubtitleScope& operator=(const SubtitleScope&) = delete;
    AVSubtitle* Get() { return &m_subtitle; }

private:
    AVSubtitle m_subtitle;
};

}  // namespace

CSubtitleEncoder::~CSubtitleEncoder() {
    avcodec_free_context(&m_encoder);
    avcodec_free_context(&m_subRipDecoder);
}

CHostStatus CSubtitleEncoder::Create(const std::string& file, AVCodecID codec, std::unique_ptr<CSubtitleEncoder>& out) {
    std::unique_ptr<CSubtitleEncoder> encoder(new CSubtitleEncoder(file, codec));
    if (!CarriesTextAsItStands(codec)) {
        CHostStatus status = encoder->OpenCodecsInternal();
        if (!status.Ok())
            return status;
    }
    out = std::move(encoder);
    return {};
}

CHostStatus CSubtitleEncoder::OpenCodecsInternal() {
    const AVCodec* decoder = avcodec_find_decoder(AV_CODEC_ID_SUBRIP);
    const AVCodec* encoder = avcodec_find_encoder(m_codec);
    if (decoder == nullptr || encoder == nullptr)
        return CHostStatus::Failure(m_file, std::string("this FFmpeg has no ") + avcodec_get_name(m_codec) +
                                                " encoder, which the output format needs for its subtitles");
    m_subRipDecoder = avcodec_alloc_context3(decoder);
    m_encoder = avcodec_alloc_context3(encoder);
    if (m_subRipDecoder == nullptr || m_encoder == nullptr)
        return CHostStatus::FromAvError(m_file, "can't make a subtitle encoder", AVERROR(ENOMEM));
    m_subRipDecoder->pkt_timebase = kMilliseconds;
    int result = avcodec_open2(m_subRipDecoder, decoder, nullptr);
    if (result < 0)
        return CHostStatus::FromAvError(m_file, "can't open the SubRip decoder", result);
    // The encoder styles its output after the decoder's ASS header, as
    // FFmpeg's own conversion hands it on.
    m_encoder->time_base = kMilliseconds;
    if (m_subRipDecoder->subtitle_header_size > 0) {
        const auto size = static_cast<size_t>(m_subRipDecoder->subtitle_header_size);
        m_encoder->subtitle_header = static_cast<uint8_t*>(av_mallocz(size + 1));
        if (m_encoder->subtitle_header == nullptr)
            return CHostStatus::FromAvError(m_file, "can't make a subtitle encoder", AVERROR(ENOMEM));
        std::memcpy(m_encoder->subtitle_header, m_subRipDecoder->subtitle_header, size);
        m_encoder->subtitle_header_size = m_subRipDecoder->subtitle_header_size;
    }
    result = avcodec_open2(m_encoder, encoder, nullptr);
    if (result < 0)
        return CHostStatus::FromAvError(m_file, std::string("can't open the ") + encoder->name + " encoder", result);
    return {};
}

CHostStatus CSubtitleEncoder::DescribeStream(AVCodecParameters* parameters) const {
    if (m_encoder != nullptr) {
        const int result = avcodec_parameters_from_context(parameters, m_encoder);
        if (result < 0)
            return CHostStatus::FromAvError(m_file, "can't describe a subtitle stream", result);
        return {};
    }
    parameters->codec_type = AVMEDIA_TYPE_SUBTITLE;
    parameters->codec_id = m_codec;
    return {};
}

CHostStatus CSubtitleEncoder::Encode(std::string_view text, int64_t durationMs, std::span<const uint8_t>& payload) {
    payload = {};
    if (m_encoder == nullptr) {
        payload = {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
        return {};
    }
    AVPacket* source = av_packet_alloc();
    if (source == nullptr || av_new_packet(source, static_cast<int>(text.size())) < 0) {
        av_packet_free(&source);
        return CHostStatus::FromAvError(m_file, "can't encode a cue", AVERROR(ENOMEM));
    }
    std::memcpy(source->data, text.data(), text.size());
    source->pts = 0;
    source->duration = durationMs;
    SubtitleScope subtitle;
    int got = 0;
    int result = avcodec_decode_subtitle2(m_subRipDecoder, subtitle.Get(), &got, source);
    av_packet_free(&source);
    if (result < 0)
        return CHostStatus::FromAvError(m_file, "can't read a cue's SubRip markup", result);
    if (got == 0 || subtitle.Get()->num_rects == 0)
        return {};
    m_buffer.resize(text.size() * 4 + kEncodedOverhead);
    result = avcodec_encode_subtitle(m_encoder, m_buffer.data(), static_cast<int>(m_buffer.size()), subtitle.Get());
    if (result < 0)
        return CHostStatus::FromAvError(m_file, std::string("can't encode a cue as ") + avcodec_get_name(m_codec),
                                        result);
    payload = {m_buffer.data(), static_cast<size_t>(result)};
    return {};
}
