#include "hosts/ffmpeg/CDmxHost.h"

#include <algorithm>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace {

constexpr AVRational kUnits = {1, static_cast<int>(kUnitsPerSecond)};

std::string MetadataValue(const AVDictionary* metadata, const char* key) {
    const AVDictionaryEntry* entry = av_dict_get(metadata, key, nullptr, 0);
    return entry != nullptr ? entry->value : "";
}

/// The title of a stream: its own, else the handler's name that an MP4
/// track carries in its place, unless that is FFmpeg's stock one.
std::string StreamTitle(const AVDictionary* metadata) {
    std::string title = MetadataValue(metadata, "title");
    if (!title.empty())
        return title;
    title = MetadataValue(metadata, "handler_name");
    return title == "SubtitleHandler" ? std::string() : title;
}

/// A language code as IsoLang holds it: "und" (undetermined) says nothing.
std::string StreamLanguage(const AVDictionary* metadata) {
    const std::string language = MetadataValue(metadata, "language");
    return language == "und" ? std::string() : language;
}

std::string StreamName(const ContainerSubtitleStream& stream) {
    return "stream #" + std::to_string(stream.index) + " (" + stream.codec + ")";
}

}  // namespace

CHostStatus CDmxHost::Open(const std::string& path, std::unique_ptr<CDmxHost>& out) {
    std::unique_ptr<CContainerReader> reader;
    CHostStatus status = CContainerReader::Open(path, reader);
    if (!status.Ok())
        return status;
    std::unique_ptr<CDmxHost> host(new CDmxHost(std::move(reader)));
    host->m_packet = std::make_unique<CPacket>();
    std::vector<bool> keep(host->m_reader->StreamCount(), false);
    for (unsigned i = 0; i < host->m_reader->StreamCount(); ++i) {
        const AVStream* stream = host->m_reader->Stream(i);
        if (stream->codecpar->codec_type != AVMEDIA_TYPE_SUBTITLE)
            continue;
        ContainerSubtitleStream entry;
        entry.index = static_cast<int>(i);
        entry.codec = avcodec_get_name(stream->codecpar->codec_id);
        entry.label.isoLang = StreamLanguage(stream->metadata);
        entry.label.title = StreamTitle(stream->metadata);
        entry.text = CSubtitleTextDecoder::CanRead(stream->codecpar);
        std::unique_ptr<CSubtitleTextDecoder> decoder;
        if (entry.text) {
            status = CSubtitleTextDecoder::Create(path, stream, decoder);
            if (!status.Ok())
                return status;
            keep[i] = true;
        }
        host->m_streams.push_back(std::move(entry));
        host->m_decoders.push_back(std::move(decoder));
    }
    // Only the text streams are read; the media's packets are skipped.
    host->m_reader->KeepOnly(keep);
    out = std::move(host);
    return {};
}

ContainerSubtitleStream* CDmxHost::FindStreamInternal(int index) {
    for (ContainerSubtitleStream& stream : m_streams) {
        if (stream.index == index)
            return &stream;
    }
    return nullptr;
}

CHostStatus CDmxHost::Announce(IZQDmxSubtitleControl* dmx) {
    m_dmx = dmx;
    for (ContainerSubtitleStream& stream : m_streams) {
        if (!stream.text)
            continue;
        const CSubtitleMediaType type(stream.label);
        const HRESULT hr = dmx->AddTrack(type.Get(), &stream.trackid);
        if (FAILED(hr))
            return CHostStatus::FromStatus(Path(), "the demultiplexer refuses " + StreamName(stream), hr);
    }
    return {};
}

CHostStatus CDmxHost::Start(REFERENCE_TIME from) {
    m_from = from;
    if (from != 0)
        m_reader->SeekTo(from);
    for (const ContainerSubtitleStream& stream : m_streams) {
        if (stream.trackid == 0)
            continue;
        HRESULT hr = S_OK;
        // A seek: what the streams held before goes, and a new segment
        // begins at the point sought.
        if (from != 0) {
            hr = m_dmx->BeginFlush(stream.trackid);
            if (SUCCEEDED(hr))
                hr = m_dmx->EndFlush(stream.trackid);
        }
        if (SUCCEEDED(hr))
            hr = m_dmx->NewSegment(stream.trackid, from, INT64_MAX, 1.0);
        if (FAILED(hr))
            return CHostStatus::FromStatus(Path(), "can't start " + StreamName(stream), hr);
    }
    return {};
}

