#include "tools/zqsubtitle/PlayCommand.h"

#include <algorithm>
#include <cinttypes>
#include <cmath>
#include <condition_variable>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "hosts/common/CMonotonicReferenceClock.h"
#include "hosts/common/ModuleObjects.h"
#include "hosts/ffmpeg/FfmpegLog.h"
#include "hosts/ffmpeg/CDmxHost.h"
#include "tools/zqsubtitle/CommandText.h"
#include "tools/zqsubtitle/InterruptScope.h"
#include "tools/zqsubtitle/TrackArgument.h"
#include "zqplatform/bstr.h"
#include "zqplatform/comptr.h"
#include "zqplatform/oleauto.h"
#include "zqplatform/sync.h"
#include "zqplatform/text.h"
#include "zqplatform/unknownimpl.h"
#include "zqplatform/utf.h"
#include "zqplatform/winuser.h"
#include "zqsubtitle/ZQSubtitle.h"

namespace {

constexpr int kUsageExit = 2;
constexpr int kFailureExit = 1;
constexpr int kInterruptedExit = 130;
// How far ahead of the media time the containers are read: a demultiplexer
// delivers samples before they are due, as a filter's streaming side does.
constexpr REFERENCE_TIME kLookAhead = 30 * kUnitsPerSecond;
// How often the main thread wakes to look at the time and at Ctrl-C when no
// cue event arrives meanwhile.
constexpr auto kWakeUpPeriod = std::chrono::milliseconds(20);

void PrintUsage(FILE* out) {
    std::fprintf(out,
                 "usage: zqsubtitle play MEDIA_OR_SRT... [--track ID]... [--speed X] [--from SECONDS]\n"
                 "                       [--json]\n\n"
                 "Plays subtitle tracks in real time, or faster, as a host pair would, and\n"
                 "prints every cue event as the application hears it: Active and Inactive\n"
                 "with the media time in seconds and the cue's times and text, and the\n"
                 "Clear of a stop. A container's text subtitle streams (SubRip, plain text,\n"
                 "mov_text, WebVTT, ASS, ...) are read by a demultiplexer host and pushed\n"
                 "into a demultiplexer object as the time comes; a SubRip file (.srt) is\n"
                 "loaded by a multiplexer object, in its own encoding, and pumped into the\n"
                 "same demultiplexer. Tracks are numbered across all arguments, in order\n"
                 "(as 'zqsubtitle probe' shows for a container). The play ends when the\n"
                 "last cue has ended; Ctrl-C stops it at once, with the Clear of the stop.\n\n"
                 "  MEDIA          a container FFmpeg reads (.mkv, .mp4, .webm, ...)\n"
                 "  FILE.srt[:LANGUAGE[:LABEL]]\n"
                 "                 a SubRip file; LANGUAGE (\"ru\", \"ja\", ...) chooses the\n"
                 "                 code page for a file that is neither UTF-8 nor UTF-16,\n"
                 "                 LABEL names the track (the file's name by default). A\n"
                 "                 FILE that exists as given, colons and all, is taken whole.\n"
                 "  --track ID     play only the track ID; may be given more than once.\n"
                 "                 The others are announced but not selected.\n"
                 "  --speed X      the clock runs X times as fast as real time (default 1)\n"
                 "  --from S       start at S seconds of media time, as after a seek\n"
                 "  --json         one JSON object per line instead of text; \"event\" is\n"
                 "                 \"track\" (track, label, language, source, and cues for a\n"
                 "                 SubRip file or stream and codec for a container,\n"
                 "                 selected), \"active\" or \"inactive\" (time, track, start,\n"
                 "                 stop, text), \"clear\" (time) or \"end\" (interrupted)\n"
                 "  -h, --help     print this help\n\n"
                 "Exit status: 0 played to the end, 1 a file or an object failed (the file\n"
                 "and the reason on standard error), 2 bad arguments, 130 interrupted.\n");
}

struct Options {
    std::vector<TrackArgument> subRipFiles;
    std::vector<std::string> containers;
    // Every argument in order, as a SubRip file (true) or a container.
    std::vector<bool> argumentIsSubRip;
    std::vector<LONG> tracks;
    double speed = 1.0;
    double from = 0.0;
    bool json = false;
};

// A cue's lines on one line of the terminal.
std::string OneLine(const std::string& text) {
    std::string out;
    for (char c : text) {
        if (c == '\r')
            continue;
        out += c == '\n' ? std::string(" | ") : std::string(1, c);
    }
    return out;
}

bool ParseNumber(const char* text, double& value) {
    char* end = nullptr;
    value = std::strtod(text, &end);
    return end != text && *end == '\0' && std::isfinite(value);
}

bool IsSubRipName(const std::string& path) {
    const size_t dot = path.rfind('.');
    if (dot == std::string::npos)
        return false;
    std::string extension = path.substr(dot + 1);
    for (char& c : extension)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return extension == "srt";
}

bool ParseOptions(int argc, char** argv, Options& options) {
    for (int i = 1; i < argc; ++i) {
        const bool hasValue = i + 1 < argc;
        if (std::strcmp(argv[i], "--json") == 0) {
            options.json = true;
        } else if (std::strcmp(argv[i], "--speed") == 0) {
            if (!hasValue || !ParseNumber(argv[++i], options.speed) || options.speed <= 0)
                return false;
        } else if (std::strcmp(argv[i], "--from") == 0) {
            if (!hasValue || !ParseNumber(argv[++i], options.from) || options.from < 0)
                return false;
        } else if (std::strcmp(argv[i], "--track") == 0) {
            double id = 0;
            if (!hasValue || !ParseNumber(argv[++i], id) || id < 1 || id != std::floor(id) || id > INT32_MAX)
                return false;
            options.tracks.push_back(static_cast<LONG>(id));
        } else if (argv[i][0] == '-') {
            return false;
        } else {
            TrackArgument track = ParseTrackArgument(argv[i]);
            const bool subRip = IsSubRipName(track.path);
            options.argumentIsSubRip.push_back(subRip);
            if (subRip)
                options.subRipFiles.push_back(std::move(track));
            else
                options.containers.push_back(argv[i]);
        }
    }
    return !options.argumentIsSubRip.empty();
}

REFERENCE_TIME ToUnits(double seconds) {
    return static_cast<REFERENCE_TIME>(std::llround(seconds * static_cast<double>(kUnitsPerSecond)));
}

/// Posts a thread message to one thread at a steady pace, so that a thread
/// blocked in GetMessageW wakes to feed the demultiplexer, look at the time
/// and at Ctrl-C.
class WakeUpTimer {
public:
    explicit WakeUpTimer(DWORD threadId) : m_thread([this, threadId] { Run(threadId); }) {}
    ~WakeUpTimer() {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_stopping = true;
        }
        m_changed.notify_all();
        m_thread.join();
    }
    WakeUpTimer(const WakeUpTimer&) = delete;
    WakeUpTimer& operator=(const WakeUpTimer&) = delete;

private:
    void Run(DWORD threadId) {
        std::unique_lock<std::mutex> lock(m_mutex);
        while (!m_changed.wait_for(lock, kWakeUpPeriod, [this] { return m_stopping; }))
            PostThreadMessageW(threadId, WM_APP, 0, 0);
    }

