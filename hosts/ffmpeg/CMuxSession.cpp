#include "hosts/ffmpeg/CMuxSession.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <new>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include "hosts/common/ModuleObjects.h"
#include "hosts/ffmpeg/CContainerReader.h"
#include "hosts/ffmpeg/CContainerWriter.h"
#include "hosts/ffmpeg/CCueCensus.h"
#include "hosts/ffmpeg/CCueInterleaver.h"
#include "hosts/ffmpeg/COutputFile.h"
#include "zqplatform/bstr.h"
#include "zqplatform/status.h"
#include "zqplatform/utf.h"

namespace {

constexpr AVRational kUnits = {1, static_cast<int>(kUnitsPerSecond)};
// How long the writer waits for the pump before it looks at Ctrl-C again.
constexpr auto kPollPeriod = std::chrono::milliseconds(100);
constexpr int kPerMille = 1000;

/// The name under which two spellings of one file compare equal.
std::filesystem::path SameFileKey(const std::string& path) {
    std::error_code ignored;
    const std::filesystem::path canonical = std::filesystem::weakly_canonical(path, ignored);
    return canonical.empty() ? std::filesystem::path(path) : canonical;
}

CHostStatus Interrupted(const std::string& output) {
    return CHostStatus::Failure(output, "interrupted; nothing was written");
}

/// A media packet read ahead of the writer, with its time on the cues' scale.
struct PendingMedia {
    CPacket packet;
    int64_t time = 0;
    bool ended = false;
};

}  // namespace

CMuxSession::CMuxSession() = default;

CMuxSession::~CMuxSession() {
    // The object stops before the host it calls goes.
    if (m_control) {
        m_control->Stop();
        m_control->SetCallback(nullptr);
    }
}

bool CMuxSession::InterruptedInternal() const {
    return m_hooks->interrupted && m_hooks->interrupted();
}

void CMuxSession::ReportProgressInternal(double fraction) {
    const int perMille = static_cast<int>(std::clamp(fraction, 0.0, 1.0) * kPerMille);
    // A writing that starts again doesn't take the progress back.
    if (perMille <= m_reportedPerMille || !m_hooks->progress)
        return;
    m_reportedPerMille = perMille;
    m_hooks->progress(static_cast<double>(perMille) / kPerMille);
}

CHostStatus CMuxSession::Run(const MuxRequest& request, const MuxHooks& hooks, MuxSummary& summary) {
    m_hooks = &hooks;
    m_output = request.output;
    m_tracksInOrder.assign(request.subtitles.size(), true);
    summary = MuxSummary{};
    summary.output = request.output;
    try {
        CHostStatus status = CheckNamesInternal(request);
        if (status.Ok())
            status = CContainerWriter::ChooseFormat(request.output, request.format, m_format);
        if (status.Ok() && !request.media.empty())
            status = CContainerReader::Open(request.media, m_reader);
        if (status.Ok())
            status = LoadSubtitlesInternal(request);
        // The progress of cues alone is counted in cues, which takes a run
        // of the pump of its own; it also tells which tracks are out of order.
        if (status.Ok() && !m_reader && m_hooks->progress)
            status = CountCuesInternal();
        // A track found out of order while it is written makes the writing
        // start again, with that track kept whole; once per track at most.
        bool again = true;
        while (status.Ok() && again) {
            status = MakeStreamsInternal(request, summary);
            if (status.Ok())
                status = WriteInternal(request, again);
        }
        if (!status.Ok()) {
            if (m_file)
                m_file->Abandon();
            return status;
        }
    } catch (const std::bad_alloc&) {
        if (m_file)
            m_file->Abandon();
        return CHostStatus::Failure(request.output, "out of memory");
    }
    summary.format = m_writer ? std::string(m_format->name) : std::string();
    summary.duration = std::max(m_reader ? m_reader->Duration() : 0, m_lastCueStop);
    for (MuxStream& stream : summary.streams)
        stream.packets = m_writer->PacketsWritten(stream.index);
    ReportProgressInternal(1.0);
    return {};
}

CHostStatus CMuxSession::CheckNamesInternal(const MuxRequest& request) const {
    if (request.subtitles.empty())
        return CHostStatus::Failure(request.output, "no subtitle file to add");
    const std::filesystem::path output = SameFileKey(request.output);
    if (!request.media.empty() && SameFileKey(request.media) == output)
        return CHostStatus::Failure(request.output, "is also the input media; the output needs a name of its own");
    for (size_t i = 0; i < request.subtitles.size(); ++i) {
        const std::filesystem::path key = SameFileKey(request.subtitles[i].path);
        if (key == output)
            return CHostStatus::Failure(request.output, "is also a subtitle file; the output needs a name of its own");
        for (size_t j = 0; j < i; ++j) {
            if (SameFileKey(request.subtitles[j].path) == key)
                return CHostStatus::Failure(request.subtitles[i].path, "is given twice");
        }
    }
    return {};
}

