#include "hosts/ffmpeg/CContainerWriter.h"

#include <cstring>
#include <utility>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/mem.h>
}

#include "zqplatform/status.h"

namespace {

constexpr int kIoBufferSize = 1 << 16;
constexpr AVRational kUnits = {1, 10000000};
constexpr AVRational kMilliseconds = {1, 1000};
// The text codecs a subtitle stream may take, best first: SubRip keeps the
// text and its markup as they stand.
constexpr AVCodecID kSubtitleCodecs[] = {AV_CODEC_ID_SUBRIP, AV_CODEC_ID_TEXT, AV_CODEC_ID_MOV_TEXT,
                                         AV_CODEC_ID_WEBVTT, AV_CODEC_ID_ASS};

/// The formats a user can turn to when one can't carry text subtitles.
constexpr const char* kSubtitleFormatsHint = "Matroska (.mkv), MP4 (.mp4, .mov) and WebM (.webm) can";

AVCodecID ChooseSubtitleCodec(const AVOutputFormat* format) {
    for (AVCodecID codec : kSubtitleCodecs) {
        if (avformat_query_codec(format, codec, FF_COMPLIANCE_NORMAL) == 1)
            return codec;
    }
    return AV_CODEC_ID_NONE;
}

bool IsMp4Family(const AVOutputFormat* format) {
    const std::string name = format->name;
    return name == "mp4" || name == "mov" || name == "ipod" || name == "ismv" || name == "3gp" || name == "3g2";
}

std::string DescribeStream(const AVStream* stream) {
    return "stream #" + std::to_string(stream->index) + " (" +
           av_get_media_type_string(stream->codecpar->codec_type) + ", " +
           avcodec_get_name(stream->codecpar->codec_id) + ")";
}

}  // namespace

CContainerWriter::~CContainerWriter() {
    av_packet_free(&m_packet);
    avformat_free_context(m_context);
    if (m_io != nullptr) {
        av_freep(&m_io->buffer);
        avio_context_free(&m_io);
    }
}

CHostStatus CContainerWriter::ChooseFormat(const std::string& path, const std::string& formatName,
                                           const AVOutputFormat*& format) {
    format = nullptr;
    const AVOutputFormat* chosen = nullptr;
    if (!formatName.empty()) {
        chosen = av_guess_format(formatName.c_str(), nullptr, nullptr);
        if (chosen == nullptr)
            return CHostStatus::Failure(path, "FFmpeg knows no output format '" + formatName + "'");
    } else {
        chosen = av_guess_format(nullptr, path.c_str(), nullptr);
        if (chosen == nullptr)
            chosen = av_guess_format("matroska", nullptr, nullptr);
    }
    if (ChooseSubtitleCodec(chosen) == AV_CODEC_ID_NONE)
        return CHostStatus::Failure(path, std::string("the format '") + chosen->name + "' (" + chosen->long_name +
                                              ") can't carry text subtitles; " + kSubtitleFormatsHint);
    format = chosen;
    return {};
}

CHostStatus CContainerWriter::Create(const std::string& path, const AVOutputFormat* format, CByteSink& sink,
                                     std::unique_ptr<CContainerWriter>& out) {
    std::unique_ptr<CContainerWriter> writer(new CContainerWriter(path, sink));
    CHostStatus status = writer->OpenInternal(format);
    if (!status.Ok())
        return status;
    out = std::move(writer);
    return {};
}

CHostStatus CContainerWriter::OpenInternal(const AVOutputFormat* format) {
    m_packet = av_packet_alloc();
    if (m_packet == nullptr)
        return CHostStatus::FromAvError(m_path, "can't make the output", AVERROR(ENOMEM));
    int result = avformat_alloc_output_context2(&m_context, format, nullptr, m_path.c_str());
    if (result < 0)
        return CHostStatus::FromAvError(m_path, "can't make the output", result);
    auto* buffer = static_cast<unsigned char*>(av_malloc(kIoBufferSize));
    if (buffer != nullptr)
        m_io = avio_alloc_context(buffer, kIoBufferSize, 1, this, nullptr, WritePacket, Seek);
    if (m_io == nullptr) {
        av_free(buffer);
        return CHostStatus::FromAvError(m_path, "can't make the output", AVERROR(ENOMEM));
    }
    // Muxers mark a flush point at the end of each cluster or fragment; a
    // file has no use for writes that small, which cost a system call each.
    m_io->min_packet_size = kIoBufferSize;
    m_context->pb = m_io;
    m_context->flags |= AVFMT_FLAG_CUSTOM_IO;
    return {};
}

