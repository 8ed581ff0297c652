#include "tools/zqsubtitle/PlayCommand.h"

#include <atomic>
#include <cinttypes>
#include <cmath>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "hosts/common/CMonotonicReferenceClock.h"
#include "hosts/common/ModuleObjects.h"
#include "tools/zqsubtitle/CommandText.h"
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
constexpr double kUnitsPerSecond = 10000000.0;
// How often the main thread wakes to look at the time and at Ctrl-C when no
// cue event arrives meanwhile.
constexpr auto kWakeUpPeriod = std::chrono::milliseconds(20);

void PrintUsage(FILE* out) {
    std::fprintf(out,
                 "usage: zqsubtitle play FILE[:LANGUAGE[:LABEL]]... [--speed X] [--from SECONDS] [--json]\n\n"
                 "Plays SubRip files as a host pair would: a multiplexer object loads each\n"
                 "file as a track and pumps its cues as samples into a demultiplexer object,\n"
                 "which times them against a clock and tells this program which cues become\n"
                 "active and inactive. Every event is printed as it happens, with its time in\n"
                 "seconds of media time and the cue's text. The play ends after the last cue;\n"
                 "Ctrl-C stops it at once, with the Clear of the stop.\n"
                 "  LANGUAGE      the track's language (\"ru\", \"ja\", ...); its code page serves\n"
                 "                files that are neither 7-bit text nor UTF-8\n"
                 "  LABEL         the track's label; the file's name by default\n"
                 "  --speed X     the clock runs X times as fast as real time (default 1)\n"
                 "  --from S      start at S seconds of media time, as after a seek\n"
                 "  --json        one JSON object per line instead of text\n"
                 "A FILE that exists as given, colons and all, is taken whole.\n");
}

struct Options {
    std::vector<TrackArgument> tracks;
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
        } else if (argv[i][0] == '-') {
            return false;
        } else {
            options.tracks.push_back(ParseTrackArgument(argv[i]));
        }
    }
    return !options.tracks.empty();
}

REFERENCE_TIME ToUnits(double seconds) {
    return static_cast<REFERENCE_TIME>(std::llround(seconds * kUnitsPerSecond));
}

// Set by the signal handler, read by the main loop.
volatile std::sig_atomic_t g_interrupted = 0;

extern "C" void OnInterrupt(int) {
    g_interrupted = 1;
}

/// Installs the handler of Ctrl-C (and of a polite kill) for its lifetime.
class InterruptScope {
public:
    InterruptScope() {
        g_interrupted = 0;
        m_previousInt = std::signal(SIGINT, OnInterrupt);
        m_previousTerm = std::signal(SIGTERM, OnInterrupt);
    }
    ~InterruptScope() {
        std::signal(SIGINT, m_previousInt);
        std::signal(SIGTERM, m_previousTerm);
    }
    InterruptScope(const InterruptScope&) = delete;
    InterruptScope& operator=(const InterruptScope&) = delete;

private:
    void (*m_previousInt)(int) = SIG_DFL;
    void (*m_previousTerm)(int) = SIG_DFL;
};

/// Posts a thread message to one thread at a steady pace, so that a thread
/// blocked in GetMessageW wakes to look at the time and at Ctrl-C.
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

/// A track as both hosts know it.
struct PlayTrack {
    LONG dmxId = 0;
    std::string label;
    std::string language;
    size_t cues = 0;
};

/// The host multiplexer's side of the pair: every track the multiplexer
/// announces becomes a selected stream of the demultiplexer, every sample it
/// pumps goes into the demultiplexer's Receive, shifted as a host that has
/// sought to `from` would shift it. It lives on the command's
/// stack and outlives both objects' use of it. Announcements come on the
/// main thread, samples on the multiplexer's pump.
class CPlayHost final : public CUnknownImpl<ZQLifetime::Borrowed, IZQMuxSubtitleControlCallback> {
public:
    CPlayHost(IZQDmxSubtitleControl* dmx, IZQDmxSubtitle* application, REFERENCE_TIME from)
        : m_dmx(dmx), m_application(application), m_from(from) {}

    HRESULT AddTrack(const AM_MEDIA_TYPE* mediatype, LONG trackid) override {
        LONG dmxId = 0;
        HRESULT hr = m_dmx->AddTrack(mediatype, &dmxId);
        if (FAILED(hr))
            return hr;
        hr = m_application->SelectTrack(dmxId, VARIANT_TRUE);
        if (FAILED(hr))
            return hr;
        std::lock_guard<std::mutex> lock(m_mutex);
        m_tracks[trackid].dmxId = dmxId;
        return S_OK;
    }
    HRESULT RemoveAllTracks() override { return S_OK; }
    HRESULT RemoveTrack(LONG) override { return S_OK; }