    // Guards m_stopping.
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_stopping = false;
    std::thread m_thread;
};

/// The host multiplexer's side of the pair for SubRip files: every track the
/// multiplexer announces becomes a stream of the demultiplexer, every sample
/// it pumps goes into the demultiplexer's Receive, shifted as a host that
/// has sought to `from` would shift it. It lives on the command's stack and
/// outlives both objects' use of it. Announcements come on the main thread,
/// samples on the multiplexer's pump.
class CPlayHost final : public CUnknownImpl<ZQLifetime::Borrowed, IZQMuxSubtitleControlCallback> {
public:
    CPlayHost(IZQDmxSubtitleControl* dmx, REFERENCE_TIME from) : m_dmx(dmx), m_from(from) {}

    HRESULT AddTrack(const AM_MEDIA_TYPE* mediatype, LONG trackid) override {
        LONG dmxId = 0;
        const HRESULT hr = m_dmx->AddTrack(mediatype, &dmxId);
        if (FAILED(hr))
            return hr;
        std::lock_guard<std::mutex> lock(m_mutex);
        m_dmxIds[trackid] = dmxId;
        m_lastAdded = dmxId;
        return S_OK;
    }
    HRESULT RemoveAllTracks() override { return S_OK; }
    HRESULT RemoveTrack(LONG) override { return S_OK; }