CHostStatus CDmxHost::ReadSampleInternal(const AVPacket* packet, std::string& text, REFERENCE_TIME& start,
                                         REFERENCE_TIME& stop) {
    const size_t entry = static_cast<size_t>(FindStreamInternal(packet->stream_index) - m_streams.data());
    const AVRational timeBase = m_reader->Stream(static_cast<unsigned>(packet->stream_index))->time_base;
    const int64_t stamp = packet->pts != AV_NOPTS_VALUE ? packet->pts : packet->dts;
    start = stamp != AV_NOPTS_VALUE ? av_rescale_q(stamp, timeBase, kUnits) : 0;
    stop = start + (packet->duration > 0 ? av_rescale_q(packet->duration, timeBase, kUnits) : 0);
    return m_decoders[entry]->Decode(packet, text);
}

CHostStatus CDmxHost::DeliverInternal(const AVPacket* packet) {
    const ContainerSubtitleStream* stream = FindStreamInternal(packet->stream_index);
    if (stream == nullptr || stream->trackid == 0)
        return {};
    std::string text;
    REFERENCE_TIME start = 0;
    REFERENCE_TIME stop = 0;
    CHostStatus status = ReadSampleInternal(packet, text, start, stop);
    // What ended before the point sought stays out, as a player shows it.
    if (!status.Ok() || text.empty() || stop <= m_from)
        return status;
    m_lastStop = std::max(m_lastStop, stop);
    const HRESULT hr = m_dmx->Receive(stream->trackid, start - m_from, stop - m_from,
                                      reinterpret_cast<BYTE*>(text.data()), static_cast<LONG>(text.size()));
    if (FAILED(hr))
        return CHostStatus::FromStatus(Path(), "the demultiplexer refuses a sample of " + StreamName(*stream), hr);
    return {};
}

CHostStatus CDmxHost::FeedUntil(REFERENCE_TIME horizon, bool& ended) {
    while (!m_ended) {
        if (!m_pending) {
            bool atEnd = false;
            CHostStatus status = m_reader->Next(m_packet->Get(), atEnd);
            if (!status.Ok())
                return status;
            if (atEnd) {
                m_ended = true;
                break;
            }
            m_pending = true;
        }
        const AVPacket* packet = m_packet->Get();
        const AVRational timeBase = m_reader->Stream(static_cast<unsigned>(packet->stream_index))->time_base;
        const int64_t stamp = packet->pts != AV_NOPTS_VALUE ? packet->pts : packet->dts;
        if (stamp != AV_NOPTS_VALUE && av_rescale_q(stamp, timeBase, kUnits) > horizon)
            break;
        m_pending = false;
        CHostStatus status = DeliverInternal(packet);
        if (!status.Ok())
            return status;
    }
    if (m_ended && !m_endsSent) {
        m_endsSent = true;
        for (const ContainerSubtitleStream& stream : m_streams) {
            if (stream.trackid != 0)
                m_dmx->EndOfStream(stream.trackid);
        }
    }
    ended = m_ended;
    return {};
}

CHostStatus CDmxHost::CountCues(std::vector<int64_t>& counts) {
    counts.assign(m_streams.size(), 0);
    for (;;) {
        bool atEnd = false;
        CHostStatus status = m_reader->Next(m_packet->Get(), atEnd);
        if (!status.Ok() || atEnd)
            return status;
        const ContainerSubtitleStream* stream = FindStreamInternal(m_packet->Get()->stream_index);
        if (stream == nullptr || !stream->text)
            continue;
        std::string text;
        REFERENCE_TIME start = 0;
        REFERENCE_TIME stop = 0;
        status = ReadSampleInternal(m_packet->Get(), text, start, stop);
        if (!status.Ok())
            return status;
        if (!text.empty() && stop > start)
            ++counts[static_cast<size_t>(stream - m_streams.data())];
    }
}
