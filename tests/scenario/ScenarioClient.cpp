// zqsubtitle-scenario: one fixed scenario through the registered module, as
// any client runs it, written out line by line so that the listings of two
// platforms can be compared. The multiplexer (created by ProgID) pumps the
// given SubRip files; a demultiplexer takes the same samples and, with a
// clock that the scenario moves from one cue boundary to the next and a
// callback set on this thread, tells which cues become active and inactive.
//
//   zqsubtitle-scenario FILE:LANGUAGE...
//
// Exit status 0 when every step answered as a client expects, 1 with the
// failing step and its status on standard error, 2 for a usage error.
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "zqplatform/bstr.h"
#include "zqplatform/comptr.h"
#include "zqplatform/objbase.h"
#include "zqplatform/unknownimpl.h"
#include "zqplatform/utf.h"
#include "zqplatform/winuser.h"
#include "zqsubtitle/ZQSubtitle.h"

namespace {

constexpr auto kTimeout = std::chrono::seconds(30);

/// Reports a failed step and ends the process at once: objects of the module
/// may still run workers that call into this stack, so nothing is unwound.
[[noreturn]] void Fail(const std::string& step, HRESULT hr) {
    WCHAR text[256] = {};
    ZQGetStatusText(hr, text, 256);
    std::fflush(stdout);
    std::fprintf(stderr, "zqsubtitle-scenario: %s failed: 0x%08X %s\n", step.c_str(), static_cast<unsigned>(hr),
                 ZQUtf8FromUtf16(text).c_str());
    std::fflush(stderr);
    std::_Exit(1);
}

void Check(HRESULT hr, const std::string& step) {
    if (FAILED(hr))
        Fail(step, hr);
}

void Print(const std::string& line) {
    std::printf("%s\n", line.c_str());
}

/// Text quoted for a listing line, with line ends and control characters escaped.
std::string Quoted(const std::string& text) {
    std::string quoted = "\"";
    for (char c : text) {
        char escaped[8];
        std::snprintf(escaped, sizeof escaped, "\\x%02x", static_cast<unsigned char>(c));
        quoted += c == '\n' ? "\\n" : (c == '"' || c == '\\') ? std::string("\\") + c
                                  : static_cast<unsigned char>(c) < 0x20 ? escaped : std::string(1, c);
    }
    return quoted + "\"";
}

std::string Quoted(BSTR text) {
    return Quoted(ZQUtf8FromUtf16(text));
}

std::string Times(LONG trackid, long long start, long long stop) {
    return "track " + std::to_string(trackid) + " " + std::to_string(start) + "-" + std::to_string(stop) + " ";
}

struct Sample {
    REFERENCE_TIME m_start;
    REFERENCE_TIME m_stop;
    std::string m_text;
};

/// An announced track: its media type, with a copy of the format block, and its samples.
struct Track {
    AM_MEDIA_TYPE m_type{};
    std::vector<BYTE> m_format;
    std::vector<Sample> m_samples;
    bool m_ended = false;
};

/// The host multiplexer: lists every call and keeps each track's samples.
/// The pump worker calls it while main waits.
class CHost final : public CUnknownImpl<ZQLifetime::Borrowed, IZQMuxSubtitleControlCallback> {
public:
    HRESULT Receive(LONG trackid, REFERENCE_TIME start, REFERENCE_TIME stop, BYTE* data, LONG length) override {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_tracks[trackid].m_samples.push_back({start, stop, std::string(reinterpret_cast<char*>(data), length)});
        m_lines.push_back("sample " + Times(trackid, start, stop) + Quoted(m_tracks[trackid].m_samples.back().m_text));
        return S_OK;
    }
    HRESULT EndOfStream(LONG trackid) override {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_tracks[trackid].m_ended = true;
        m_lines.push_back("end of stream track " + std::to_string(trackid));
        m_changed.notify_all();
        return S_OK;
    }
    HRESULT AddTrack(const AM_MEDIA_TYPE* type, LONG trackid) override {
        std::lock_guard<std::mutex> lock(m_mutex);
        Track& track = m_tracks[trackid];
        track.m_type = *type;
        track.m_format.assign(type->pbFormat, type->pbFormat + type->cbFormat);
        // The format block's every byte, by its FNV-1a, and the identifiers.
        uint32_t hash = 2166136261u;
        for (BYTE b : track.m_format)
            hash = (hash ^ b) * 16777619u;
        WCHAR major[40], sub[40], format[40];
        StringFromGUID2(type->majortype, major, 40);
        StringFromGUID2(type->subtype, sub, 40);
        StringFromGUID2(type->formattype, format, 40);
        m_lines.push_back("announce track " + std::to_string(trackid) + " " + ZQUtf8FromUtf16(major) + " " +
                          ZQUtf8FromUtf16(sub) + " " + ZQUtf8FromUtf16(format) + " format of " +
                          std::to_string(type->cbFormat) + " bytes, fnv1a " + std::to_string(hash));
        return S_OK;
    }
    HRESULT RemoveAllTracks() override { return List("remove all tracks"); }
    HRESULT RemoveTrack(LONG trackid) override { return List("remove track " + std::to_string(trackid)); }