    HRESULT Receive(LONG trackid, REFERENCE_TIME start, REFERENCE_TIME stop, BYTE* data, LONG length) override {
        LONG dmxId = 0;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            dmxId = m_dmxIds[trackid];
            m_lastStop = std::max(m_lastStop, stop);
            // A host that has sought doesn't deliver what ended before.
            if (stop <= m_from)
                return S_OK;
            ++m_cues[dmxId];
        }
        const HRESULT hr = m_dmx->Receive(dmxId, start - m_from, stop - m_from, data, length);
        if (FAILED(hr))
            Fail(hr);
        return hr;
    }

    HRESULT EndOfStream(LONG trackid) override {
        LONG dmxId = 0;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            dmxId = m_dmxIds[trackid];
        }
        m_dmx->EndOfStream(dmxId);
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            ++m_ended;
        }
        m_changed.notify_all();
        return S_OK;
    }

    /// The demultiplexer's id of the track announced last.
    LONG LastAdded() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_lastAdded;
    }
    /// The demultiplexer's ids of the multiplexer's tracks.
    std::vector<LONG> DmxIds() {
        std::lock_guard<std::mutex> lock(m_mutex);
        std::vector<LONG> ids;
        for (const auto& [muxId, dmxId] : m_dmxIds)
            ids.push_back(dmxId);
        return ids;
    }

    /// Waits until every track has ended or a sample was refused; the
    /// refusal's status, else S_OK.
    HRESULT WaitForAllTracks() {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait(lock, [this] { return m_ended >= m_dmxIds.size() || FAILED(m_failure); });
        return m_failure;
    }

    /// Samples delivered to a demultiplexer track.
    size_t Cues(LONG dmxId) {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_cues[dmxId];
    }
    REFERENCE_TIME LastStop() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_lastStop;
    }

private:
    void Fail(HRESULT hr) {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_failure = hr;
        }
        m_changed.notify_all();
    }

    IZQDmxSubtitleControl* m_dmx;
    const REFERENCE_TIME m_from;
    // Guards every field below; m_changed is signalled on an end or a failure.
    std::mutex m_mutex;
    std::condition_variable m_changed;
    // The demultiplexer's id of each multiplexer track.
    std::map<LONG, LONG> m_dmxIds;
    std::map<LONG, size_t> m_cues;
    LONG m_lastAdded = 0;
    size_t m_ended = 0;
    REFERENCE_TIME m_lastStop = 0;
    HRESULT m_failure = S_OK;
};

/// A track of the play, for its line before the events.
struct PlayTrack {
    LONG id = 0;
    std::string label;
    std::string language;
    std::string source;
    /// The container's stream, -1 for a SubRip file.
    int stream = -1;
    std::string codec;
    size_t cues = 0;
    bool selected = true;
};

/// The application's callback: prints each event. Called only on the main
/// thread, which set it and pumps; it lives on the stack.
class CEventPrinter final : public CUnknownImpl<ZQLifetime::Borrowed, IZQDmxSubtitleCallback> {
public:
    explicit CEventPrinter(bool json) : m_json(json) {}

    HRESULT Cue(ZQSubtitle_Cue_Event cueevent, double currenttime, IZQSubtitleCue* cue) override {
        if (cueevent == ZQSubtitle_Cue_Event_Clear) {
            m_active = 0;
            PrintClear();
            return S_OK;
        }
        if (cueevent == ZQSubtitle_Cue_Event_Active)
            ++m_active;
        else if (m_active > 0)
            --m_active;
        PrintCue(cueevent == ZQSubtitle_Cue_Event_Active ? "active" : "inactive", currenttime, cue);
        return S_OK;
    }

    /// Cues that are active now, as far as the events tell.
    size_t ActiveCues() const { return m_active; }