std::string CContainerWriter::FormatName() const {
    return m_context->oformat->name;
}

std::string CContainerWriter::SubtitleCodecName() const {
    return avcodec_get_name(ChooseSubtitleCodec(m_context->oformat));
}

bool CContainerWriter::CanCarry(const AVStream* input) const {
    return avformat_query_codec(m_context->oformat, input->codecpar->codec_id, FF_COMPLIANCE_NORMAL) != 0;
}

CHostStatus CContainerWriter::AddCopiedStream(const std::string& inputFile, const AVStream* input, int& index) {
    if (!CanCarry(input))
        return CHostStatus::Failure(inputFile, DescribeStream(input) + " can't go into a " + FormatName() + " file");
    AVStream* stream = avformat_new_stream(m_context, nullptr);
    if (stream == nullptr)
        return CHostStatus::FromAvError(m_path, "can't add a stream", AVERROR(ENOMEM));
    const int result = avcodec_parameters_copy(stream->codecpar, input->codecpar);
    if (result < 0)
        return CHostStatus::FromAvError(m_path, "can't add a stream", result);
    // The tag is the input format's name for the codec; the output's muxer
    // picks its own.
    stream->codecpar->codec_tag = 0;
    stream->time_base = input->time_base;
    stream->avg_frame_rate = input->avg_frame_rate;
    stream->r_frame_rate = input->r_frame_rate;
    stream->sample_aspect_ratio = input->sample_aspect_ratio;
    stream->disposition = input->disposition;
    av_dict_copy(&stream->metadata, input->metadata, 0);
    m_encoders.emplace_back();
    m_packets.push_back(0);
    ++m_copiedStreams;
    index = stream->index;
    return {};
}

CHostStatus CContainerWriter::AddSubtitleStream(const SubtitleStreamLabel& label, int& index) {
    std::unique_ptr<CSubtitleEncoder> encoder;
    CHostStatus status = CSubtitleEncoder::Create(m_path, ChooseSubtitleCodec(m_context->oformat), encoder);
    if (!status.Ok())
        return status;
    AVStream* stream = avformat_new_stream(m_context, nullptr);
    if (stream == nullptr)
        return CHostStatus::FromAvError(m_path, "can't add a stream", AVERROR(ENOMEM));
    status = encoder->DescribeStream(stream->codecpar);
    if (!status.Ok())
        return status;
    stream->time_base = kMilliseconds;
    if (!label.isoLang.empty())
        av_dict_set(&stream->metadata, "language", label.isoLang.c_str(), 0);
    if (!label.title.empty()) {
        av_dict_set(&stream->metadata, "title", label.title.c_str(), 0);
        // MP4 has no title of a track; players show its handler's name.
        if (IsMp4Family(m_context->oformat))
            av_dict_set(&stream->metadata, "handler_name", label.title.c_str(), 0);
    }
    m_encoders.push_back(std::move(encoder));
    m_packets.push_back(0);
    index = stream->index;
    return {};
}

CHostStatus CContainerWriter::Begin() {
    const int result = avformat_write_header(m_context, nullptr);
    if (result < 0)
        return FailedWriteInternal("can't write the container's header", result);
    m_begun = true;
    return {};
}

CHostStatus CContainerWriter::WriteCopied(int index, AVPacket* packet, AVRational timeBase, int64_t shift) {
    const int64_t shiftIn = av_rescale_q(shift, kUnits, timeBase);
    if (packet->pts != AV_NOPTS_VALUE)
        packet->pts -= shiftIn;
    if (packet->dts != AV_NOPTS_VALUE)
        packet->dts -= shiftIn;
    AVStream* stream = m_context->streams[index];
    av_packet_rescale_ts(packet, timeBase, stream->time_base);
    packet->stream_index = index;
    packet->pos = -1;
    const int result = WritePacketInternal(packet);
    if (result < 0)
        return FailedWriteInternal("can't write a packet of " + DescribeStream(stream), result);
    ++m_packets[static_cast<size_t>(index)];
    return {};
}

