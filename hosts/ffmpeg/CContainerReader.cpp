#include "hosts/ffmpeg/CContainerReader.h"

#include <algorithm>
#include <cstdio>
#include <new>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace {

constexpr AVRational kUnits = {1, static_cast<int>(kUnitsPerSecond)};
// How far the media may end before the announced length, as a part of it
// and at least, before the file counts as cut short: the streams of a whole
// file end a frame or a few audio blocks apart from it.
constexpr double kShortfallPart = 0.05;
constexpr REFERENCE_TIME kShortfallAtLeast = kUnitsPerSecond;

bool IsMedia(const AVStream* stream) {
    const AVMediaType type = stream->codecpar->codec_type;
    return type == AVMEDIA_TYPE_VIDEO || type == AVMEDIA_TYPE_AUDIO;
}

std::string Seconds(REFERENCE_TIME units) {
    char text[32];
    std::snprintf(text, sizeof text, "%.2f s", static_cast<double>(units) / static_cast<double>(kUnitsPerSecond));
    return text;
}

}  // namespace

CPacket::CPacket() : m_packet(av_packet_alloc()) {
    if (m_packet == nullptr)
        throw std::bad_alloc();
}

CPacket::~CPacket() {
    av_packet_free(&m_packet);
}

CContainerReader::~CContainerReader() {
    avformat_close_input(&m_context);
}

CHostStatus CContainerReader::Open(const std::string& path, std::unique_ptr<CContainerReader>& out) {
    AVFormatContext* context = nullptr;
    int result = avformat_open_input(&context, path.c_str(), nullptr, nullptr);
    if (result < 0)
        return CHostStatus::FromAvError(path, "can't open it as media", result);
    std::unique_ptr<CContainerReader> reader(new CContainerReader(path, context));
    // FFmpeg takes almost any bytes for some format; a guess it rates this
    // low is no media.
    if (context->probe_score <= AVPROBE_SCORE_RETRY)
        return CHostStatus::Failure(path, std::string("can't open it as media: FFmpeg knows no format of it (its best "
                                                      "guess, '") +
                                              context->iformat->name + "', scores " +
                                              std::to_string(context->probe_score) + " of " +
                                              std::to_string(AVPROBE_SCORE_MAX) + ")");
    result = avformat_find_stream_info(context, nullptr);
    if (result < 0)
        return CHostStatus::FromAvError(path, "can't read what its streams are", result);
    out = std::move(reader);
    return {};
}

unsigned CContainerReader::StreamCount() const noexcept {
    return m_context->nb_streams;
}

const AVStream* CContainerReader::Stream(unsigned index) const noexcept {
    return index < m_context->nb_streams ? m_context->streams[index] : nullptr;
}

std::string CContainerReader::FormatName() const {
    return m_context->iformat != nullptr ? m_context->iformat->name : "";
}

REFERENCE_TIME CContainerReader::Duration() const noexcept {
    if (m_context->duration == AV_NOPTS_VALUE || m_context->duration <= 0)
        return 0;
    return av_rescale_q(m_context->duration, AV_TIME_BASE_Q, kUnits);
}

REFERENCE_TIME CContainerReader::MediaStartTime() const noexcept {
    REFERENCE_TIME start = INT64_MAX;
    for (unsigned i = 0; i < m_context->nb_streams; ++i) {
        const AVStream* stream = m_context->streams[i];
        const AVMediaType type = stream->codecpar->codec_type;
        if ((type != AVMEDIA_TYPE_VIDEO && type != AVMEDIA_TYPE_AUDIO) || stream->start_time == AV_NOPTS_VALUE)
            continue;
        start = std::min(start, av_rescale_q(stream->start_time, stream->time_base, kUnits));
    }
    return start == INT64_MAX || start < 0 ? 0 : start;
}

void CContainerReader::KeepOnly(const std::vector<bool>& keep) {
    m_readsMedia = false;
    for (unsigned i = 0; i < m_context->nb_streams; ++i) {
        const bool kept = i < keep.size() && keep[i];
        m_context->streams[i]->discard = kept ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
        m_readsMedia = m_readsMedia || (kept && IsMedia(m_context->streams[i]));
    }
}

CHostStatus CContainerReader::CheckCompleteInternal() const {
    const REFERENCE_TIME announced = Duration();
    if (!m_readsMedia || announced == 0)
        return {};
    const auto shortfall = std::max(static_cast<REFERENCE_TIME>(static_cast<double>(announced) * kShortfallPart),
                                    kShortfallAtLeast);
    if (m_mediaEnd + shortfall >= announced + MediaStartTime())
        return {};
    return CHostStatus::Failure(m_path, "its media end after " + Seconds(m_mediaEnd) + " of the " + Seconds(announced) +
                                            " it announces: the file is cut short");
}

CHostStatus CContainerReader::Next(AVPacket* packet, bool& ended) {
    ended = false;
    m_used = true;
    av_packet_unref(packet);
    const int result = av_read_frame(m_context, packet);
    if (result == AVERROR_EOF) {
        // The demuxers report a file that stops inside a packet as an error
        // of the byte stream, not as its end.
        if (m_context->pb != nullptr && m_context->pb->error < 0)
            return CHostStatus::FromAvError(m_path, "can't read it to the end", m_context->pb->error);
        ended = true;
        return CheckCompleteInternal();
    }
    if (result < 0)
        return CHostStatus::FromAvError(m_path, "can't read it to the end", result);
    const AVStream* stream = m_context->streams[packet->stream_index];
    if (IsMedia(stream) && packet->pts != AV_NOPTS_VALUE)
        m_mediaEnd = std::max(m_mediaEnd, av_rescale_q(packet->pts + std::max<int64_t>(packet->duration, 0),
                                                       stream->time_base, kUnits));
    return {};
}

void CContainerReader::SeekTo(REFERENCE_TIME time) {
    const int64_t target = av_rescale_q(time, kUnits, AV_TIME_BASE_Q);
    avformat_seek_file(m_context, -1, INT64_MIN, target, target, 0);
}