    void PrintTrack(const PlayTrack& track) const {
        if (m_json) {
            std::string where = track.stream < 0 ? ",\"cues\":" + std::to_string(track.cues)
                                                 : ",\"stream\":" + std::to_string(track.stream) +
                                                       ",\"codec\":" + JsonString(track.codec);
            std::printf("{\"event\":\"track\",\"track\":%" PRId32 ",\"label\":%s,\"language\":%s,\"source\":%s%s,"
                        "\"selected\":%s}\n",
                        track.id, JsonString(track.label).c_str(), JsonString(track.language).c_str(),
                        JsonString(track.source).c_str(), where.c_str(), track.selected ? "true" : "false");
        } else {
            const std::string where = track.stream < 0 ? std::to_string(track.cues) + " cues"
                                                       : "stream #" + std::to_string(track.stream) + " " + track.codec;
            std::printf("track %" PRId32 "  %s%s%s  %s, %s%s\n", track.id, track.label.c_str(),
                        track.language.empty() ? "" : "  ", track.language.c_str(), track.source.c_str(),
                        where.c_str(), track.selected ? "" : "  (not selected)");
        }
        std::fflush(stdout);
    }

    void PrintEnd(bool interrupted) const {
        if (m_json)
            std::printf("{\"event\":\"end\",\"interrupted\":%s}\n", interrupted ? "true" : "false");
        else
            std::printf("%s\n", interrupted ? "interrupted" : "end");
        std::fflush(stdout);
    }

private:
    void PrintClear() const {
        if (m_json)
            std::printf("{\"event\":\"clear\",\"time\":0}\n");
        else
            std::printf("%10.3f  clear\n", 0.0);
        std::fflush(stdout);
    }

    void PrintCue(const char* what, double time, IZQSubtitleCue* cue) const {
        double start = 0;
        double stop = 0;
        LONG trackid = 0;
        CComBSTR text;
        cue->get_Start(&start);
        cue->get_Stop(&stop);
        cue->get_trackid(&trackid);
        cue->get_Text(&text);
        const std::string utf8 = ZQUtf8FromUtf16(text.View());
        if (m_json) {
            std::printf("{\"event\":\"%s\",\"time\":%.7g,\"track\":%" PRId32 ",\"start\":%.7g,\"stop\":%.7g,"
                        "\"text\":%s}\n",
                        what, time, trackid, start, stop, JsonString(utf8).c_str());
        } else {
            std::printf("%10.3f  %-8s  %" PRId32 "  [%.3f, %.3f)  %s\n", time, what, trackid, start, stop,
                        OneLine(utf8).c_str());
        }
        std::fflush(stdout);
    }

    const bool m_json;
    size_t m_active = 0;
};

/// The objects of the play and what joins them.
struct PlayObjects {
    CComPtr<IReferenceClock> clock;
    CComPtr<IZQDmxSubtitleControl> dmx;
    CComPtr<IZQDmxSubtitle> application;
    CComPtr<IZQMuxSubtitleControl> muxControl;
    CComPtr<IZQMuxSubtitle> mux;
    std::vector<std::unique_ptr<CDmxHost>> containers;
};

HRESULT CreateObjects(double speed, PlayObjects& objects) {
    HRESULT hr = CMonotonicReferenceClock::Create(speed, &objects.clock);
    if (SUCCEEDED(hr))
        hr = CreateModuleObject(CLSID_ZQDmxSubtitle, IID_IZQDmxSubtitleControl, reinterpret_cast<void**>(&objects.dmx));
    if (SUCCEEDED(hr))
        hr = objects.dmx->QueryInterface(IID_IZQDmxSubtitle, reinterpret_cast<void**>(&objects.application));
    if (SUCCEEDED(hr))
        hr = CreateModuleObject(CLSID_ZQMuxSubtitle, IID_IZQMuxSubtitleControl, reinterpret_cast<void**>(&objects.muxControl));
    if (SUCCEEDED(hr))
        hr = objects.muxControl->QueryInterface(IID_IZQMuxSubtitle, reinterpret_cast<void**>(&objects.mux));
    return hr;
}