CHostStatus CMuxSession::LoadSubtitlesInternal(const MuxRequest& request) {
    HRESULT hr = CreateModuleObject(CLSID_ZQMuxSubtitle, IID_IZQMuxSubtitleControl, reinterpret_cast<void**>(&m_control));
    if (SUCCEEDED(hr))
        hr = m_control->QueryInterface(IID_IZQMuxSubtitle, reinterpret_cast<void**>(&m_mux));
    if (FAILED(hr))
        return CHostStatus::FromStatus("", "can't make the multiplexer object", hr);
    hr = m_control->SetCallback(&m_host);
    if (FAILED(hr))
        return CHostStatus::FromStatus("", "the multiplexer object refuses its host", hr);
    for (const MuxSubtitleFile& file : request.subtitles) {
        if (InterruptedInternal())
            return Interrupted(request.output);
        const CComBSTR path(ZQUtf16FromUtf8(file.path));
        const CComBSTR label(ZQUtf16FromUtf8(file.label));
        const CComBSTR language = file.language.empty() ? CComBSTR() : CComBSTR(ZQUtf16FromUtf8(file.language));
        LONG trackid = 0;
        hr = m_mux->AddTextTrackFromFile(path, label, language, &trackid);
        if (FAILED(hr))
            return CHostStatus::FromStatus(file.path, "can't load it as SubRip", hr);
        m_trackSources.push_back(file.path);
    }
    // The streams are made from this list: the object may no longer change it.
    m_host.FreezeTracks();
    if (m_host.Tracks().size() != m_trackSources.size())
        return CHostStatus::Failure("", "the multiplexer object announced " + std::to_string(m_host.Tracks().size()) +
                                            " tracks for " + std::to_string(m_trackSources.size()) + " files");
    return {};
}

CHostStatus CMuxSession::MakeStreamsInternal(const MuxRequest& request, MuxSummary& summary) {
    // What an earlier attempt made goes first: the writer before its sink.
    m_writer.reset();
    m_wrappedSink.reset();
    m_file.reset();
    m_trackStreams.clear();
    summary.streams.clear();
    summary.notes.clear();
    CHostStatus status = {};
    if (m_reader && m_reader->Used()) {
        m_reader.reset();
        status = CContainerReader::Open(request.media, m_reader);
        if (!status.Ok())
            return status;
    }
    status = COutputFile::Create(request.output, m_file);
    if (!status.Ok())
        return status;
    CByteSink* sink = m_file.get();
    if (m_hooks->wrapOutput) {
        m_wrappedSink = m_hooks->wrapOutput(*m_file);
        sink = m_wrappedSink.get();
    }
    status = CContainerWriter::Create(request.output, m_format, *sink, m_writer);
    if (!status.Ok())
        return status;
    if (m_reader) {
        m_copiedStreams.assign(m_reader->StreamCount(), -1);
        std::vector<bool> keep(m_reader->StreamCount(), false);
        for (unsigned i = 0; i < m_reader->StreamCount(); ++i) {
            const AVStream* input = m_reader->Stream(i);
            const AVMediaType type = input->codecpar->codec_type;
            const char* typeName = av_get_media_type_string(type);
            const bool essential = type == AVMEDIA_TYPE_VIDEO || type == AVMEDIA_TYPE_AUDIO;
            if (!essential && !m_writer->CanCarry(input)) {
                summary.notes.push_back(request.media + ": stream #" + std::to_string(i) + " (" +
                                        (typeName ? typeName : "unknown") + ", " +
                                        avcodec_get_name(input->codecpar->codec_id) + ") is left out: a " +
                                        m_format->name + " file can't carry it");
                continue;
            }
            int index = -1;
            status = m_writer->AddCopiedStream(request.media, input, index);
            if (!status.Ok())
                return status;
            m_copiedStreams[i] = index;
            keep[i] = true;
            const AVDictionaryEntry* language = av_dict_get(input->metadata, "language", nullptr, 0);
            const AVDictionaryEntry* title = av_dict_get(input->metadata, "title", nullptr, 0);
            summary.streams.push_back(MuxStream{index, typeName ? typeName : "unknown",
                                                avcodec_get_name(input->codecpar->codec_id),
                                                language ? language->value : "", title ? title->value : "",
                                                request.media, 0});
        }
        m_reader->KeepOnly(keep);
    }
    const std::string codec = m_writer->SubtitleCodecName();
    for (size_t track = 0; track < m_host.Tracks().size(); ++track) {
        const SubtitleStreamLabel& label = m_host.Tracks()[track].label;
        int index = -1;
        status = m_writer->AddSubtitleStream(label, index);
        if (!status.Ok())
            return status;
        m_trackStreams.push_back(index);
        summary.streams.push_back(
            MuxStream{index, "subtitle", codec, label.isoLang, label.title, m_trackSources[track], 0});
    }
    return {};
}