    /// Waits for every track's end of stream, then hands over the tracks and
    /// prints the calls; fails when the time runs out.
    std::map<LONG, Track> WaitForEnds() {
        std::unique_lock<std::mutex> lock(m_mutex);
        const bool ended = m_changed.wait_for(lock, kTimeout, [this] {
            for (const auto& [id, track] : m_tracks)
                if (!track.m_ended)
                    return false;
            return !m_tracks.empty();
        });
        for (const std::string& line : m_lines)
            Print(line);
        if (!ended)
            Fail("waiting for the end of every track", E_FAIL);
        return m_tracks;
    }

private:
    HRESULT List(std::string line) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_lines.push_back(std::move(line));
        return S_OK;
    }

    // Guards everything below; m_changed is signalled on every end of stream.
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<std::string> m_lines;
    std::map<LONG, Track> m_tracks;
};

/// The application's callback, set on main's thread, where every event must
/// arrive; one that arrives on another thread is listed as such.
class CListing final : public CUnknownImpl<ZQLifetime::Borrowed, IZQDmxSubtitleCallback> {
public:
    HRESULT Cue(ZQSubtitle_Cue_Event event, double time, IZQSubtitleCue* cue) override {
        static const char* const kNames[] = {"active", "inactive", "clear"};
        std::string line = std::string("  ") + kNames[event] + " at " + std::to_string(std::llround(time * 1e7));
        double start = 0, stop = 0;
        LONG trackid = 0;
        CComBSTR text;
        if (cue != nullptr && SUCCEEDED(cue->get_Start(&start)) && SUCCEEDED(cue->get_Stop(&stop)) &&
            SUCCEEDED(cue->get_trackid(&trackid)) && SUCCEEDED(cue->get_Text(&text)))
            line += " " + Times(trackid, std::llround(start * 1e7), std::llround(stop * 1e7)) + Quoted(text);
        if (std::this_thread::get_id() != m_thread)
            line += " (on a thread other than the callback's)";
        std::lock_guard<std::mutex> lock(m_mutex);
        m_lines.push_back(line);
        return S_OK;
    }
    void PrintAndClear() {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (const std::string& line : m_lines)
            Print(line);
        m_lines.clear();
    }

private:
    const std::thread::id m_thread = std::this_thread::get_id();
    std::mutex m_mutex;  // guards m_lines, should an event come on another thread
    std::vector<std::string> m_lines;
};