/// Announces every argument's tracks to the demultiplexer, in the order of
/// the arguments: a SubRip file through the multiplexer, whose announcement
/// makes the demultiplexer's track; a container through its host. The first
/// refusal is printed and false returned.
bool AnnounceTracks(const Options& options, PlayObjects& objects, CPlayHost& host, std::vector<PlayTrack>& tracks) {
    HRESULT hr = objects.muxControl->SetCallback(&host);
    if (FAILED(hr)) {
        std::fprintf(stderr, "zqsubtitle play: the multiplexer refused its host: %s\n", DescribeStatus(hr).c_str());
        return false;
    }
    size_t nextSubRip = 0;
    size_t nextContainer = 0;
    for (bool subRip : options.argumentIsSubRip) {
        if (subRip) {
            const TrackArgument& track = options.subRipFiles[nextSubRip++];
            const CComBSTR path(ZQUtf16FromUtf8(track.path));
            const CComBSTR label(ZQUtf16FromUtf8(track.label));
            const CComBSTR language = track.language.empty() ? CComBSTR() : CComBSTR(ZQUtf16FromUtf8(track.language));
            LONG trackid = 0;
            hr = objects.mux->AddTextTrackFromFile(path, label, language, &trackid);
            if (FAILED(hr)) {
                std::fprintf(stderr, "zqsubtitle play: %s: %s\n", track.path.c_str(), DescribeStatus(hr).c_str());
                return false;
            }
            PlayTrack entry;
            entry.id = host.LastAdded();
            entry.source = track.path;
            tracks.push_back(entry);
            continue;
        }
        std::unique_ptr<CDmxHost> container;
        CHostStatus status = CDmxHost::Open(options.containers[nextContainer++], container);
        if (status.Ok())
            status = container->Announce(objects.dmx.Get());
        if (!status.Ok()) {
            std::fprintf(stderr, "zqsubtitle play: %s\n", status.Message().c_str());
            return false;
        }
        for (const ContainerSubtitleStream& stream : container->Streams()) {
            if (stream.trackid == 0)
                continue;
            PlayTrack entry;
            entry.id = stream.trackid;
            entry.source = container->Path();
            entry.stream = stream.index;
            entry.codec = stream.codec;
            tracks.push_back(entry);
        }
        objects.containers.push_back(std::move(container));
    }
    return true;
}

/// Selects the tracks --track names, or all, and reads each track's label
/// and language back from the demultiplexer.
bool SelectTracks(const Options& options, PlayObjects& objects, std::vector<PlayTrack>& tracks) {
    for (LONG wanted : options.tracks) {
        if (std::none_of(tracks.begin(), tracks.end(), [wanted](const PlayTrack& track) { return track.id == wanted; })) {
            std::fprintf(stderr, "zqsubtitle play: there is no track %" PRId32 "; the tracks are 1 to %zu\n", wanted,
                         tracks.size());
            return false;
        }
    }
    CComPtr<IZQSubtitleTrackList> list;
    objects.application->get_Tracks(&list);
    for (PlayTrack& track : tracks) {
        track.selected = options.tracks.empty() ||
                         std::find(options.tracks.begin(), options.tracks.end(), track.id) != options.tracks.end();
        objects.application->SelectTrack(track.id, track.selected ? VARIANT_TRUE : VARIANT_FALSE);
        CComPtr<IZQSubtitleTrack> object;
        if (list && SUCCEEDED(list->GetTrackByID(track.id, &object))) {
            CComBSTR label;
            CComBSTR language;
            object->get_Label(&label);
            object->get_Language(&language);
            track.label = ZQUtf8FromUtf16(label.View());
            track.language = ZQUtf8FromUtf16(language.View());
        }
    }
    return true;
}

/// Pauses the demultiplexer, starts every track's segment at the --from
/// point, pumps every cue of the SubRip files into it and stops the pump,
/// and reads the containers a little ahead.
bool FeedBeforePlay(const Options& options, PlayObjects& objects, CPlayHost& host) {
    HRESULT hr = objects.dmx->Pause();
    const REFERENCE_TIME from = ToUnits(options.from);
    for (LONG dmxId : host.DmxIds()) {
        if (SUCCEEDED(hr))
            hr = objects.dmx->NewSegment(dmxId, from, INT64_MAX, 1.0);
    }
    const bool hasSubRip = !host.DmxIds().empty();
    if (SUCCEEDED(hr) && hasSubRip)
        hr = objects.muxControl->Run();
    if (SUCCEEDED(hr) && hasSubRip)
        hr = host.WaitForAllTracks();
    objects.muxControl->Stop();
    if (FAILED(hr)) {
        std::fprintf(stderr, "zqsubtitle play: the samples didn't get through: %s\n", DescribeStatus(hr).c_str());
        return false;
    }
    for (const std::unique_ptr<CDmxHost>& container : objects.containers) {
        bool ended = false;
        CHostStatus status = container->Start(from);
        if (status.Ok())
            status = container->FeedUntil(from + kLookAhead, ended);
        if (!status.Ok()) {
            std::fprintf(stderr, "zqsubtitle play: %s\n", status.Message().c_str());
            return false;
        }
    }
    return true;
}