CHostStatus CMuxSession::CountCuesInternal() {
    CCueCensus census(m_host.Tracks().size());
    m_host.SetSink(&census);
    HRESULT hr = m_control->Run();
    if (FAILED(hr)) {
        m_host.SetSink(nullptr);
        return CHostStatus::FromStatus("", "the multiplexer object doesn't run", hr);
    }
    bool interrupted = false;
    while (!census.WaitForEnds(kPollPeriod)) {
        if (InterruptedInternal()) {
            census.Abandon();
            interrupted = true;
        }
    }
    m_control->Stop();
    m_host.SetSink(nullptr);
    if (interrupted)
        return Interrupted(m_output);
    if (census.Abandoned())
        return CHostStatus::Failure("", m_host.Failure());
    m_totalCues = census.TotalCues();
    for (size_t track = 0; track < census.Tracks().size(); ++track)
        m_tracksInOrder[track] = census.Tracks()[track].inOrder;
    return {};
}

CHostStatus CMuxSession::WriteInternal(const MuxRequest& request, bool& again) {
    again = false;
    m_lastCueStop = 0;
    std::vector<int64_t> lastStarts(m_trackStreams.size(), INT64_MIN);
    CHostStatus status = m_writer->Begin();
    if (!status.Ok())
        return status;
    CCueInterleaver interleaver(m_tracksInOrder);
    m_host.SetSink(&interleaver);
    const HRESULT hr = m_control->Run();
    if (FAILED(hr)) {
        m_host.SetSink(nullptr);
        return CHostStatus::FromStatus("", "the multiplexer object doesn't run", hr);
    }

    PendingMedia media;
    media.ended = !m_reader;
    const REFERENCE_TIME mediaStart = m_reader ? m_reader->MediaStartTime() : 0;
    const REFERENCE_TIME mediaLength = m_reader ? m_reader->Duration() : 0;
    auto readMedia = [&]() -> CHostStatus {
        CHostStatus read = m_reader->Next(media.packet.Get(), media.ended);
        if (read.Ok() && !media.ended) {
            const AVPacket* packet = media.packet.Get();
            const int64_t stamp = packet->dts != AV_NOPTS_VALUE ? packet->dts : packet->pts;
            // A packet without a time keeps the time of the one before it.
            if (stamp != AV_NOPTS_VALUE)
                media.time = av_rescale_q(stamp, m_reader->Stream(static_cast<unsigned>(packet->stream_index))->time_base,
                                          kUnits) - mediaStart;
        }
        return read;
    };
    if (!media.ended)
        status = readMedia();

    int64_t cuesWritten = 0;
    while (status.Ok()) {
        if (InterruptedInternal()) {
            status = Interrupted(request.output);
            break;
        }
        const CCueInterleaver::State state = interleaver.Wait(kPollPeriod);
        if (state == CCueInterleaver::State::Waiting)
            continue;
        if (state == CCueInterleaver::State::Abandoned) {
            status = CHostStatus::Failure("", m_host.Failure());
            break;
        }
        size_t track = 0;
        QueuedCue cue;
        if (state == CCueInterleaver::State::Ready &&
            interleaver.TakeEarliest(media.ended ? INT64_MAX : media.time, track, cue)) {
            if (cue.start < lastStarts[track]) {
                // Written already is a cue that starts later: this track goes
                // whole into the next attempt.
                m_tracksInOrder[track] = false;
                again = true;
                break;
            }
            lastStarts[track] = cue.start;
            status = m_writer->WriteCue(m_trackStreams[track], cue.start, cue.stop, cue.text);
            m_lastCueStop = std::max(m_lastCueStop, cue.stop);
            ++cuesWritten;
            if (media.ended && mediaLength == 0 && m_totalCues > 0)
                ReportProgressInternal(static_cast<double>(cuesWritten) / static_cast<double>(m_totalCues));
            continue;
        }
        if (media.ended) {
            if (state == CCueInterleaver::State::Finished)
                break;
            continue;
        }
        AVPacket* packet = media.packet.Get();
        const unsigned inputIndex = static_cast<unsigned>(packet->stream_index);
        // A stream that appeared after the streams were read isn't copied.
        if (inputIndex < m_copiedStreams.size() && m_copiedStreams[inputIndex] >= 0)
            status = m_writer->WriteCopied(m_copiedStreams[inputIndex], packet,
                                           m_reader->Stream(inputIndex)->time_base, mediaStart);
        if (mediaLength > 0)
            ReportProgressInternal(static_cast<double>(media.time) / static_cast<double>(mediaLength));
        if (status.Ok())
            status = readMedia();
    }
    // The pump may wait in Receive for the writer: give the run up first.
    interleaver.Abandon();
    m_control->Stop();
    m_host.SetSink(nullptr);
    if (!status.Ok() || again)
        return status;
    status = m_writer->Finish();
    if (status.Ok())
        status = m_file->Commit();
    return status;
}
