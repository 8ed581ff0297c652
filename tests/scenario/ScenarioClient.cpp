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
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "tests/scenario/CCueListing.h"
#include "tests/scenario/CScenarioHost.h"
#include "tests/scenario/CSteppedClock.h"
#include "zqplatform/bstr.h"
#include "zqplatform/comptr.h"
#include "zqplatform/objbase.h"
#include "zqplatform/utf.h"
#include "zqplatform/winuser.h"
#include "zqsubtitle/ZQSubtitle.h"

namespace {

constexpr auto kPumpTimeout = std::chrono::seconds(30);
constexpr auto kTickTimeout = std::chrono::seconds(10);

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

void Print(const std::vector<std::string>& lines) {
    for (const std::string& line : lines)
        Print(line);
}

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

std::string Text(BSTR text) {
    return QuotedForListing(ZQUtf8FromUtf16(text));
}

/// "english-utf8" of ".../samples/english-utf8.srt" in either platform's form.
std::string Stem(const std::string& path) {
    const size_t slash = path.find_last_of("/\\");
    std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    return name.substr(0, name.rfind('.'));
}

void PrintTracks(const CComPtr<IZQSubtitleTrackList>& tracks) {
    LONG count = 0;
    Check(tracks->get_Count(&count), "IZQSubtitleTrackList::get_Count");
    for (LONG index = 0; index < count; ++index) {
        CComPtr<IZQSubtitleTrack> track;
        Check(tracks->GetTrack(index, &track), "IZQSubtitleTrackList::GetTrack");
        LONG id = 0;
        ZQSubtitle_Track_Kind kind = ZQSubtitle_Track_Kind_Unknown;
        VARIANT_BOOL selected = VARIANT_FALSE;
        CComBSTR label;
        CComBSTR language;
        CComBSTR languageName;
        Check(track->get_ID(&id), "IZQSubtitleTrack::get_ID");
        Check(track->get_Kind(&kind), "IZQSubtitleTrack::get_Kind");
        Check(track->get_Selected(&selected), "IZQSubtitleTrack::get_Selected");
        Check(track->get_Label(&label), "IZQSubtitleTrack::get_Label");
        Check(track->get_Language(&language), "IZQSubtitleTrack::get_Language");
        Check(track->get_LanguageName(&languageName), "IZQSubtitleTrack::get_LanguageName");
        Print("track " + std::to_string(id) + " kind " + std::to_string(kind) + (selected ? " selected" : "") +
              " label " + Text(label) + " language " + Text(language) + " (" + Text(languageName) + ")");
    }
}

/// Adds every FILE:LANGUAGE as a track and pumps them all to their ends.
void Multiplex(int argc, char** argv, CScenarioHost& host) {
    Print("multiplexer");
    CComPtr<IZQMuxSubtitle> mux = CreateByProgId<IZQMuxSubtitle>(u"ZQSubtitle.ZQMuxSubtitle");
    CComPtr<IZQMuxSubtitleControl> control = Query<IZQMuxSubtitleControl>(mux);
    Check(control->SetCallback(&host), "IZQMuxSubtitleControl::SetCallback");
    for (int i = 1; i < argc; ++i) {
        // The language follows the last colon: a Windows path has one of its own.
        const std::string argument = argv[i];
        const size_t colon = argument.rfind(':');
        const std::string path = argument.substr(0, colon);
        const CComBSTR file(ZQUtf16FromUtf8(path));
        const CComBSTR label(ZQUtf16FromUtf8(Stem(path)));
        const CComBSTR language(ZQUtf16FromUtf8(argument.substr(colon + 1)));
        LONG trackid = 0;
        Check(mux->AddTextTrackFromFile(file, label, language, &trackid), "AddTextTrackFromFile(" + path + ")");
    }
    CComPtr<IZQSubtitleTrackList> tracks;
    Check(mux->get_Tracks(&tracks), "IZQMuxSubtitle::get_Tracks");
    PrintTracks(tracks);
    Check(control->Run(), "IZQMuxSubtitleControl::Run");
    const bool ended = host.WaitForAllEnds(kPumpTimeout);
    Check(control->Stop(), "IZQMuxSubtitleControl::Stop");
    Check(control->SetCallback(nullptr), "IZQMuxSubtitleControl::SetCallback(null)");
    Print(host.Lines());
    if (!ended)
        Fail("waiting for the end of every track", E_FAIL);
}

void PumpMessages() {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
        DispatchMessageW(&message);
}

/// Hands the multiplexer's samples to a demultiplexer and moves its clock over
/// every cue boundary but the last, listing the events that each step brings,
/// and stops it with the last cue active.
void Demultiplex(CScenarioHost& host, CCueListing& listing, CSteppedClock& clock) {
    Print("demultiplexer");
    CComPtr<IZQDmxSubtitle> dmx = CreateByProgId<IZQDmxSubtitle>(u"ZQSubtitle.ZQDmxSubtitle");
    CComPtr<IZQDmxSubtitleControl> control = Query<IZQDmxSubtitleControl>(dmx);
    Check(dmx->putref_Callback(&listing), "IZQDmxSubtitle::putref_Callback");
    Check(control->SetSyncSource(&clock), "IZQDmxSubtitleControl::SetSyncSource");
    std::set<REFERENCE_TIME> boundaries;
    std::vector<std::pair<LONG, ScenarioTrack>> tracks;
    for (auto& [muxId, track] : host.Tracks()) {
        AM_MEDIA_TYPE mediatype{track.m_majortype, track.m_subtype, FALSE, FALSE, 0, track.m_formattype,
                                nullptr, static_cast<ULONG>(track.m_format.size()), track.m_format.data()};
        LONG dmxId = 0;
        Check(control->AddTrack(&mediatype, &dmxId), "IZQDmxSubtitleControl::AddTrack");
        Check(dmx->SelectTrack(dmxId, VARIANT_TRUE), "IZQDmxSubtitle::SelectTrack");
        tracks.emplace_back(dmxId, track);
    }
    CComPtr<IZQSubtitleTrackList> announced;
    Check(dmx->get_Tracks(&announced), "IZQDmxSubtitle::get_Tracks");
    PrintTracks(announced);

    Check(control->Pause(), "IZQDmxSubtitleControl::Pause");
    for (auto& [dmxId, track] : tracks) {
        for (ScenarioSample& sample : track.m_samples) {
            Check(control->Receive(dmxId, sample.m_start, sample.m_stop, reinterpret_cast<BYTE*>(sample.m_text.data()),
                                   static_cast<LONG>(sample.m_text.size())),
                  "IZQDmxSubtitleControl::Receive");
            boundaries.insert(sample.m_start);
            boundaries.insert(sample.m_stop);
        }
        Check(control->EndOfStream(dmxId), "IZQDmxSubtitleControl::EndOfStream");
    }
    Check(control->Run(0), "IZQDmxSubtitleControl::Run");
    // The last boundary is left out, so that Stop finds a cue active.
    boundaries.erase(std::prev(boundaries.end()));
    for (REFERENCE_TIME time : boundaries) {
        if (!clock.MoveAndWaitForTick(time, kTickTimeout))
            Fail("waiting for the timing worker to read the clock", E_FAIL);
        PumpMessages();
        Print("at " + std::to_string(time));
        Print(listing.TakeLines());
    }
    // On the callback's own thread the Clear arrives before Stop returns.
    Check(control->Stop(), "IZQDmxSubtitleControl::Stop");
    Print("stopped");
    Print(listing.TakeLines());
    Check(dmx->putref_Callback(nullptr), "IZQDmxSubtitle::putref_Callback(null)");
}

/// The module must have let go of everything the scenario lent it.
void CheckReleased(const char* what, ULONG references) {
    if (references != 0)
        Fail(std::string("releasing the ") + what + " (the module still holds " + std::to_string(references) + ")",
             E_FAIL);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s FILE:LANGUAGE...\n", argv[0]);
        return 2;
    }
    HRESULT hr = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    if (FAILED(hr)) {
        std::fprintf(stderr, "zqsubtitle-scenario: CoInitializeEx failed: 0x%08X\n", static_cast<unsigned>(hr));
        return 1;
    }
    {
        CScenarioHost host;
        CCueListing listing;
        CSteppedClock clock;
        Multiplex(argc, argv, host);
        Demultiplex(host, listing, clock);
        CheckReleased("host", host.References());
        CheckReleased("callback", listing.References());
        CheckReleased("clock", clock.References());
    }
    CoUninitialize();
    return 0;
}