enum class PlayEnd { Ended, Interrupted, Failed };

/// Runs the demultiplexer from now and pumps this thread's messages, feeding
/// the containers ahead of the time, until every source has ended and the
/// media time has passed the last cue with none left active, or Ctrl-C.
PlayEnd PlayToEnd(const Options& options, PlayObjects& objects, const CEventPrinter& printer, CPlayHost& host) {
    REFERENCE_TIME start = 0;
    objects.clock->GetTime(&start);
    const InterruptScope interrupt;
    const WakeUpTimer wakeUp(GetCurrentThreadId());
    const HRESULT hr = objects.dmx->Run(start);
    if (FAILED(hr)) {
        std::fprintf(stderr, "zqsubtitle play: the demultiplexer doesn't run: %s\n", DescribeStatus(hr).c_str());
        return PlayEnd::Failed;
    }
    const REFERENCE_TIME from = ToUnits(options.from);
    for (;;) {
        if (InterruptScope::Interrupted())
            return PlayEnd::Interrupted;
        REFERENCE_TIME now = 0;
        objects.clock->GetTime(&now);
        const REFERENCE_TIME mediaTime = from + now - start;
        bool allEnded = true;
        REFERENCE_TIME lastStop = host.LastStop();
        for (const std::unique_ptr<CDmxHost>& container : objects.containers) {
            bool ended = false;
            const CHostStatus status = container->FeedUntil(mediaTime + kLookAhead, ended);
            if (!status.Ok()) {
                std::fprintf(stderr, "zqsubtitle play: %s\n", status.Message().c_str());
                return PlayEnd::Failed;
            }
            allEnded = allEnded && ended;
            lastStop = std::max(lastStop, container->LastStop());
        }
        if (allEnded && mediaTime >= lastStop && printer.ActiveCues() == 0)
            return PlayEnd::Ended;
        MSG message;
        if (GetMessageW(&message, nullptr, 0, 0) <= 0)
            return PlayEnd::Ended;
        DispatchMessageW(&message);
    }
}

}  // namespace

int RunPlayCommand(int argc, char** argv) {
    ShowFfmpegErrorsOnly();
    if (AsksForHelp(argc, argv)) {
        PrintUsage(stdout);
        return 0;
    }
    Options options;
    if (!ParseOptions(argc, argv, options)) {
        PrintUsage(stderr);
        return kUsageExit;
    }

    PlayObjects objects;
    HRESULT hr = CreateObjects(options.speed, objects);
    if (FAILED(hr)) {
        std::fprintf(stderr, "zqsubtitle play: the objects can't be made: %s\n", DescribeStatus(hr).c_str());
        return kFailureExit;
    }
    // The callback is set on this thread, so every event arrives here, when
    // this thread pumps its messages.
    CEventPrinter printer(options.json);
    CPlayHost host(objects.dmx.Get(), ToUnits(options.from));
    hr = objects.dmx->SetSyncSource(objects.clock.Get());
    if (SUCCEEDED(hr))
        hr = objects.application->putref_Callback(&printer);
    if (FAILED(hr)) {
        std::fprintf(stderr, "zqsubtitle play: the demultiplexer can't be set up: %s\n", DescribeStatus(hr).c_str());
        return kFailureExit;
    }

    int exitCode = kFailureExit;
    std::vector<PlayTrack> tracks;
    if (AnnounceTracks(options, objects, host, tracks) && SelectTracks(options, objects, tracks) &&
        FeedBeforePlay(options, objects, host)) {
        for (PlayTrack& track : tracks) {
            if (track.stream < 0)
                track.cues = host.Cues(track.id);
            printer.PrintTrack(track);
        }
        const PlayEnd end = PlayToEnd(options, objects, printer, host);
        // Stopping on this thread delivers the Clear, if any cue is active,
        // before Stop returns.
        objects.dmx->Stop();
        if (end != PlayEnd::Failed) {
            printer.PrintEnd(end == PlayEnd::Interrupted);
            exitCode = end == PlayEnd::Ended ? 0 : kInterruptedExit;
        }
    }
    objects.dmx->Stop();
    objects.muxControl->SetCallback(nullptr);
    objects.application->putref_Callback(nullptr);
    return exitCode;
}