/// A clock that stands still until moved, and counts its reads, so that main
/// knows when the timing worker has seen a new time.
class CSteppedClock final : public CUnknownImpl<ZQLifetime::Borrowed, IReferenceClock> {
public:
    HRESULT GetTime(REFERENCE_TIME* time) override {
        std::lock_guard<std::mutex> lock(m_mutex);
        *time = m_time;
        ++m_reads;
        m_read.notify_all();
        return S_OK;
    }
    HRESULT AdviseTime(REFERENCE_TIME, REFERENCE_TIME, HEVENT, DWORD_PTR*) override { return E_NOTIMPL; }
    HRESULT AdvisePeriodic(REFERENCE_TIME, REFERENCE_TIME, HSEMAPHORE, DWORD_PTR*) override { return E_NOTIMPL; }
    HRESULT Unadvise(DWORD_PTR) override { return E_NOTIMPL; }

    /// Moves the clock and waits for three more reads: the first may have
    /// begun before the move, the second sees the new time, and the third
    /// comes only after the tick of the second has posted its events.
    void MoveAndWaitForTick(REFERENCE_TIME time) {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_time = time;
        const long wanted = m_reads + 3;
        if (!m_read.wait_for(lock, kTimeout, [&] { return m_reads >= wanted; }))
            Fail("waiting for the timing worker to read the clock", E_FAIL);
    }

private:
    std::mutex m_mutex;  // guards the time and the count; m_read is signalled on every read
    std::condition_variable m_read;
    REFERENCE_TIME m_time = 0;
    long m_reads = 0;
};

template <class I>
CComPtr<I> CreateByProgId(const char16_t* progId) {
    CLSID clsid;
    Check(CLSIDFromProgID(progId, &clsid), "CLSIDFromProgID(" + ZQUtf8FromUtf16(progId) + ")");
    CComPtr<I> object;
    Check(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, ZQIidOf<I>(), reinterpret_cast<void**>(&object)),
          "CoCreateInstance(" + ZQUtf8FromUtf16(progId) + ")");
    return object;
}

template <class I, class From>
CComPtr<I> Query(const CComPtr<From>& from) {
    CComPtr<I> queried;
    Check(from->QueryInterface(ZQIidOf<I>(), reinterpret_cast<void**>(&queried)), "QueryInterface");
    return queried;
}

void PrintTracks(IZQSubtitleTrackList* tracks) {
    LONG count = 0;
    Check(tracks->get_Count(&count), "get_Count");
    for (LONG index = 0; index < count; ++index) {
        CComPtr<IZQSubtitleTrack> track;
        LONG id = 0;
        ZQSubtitle_Track_Kind kind = ZQSubtitle_Track_Kind_Unknown;
        VARIANT_BOOL selected = VARIANT_FALSE;
        CComBSTR label, language, name;
        Check(tracks->GetTrack(index, &track), "GetTrack");
        Check(track->get_ID(&id) | track->get_Kind(&kind) | track->get_Selected(&selected) |
                  track->get_Label(&label) | track->get_Language(&language) | track->get_LanguageName(&name),
              "reading a track's properties");
        Print("track " + std::to_string(id) + " kind " + std::to_string(kind) + " selected " +
              std::to_string(selected) + " label " + Quoted(label) + " language " + Quoted(language) + " (" +
              Quoted(name) + ")");
    }
}

/// Adds every FILE:LANGUAGE as a track and pumps them all to their ends.
std::map<LONG, Track> Multiplex(int argc, char** argv, CHost& host) {
    Print("multiplexer");
    CComPtr<IZQMuxSubtitle> mux = CreateByProgId<IZQMuxSubtitle>(u"ZQSubtitle.ZQMuxSubtitle");
    CComPtr<IZQMuxSubtitleControl> control = Query<IZQMuxSubtitleControl>(mux);
    Check(control->SetCallback(&host), "SetCallback");
    for (int i = 1; i < argc; ++i) {
        // The language follows the last colon: a Windows path has one of its own.
        const std::string argument = argv[i];
        const std::string path = argument.substr(0, argument.rfind(':'));
        const std::string file = path.substr(path.find_last_of("/\\") + 1);
        LONG trackid = 0;
        Check(mux->AddTextTrackFromFile(CComBSTR(ZQUtf16FromUtf8(path)), CComBSTR(ZQUtf16FromUtf8(file)),
                                        CComBSTR(ZQUtf16FromUtf8(argument.substr(argument.rfind(':') + 1))),
                                        &trackid),
              "AddTextTrackFromFile(" + path + ")");
    }
    CComPtr<IZQSubtitleTrackList> tracks;
    Check(mux->get_Tracks(&tracks), "get_Tracks");
    PrintTracks(tracks.Get());
    Check(control->Run(), "Run");
    std::map<LONG, Track> announced = host.WaitForEnds();
    Check(control->Stop(), "Stop");
    Check(control->SetCallback(nullptr), "SetCallback(null)");
    return announced;
}