    HRESULT Receive(LONG trackid, REFERENCE_TIME start, REFERENCE_TIME stop, BYTE* data, LONG length) override {
        LONG dmxId = 0;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            PlayTrack& track = m_tracks[trackid];
            dmxId = track.dmxId;
            m_lastStop = std::max(m_lastStop, stop);
            // A host that has sought doesn't deliver what ended before.
            if (stop <= m_from)
                return S_OK;
            ++track.cues;
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
            dmxId = m_tracks[trackid].dmxId;
        }
        m_dmx->EndOfStream(dmxId);
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            ++m_ended;
        }
        m_changed.notify_all();
        return S_OK;
    }

    /// Names a multiplexer track for the printout.
    void Describe(LONG trackid, const TrackArgument& argument) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_tracks[trackid].label = argument.label;
        m_tracks[trackid].language = argument.language;
    }

    /// Waits until every track has ended or a sample was refused; the
    /// refusal's status, else S_OK.
    HRESULT WaitForAllTracks() {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait(lock, [this] { return m_ended >= m_tracks.size() || FAILED(m_failure); });
        return m_failure;
    }

    std::map<LONG, PlayTrack> Tracks() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_tracks;
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
    IZQDmxSubtitle* m_application;
    const REFERENCE_TIME m_from;
    // Guards every field below; m_changed is signalled on an end or a failure.
    std::mutex m_mutex;
    std::condition_variable m_changed;
    // By multiplexer track id.
    std::map<LONG, PlayTrack> m_tracks;
    size_t m_ended = 0;
    REFERENCE_TIME m_lastStop = 0;
    HRESULT m_failure = S_OK;
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
            std::printf("{\"event\":\"track\",\"track\":%" PRId32 ",\"label\":%s,\"language\":%s,\"cues\":%zu}\n",
                        track.dmxId, JsonString(track.label).c_str(), JsonString(track.language).c_str(), track.cues);
        } else {
            std::printf("track %" PRId32 "  %s%s%s  %zu cues\n", track.dmxId, track.label.c_str(),
                        track.language.empty() ? "" : "  ", track.language.c_str(), track.cues);
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

/// The two objects and what joins them.
struct PlayObjects {
    CComPtr<IReferenceClock> clock;
    CComPtr<IZQDmxSubtitleControl> dmx;
    CComPtr<IZQDmxSubtitle> application;
    CComPtr<IZQMuxSubtitleControl> muxControl;
    CComPtr<IZQMuxSubtitle> mux;
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

/// Loads every file into the multiplexer, whose announcements make the
/// demultiplexer's tracks. The first refusal is printed and returned.
HRESULT LoadTracks(const Options& options, PlayObjects& objects, CPlayHost& host) {
    HRESULT hr = objects.muxControl->SetCallback(&host);
    if (FAILED(hr)) {
        std::fprintf(stderr, "zqsubtitle play: the multiplexer refused its host: %s\n", DescribeStatus(hr).c_str());
        return hr;
    }
    for (const TrackArgument& track : options.tracks) {
        const CComBSTR path(ZQUtf16FromUtf8(track.path));
        const CComBSTR label(ZQUtf16FromUtf8(track.label));
        const CComBSTR language = track.language.empty() ? CComBSTR() : CComBSTR(ZQUtf16FromUtf8(track.language));
        LONG trackid = 0;
        hr = objects.mux->AddTextTrackFromFile(path, label, language, &trackid);
        if (FAILED(hr)) {
            std::fprintf(stderr, "zqsubtitle play: %s: %s\n", track.path.c_str(), DescribeStatus(hr).c_str());
            return hr;
        }
        host.Describe(trackid, track);
    }
    return S_OK;
}

/// Pauses the demultiplexer at the segment start (the --from point), pumps
/// every cue of the multiplexer into it and stops the pump.
HRESULT FeedSamples(const Options& options, PlayObjects& objects, CPlayHost& host) {
    HRESULT hr = objects.dmx->Pause();
    for (const auto& [muxId, track] : host.Tracks()) {
        if (SUCCEEDED(hr))
            hr = objects.dmx->NewSegment(track.dmxId, ToUnits(options.from), INT64_MAX, 1.0);
    }
    if (SUCCEEDED(hr))
        hr = objects.muxControl->Run();
    if (SUCCEEDED(hr))
        hr = host.WaitForAllTracks();
    objects.muxControl->Stop();
    if (FAILED(hr))
        std::fprintf(stderr, "zqsubtitle play: the samples didn't get through: %s\n", DescribeStatus(hr).c_str());
    return hr;
}

enum class PlayEnd { Ended, Interrupted, Failed };

/// Runs the demultiplexer from now and pumps this thread's messages until the
/// media time has passed `end` with no cue left active, or Ctrl-C.
PlayEnd PlayToEnd(PlayObjects& objects, const CEventPrinter& printer, REFERENCE_TIME end) {
    REFERENCE_TIME start = 0;
    objects.clock->GetTime(&start);
    const InterruptScope interrupt;
    const WakeUpTimer wakeUp(GetCurrentThreadId());
    const HRESULT hr = objects.dmx->Run(start);
    if (FAILED(hr)) {
        std::fprintf(stderr, "zqsubtitle play: the demultiplexer doesn't run: %s\n", DescribeStatus(hr).c_str());
        return PlayEnd::Failed;
    }
    for (;;) {
        if (g_interrupted != 0)
            return PlayEnd::Interrupted;
        REFERENCE_TIME now = 0;
        objects.clock->GetTime(&now);
        if (now - start >= end && printer.ActiveCues() == 0)
            return PlayEnd::Ended;
        MSG message;
        if (GetMessageW(&message, nullptr, 0, 0) <= 0)
            return PlayEnd::Ended;
        DispatchMessageW(&message);
    }
}

}  // namespace

int RunPlayCommand(int argc, char** argv) {
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
    CPlayHost host(objects.dmx.Get(), objects.application.Get(), ToUnits(options.from));
    hr = objects.dmx->SetSyncSource(objects.clock.Get());
    if (SUCCEEDED(hr))
        hr = objects.application->putref_Callback(&printer);
    if (FAILED(hr)) {
        std::fprintf(stderr, "zqsubtitle play: the demultiplexer can't be set up: %s\n", DescribeStatus(hr).c_str());
        return kFailureExit;
    }

    int exitCode = kFailureExit;
    if (SUCCEEDED(LoadTracks(options, objects, host)) && SUCCEEDED(FeedSamples(options, objects, host))) {
        for (const auto& [muxId, track] : host.Tracks())
            printer.PrintTrack(track);
        const PlayEnd end = PlayToEnd(objects, printer, host.LastStop() - ToUnits(options.from));
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
