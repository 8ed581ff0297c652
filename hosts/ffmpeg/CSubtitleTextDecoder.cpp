#include "hosts/ffmpeg/CSubtitleTextDecoder.h"

#include <cstring>
#include <utility>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include "hosts/ffmpeg/AssText.h"

namespace {

bool IsPlainText(AVCodecID codec) {
    return codec == AV_CODEC_ID_SUBRIP || codec == AV_CODEC_ID_TEXT;
}

/// Line ends as LF alone: Matroska's SubRip streams written by some tools
/// carry CR LF.
std::string WithLineFeeds(std::string text) {
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n')
            continue;
        out += text[i];
    }
    return out;
}

/// Frees a decoded subtitle however the decoding ends.
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

CSubtitleTextDecoder::~CSubtitleTextDecoder() {
    avcodec_free_context(&m_context);
}

bool CSubtitleTextDecoder::CanRead(const AVCodecParameters* parameters) {
    if (parameters == nullptr || parameters->codec_type != AVMEDIA_TYPE_SUBTITLE)
        return false;
    if (IsPlainText(parameters->codec_id))
        return true;
    const AVCodecDescriptor* descriptor = avcodec_descriptor_get(parameters->codec_id);
    return descriptor != nullptr && (descriptor->props & AV_CODEC_PROP_TEXT_SUB) != 0 &&
           avcodec_find_decoder(parameters->codec_id) != nullptr;
}

CHostStatus CSubtitleTextDecoder::Create(const std::string& file, const AVStream* stream,
                                         std::unique_ptr<CSubtitleTextDecoder>& out) {
    const AVCodecParameters* parameters = stream->codecpar;
    if (!CanRead(parameters))
        return CHostStatus::Failure(file, "stream #" + std::to_string(stream->index) + " (" +
                                              avcodec_get_name(parameters->codec_id) + ") holds no text subtitles");
    if (IsPlainText(parameters->codec_id)) {
        out.reset(new CSubtitleTextDecoder(file, nullptr));
        return {};
    }
    const AVCodec* codec = avcodec_find_decoder(parameters->codec_id);
    AVCodecContext* context = avcodec_alloc_context3(codec);
    if (context == nullptr)
        return CHostStatus::FromAvError(file, "can't make a subtitle decoder", AVERROR(ENOMEM));
    std::unique_ptr<CSubtitleTextDecoder> decoder(new CSubtitleTextDecoder(file, context));
    int result = avcodec_parameters_to_context(context, parameters);
    if (result >= 0) {
        context->pkt_timebase = stream->time_base;
        result = avcodec_open2(context, codec, nullptr);
    }
    if (result < 0)
        return CHostStatus::FromAvError(file,
                                        "can't open the " + std::string(codec->name) + " decoder of stream #" +
                                            std::to_string(stream->index),
                                        result);
    out = std::move(decoder);
    return {};
}

CHostStatus CSubtitleTextDecoder::Decode(const AVPacket* packet, std::string& text) {
    text.clear();
    if (m_context == nullptr) {
        text.assign(reinterpret_cast<const char*>(packet->data), static_cast<size_t>(packet->size));
        text = WithLineFeeds(std::move(text));
        return {};
    }
    SubtitleScope subtitle;
    int got = 0;
    // The decoder reads the packet only; 5.1 declares it without const.
    const int result = avcodec_decode_subtitle2(m_context, subtitle.Get(), &got, const_cast<AVPacket*>(packet));
    if (result < 0)
        return CHostStatus::FromAvError(m_file, "can't decode a subtitle packet", result);
    if (got == 0)
        return {};
    for (unsigned i = 0; i < subtitle.Get()->num_rects; ++i) {
        const AVSubtitleRect* rect = subtitle.Get()->rects[i];
        const std::string part = rect->ass != nullptr    ? PlainTextFromAssEvent(rect->ass)
                                 : rect->text != nullptr ? std::string(rect->text)
                                                         : std::string();
        if (part.empty())
            continue;
        if (!text.empty())
            text += '\n';
        text += part;
    }
    text = WithLineFeeds(std::move(text));
    return {};
}