void PumpMessages() {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
        DispatchMessageW(&message);
}

/// Hands the samples to a demultiplexer, moves its clock over every cue
/// boundary but the last, listing what each step brings, and stops it with
/// the last cue active, whose Clear arrives inside Stop on this thread.
void Demultiplex(std::map<LONG, Track>& announced, CListing& listing, CSteppedClock& clock) {
    Print("demultiplexer");
    CComPtr<IZQDmxSubtitle> dmx = CreateByProgId<IZQDmxSubtitle>(u"ZQSubtitle.ZQDmxSubtitle");
    CComPtr<IZQDmxSubtitleControl> control = Query<IZQDmxSubtitleControl>(dmx);
    Check(dmx->putref_Callback(&listing), "putref_Callback");
    Check(control->SetSyncSource(&clock), "SetSyncSource");
    std::set<REFERENCE_TIME> boundaries;
    std::map<LONG, Track*> byDmxId;
    for (auto& [muxId, track] : announced) {
        track.m_type.pbFormat = track.m_format.data();
        LONG dmxId = 0;
        Check(control->AddTrack(&track.m_type, &dmxId), "AddTrack");
        Check(dmx->SelectTrack(dmxId, VARIANT_TRUE), "SelectTrack");
        byDmxId[dmxId] = &track;
    }
    CComPtr<IZQSubtitleTrackList> tracks;
    Check(dmx->get_Tracks(&tracks), "get_Tracks");
    PrintTracks(tracks.Get());
    Check(control->Pause(), "Pause");
    for (auto& [dmxId, track] : byDmxId) {
        for (Sample& sample : track->m_samples) {
            Check(control->Receive(dmxId, sample.m_start, sample.m_stop, reinterpret_cast<BYTE*>(sample.m_text.data()),
                                   static_cast<LONG>(sample.m_text.size())),
                  "Receive");
            boundaries.insert({sample.m_start, sample.m_stop});
        }
        Check(control->EndOfStream(dmxId), "EndOfStream");
    }
    Check(control->Run(0), "Run");
    boundaries.erase(std::prev(boundaries.end()));
    for (REFERENCE_TIME time : boundaries) {
        clock.MoveAndWaitForTick(time);
        PumpMessages();
        Print("at " + std::to_string(time));
        listing.PrintAndClear();
    }
    Check(control->Stop(), "Stop");
    Print("stopped");
    listing.PrintAndClear();
    Check(dmx->putref_Callback(nullptr), "putref_Callback(null)");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s FILE:LANGUAGE...\n", argv[0]);
        return 2;
    }
    Check(CoInitializeEx(nullptr, COINIT_MULTITHREADED), "CoInitializeEx");
    {
        CHost host;
        CListing listing;
        CSteppedClock clock;
        std::map<LONG, Track> announced = Multiplex(argc, argv, host);
        Demultiplex(announced, listing, clock);
        // The module must have let go of everything the scenario lent it.
        if (host.References() + listing.References() + clock.References() != 0)
            Fail("releasing the host, the callback and the clock", E_FAIL);
    }
    CoUninitialize();
    return 0;
}