CHostStatus CContainerWriter::WriteCue(int index, int64_t start, int64_t stop, std::string_view text) {
    // The multiplexer's texts end with the line ends of their last line and
    // of the blank line after it; in a container a text ends with its last
    // character, as players expect.
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r'))
        text.remove_suffix(1);
    AVStream* stream = m_context->streams[index];
    CSubtitleEncoder& encoder = *m_encoders[static_cast<size_t>(index)];
    const int64_t duration = stop > start ? stop - start : 0;
    std::span<const uint8_t> payload;
    CHostStatus status = encoder.Encode(text, av_rescale_q(duration, kUnits, kMilliseconds), payload);
    if (!status.Ok() || payload.empty())
        return status;
    // The packet only lends the payload: written at once, it needs no copy;
    // the interleaving muxer copies what it keeps.
    av_packet_unref(m_packet);
    m_packet->data = const_cast<uint8_t*>(payload.data());
    m_packet->size = static_cast<int>(payload.size());
    m_packet->pts = av_rescale_q(start, kUnits, stream->time_base);
    m_packet->dts = m_packet->pts;
    m_packet->duration = av_rescale_q(duration, kUnits, stream->time_base);
    m_packet->stream_index = index;
    m_packet->flags |= AV_PKT_FLAG_KEY;
    const int result = WritePacketInternal(m_packet);
    if (result < 0)
        return FailedWriteInternal("can't write a cue of " + DescribeStream(stream), result);
    ++m_packets[static_cast<size_t>(index)];
    return {};
}

int CContainerWriter::WritePacketInternal(AVPacket* packet) {
    // Cues alone come in time order already; with media the muxer
    // interleaves what comes in the order of the input file.
    if (m_copiedStreams == 0) {
        const int result = av_write_frame(m_context, packet);
        av_packet_unref(packet);
        return result;
    }
    const int result = av_interleaved_write_frame(m_context, packet);
    av_packet_unref(packet);
    return result;
}

CHostStatus CContainerWriter::Finish() {
    if (!m_begun)
        return CHostStatus::Failure(m_path, "the container has no header");
    int result = av_write_trailer(m_context);
    if (result >= 0) {
        avio_flush(m_io);
        result = m_io->error;
    }
    if (result < 0)
        return FailedWriteInternal("can't write the end of the container", result);
    return {};
}

int64_t CContainerWriter::PacketsWritten(int index) const {
    return index >= 0 && static_cast<size_t>(index) < m_packets.size() ? m_packets[static_cast<size_t>(index)] : 0;
}

CHostStatus CContainerWriter::FailedWriteInternal(const std::string& what, int error) const {
    // The muxer only sees an I/O error; the sink knows why (a full disk).
    if (FAILED(m_sinkStatus))
        return CHostStatus::FromStatus(m_path, what, m_sinkStatus);
    return CHostStatus::FromAvError(m_path, what, error);
}

int CContainerWriter::WritePacket(void* opaque, uint8_t* data, int size) {
    auto* writer = static_cast<CContainerWriter*>(opaque);
    if (FAILED(writer->m_sinkStatus))
        return AVERROR(EIO);
    const HRESULT hr = writer->m_sink.Write(data, static_cast<size_t>(size));
    if (FAILED(hr)) {
        writer->m_sinkStatus = hr;
        return hr == HRESULT_FROM_WIN32(ERROR_DISK_FULL) ? AVERROR(ENOSPC) : AVERROR(EIO);
    }
    return size;
}

int64_t CContainerWriter::Seek(void* opaque, int64_t offset, int whence) {
    auto* writer = static_cast<CContainerWriter*>(opaque);
    CByteSink& sink = writer->m_sink;
    if ((whence & AVSEEK_SIZE) != 0)
        return sink.Length();
    int64_t target = offset;
    switch (whence & ~AVSEEK_FORCE) {
    case SEEK_SET:
        break;
    case SEEK_CUR:
        target += sink.Position();
        break;
    case SEEK_END:
        target += sink.Length();
        break;
    default:
        return AVERROR(EINVAL);
    }
    const HRESULT hr = sink.SeekTo(target);
    if (FAILED(hr)) {
        writer->m_sinkStatus = hr;
        return AVERROR(EIO);
    }
    return target;
}
