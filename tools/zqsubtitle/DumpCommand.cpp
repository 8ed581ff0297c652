#include "tools/zqsubtitle/DumpCommand.h"

#include <cinttypes>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <mutex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "hosts/common/ModuleObjects.h"
#include "tools/zqsubtitle/CommandText.h"
#include "tools/zqsubtitle/FileEncoding.h"
#include "tools/zqsubtitle/TrackArgument.h"
#include "zqplatform/bstr.h"
#include "zqplatform/comptr.h"
#include "zqplatform/objbase.h"
#include "zqplatform/oleauto.h"
#include "zqplatform/text.h"
#include "zqplatform/unknownimpl.h"
#include "zqplatform/utf.h"
#include "zqsubtitle/ZQSubtitle.h"
#include "zqsubtitle/ZQSubtitleMediaType.h"

namespace {

constexpr int kUsageExit = 2;
constexpr int kFailureExit = 1;
constexpr REFERENCE_TIME kUnitsPerSecond = 10000000;

void PrintUsage(FILE* out) {
    std::fprintf(out,
                 "usage: zqsubtitle dump FILE[:LANGUAGE[:LABEL]]... [--json]\n\n"
                 "Adds each SubRip file as a track of a multiplexer object, acts as its host,\n"
                 "runs it until every track has ended and stops it. Prints each file's\n"
                 "encoding, then every call the host receives, in the order they come:\n"
                 "AddTrack with the media type (identifiers, IsoLang and TrackName of its\n"
                 "SUBTITLEINFO block), Receive with the track id, start and stop in 100 ns\n"
                 "units and as hh:mm:ss.fffffff and the UTF-8 text with its line ends shown\n"
                 "as \\n, and EndOfStream. The pump sends one cue of each track per turn.\n"
                 "  LANGUAGE   the track's language (\"ru\", \"ja\", ...); its code page serves\n"
                 "             files that are neither 7-bit text nor UTF-8\n"
                 "  LABEL      the track's label; the file's name by default\n"
                 "  --json     print one JSON document instead of text\n"
                 "A FILE that exists as given, colons and all, is taken whole.\n");
}

struct Options {
    std::vector<TrackArgument> tracks;
    bool json = false;
};

// The published name of a subtitle identifier, for a reader who knows them.
const char* GuidName(const GUID& guid) {
    if (guid == MEDIATYPE_Subtitle)
        return "MEDIATYPE_Subtitle";
    if (guid == MEDIASUBTYPE_UTF8)
        return "MEDIASUBTYPE_UTF8";
    if (guid == FORMAT_SubtitleInfo)
        return "FORMAT_SubtitleInfo";
    return "unknown";
}

// hh:mm:ss.fffffff of a signed count of 100 ns; hours don't wrap at 24.
std::string FormatTime(REFERENCE_TIME time) {
    uint64_t magnitude = time < 0 ? 0 - static_cast<uint64_t>(time) : static_cast<uint64_t>(time);
    uint64_t fraction = magnitude % kUnitsPerSecond;
    uint64_t seconds = magnitude / kUnitsPerSecond;
    char text[48];
    std::snprintf(text, sizeof text, "%s%02" PRIu64 ":%02" PRIu64 ":%02" PRIu64 ".%07" PRIu64, time < 0 ? "-" : "",
                  seconds / 3600, seconds / 60 % 60, seconds % 60, fraction);
    return text;
}

std::string ShowLineEnds(const std::string& text) {
    std::string out;
    for (char c : text)
        out += c == '\n' ? std::string("\\n") : std::string(1, c);
    return out;
}

bool ParseOptions(int argc, char** argv, Options& options) {
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--json") == 0) {
            options.json = true;
        } else if (argv[i][0] == '-') {
            return false;
        } else {
            options.tracks.push_back(ParseTrackArgument(argv[i]));
        }
    }
    return !options.tracks.empty();
}

/// The host multiplexer of the command: prints every call as it comes (text)
/// or keeps it for the document (JSON), and counts the tracks that ended. It
/// lives on the command's stack, longer than the object. AddTrack comes on
/// the command's thread, Receive and EndOfStream on the pump's.
class CDumpHost final : public CUnknownImpl<ZQLifetime::Borrowed, IZQMuxSubtitleControlCallback> {
public:
    explicit CDumpHost(bool json) : m_json(json) {}

    HRESULT Receive(LONG trackid, REFERENCE_TIME start, REFERENCE_TIME stop, BYTE* data, LONG length) override {
        const std::string text(reinterpret_cast<const char*>(data), static_cast<size_t>(length));
        char head[64];
        std::snprintf(head, sizeof head, "Receive track %d\n", trackid);
        char json[160];
        std::snprintf(json, sizeof json,
                      "{\"call\": \"Receive\", \"track\": %d, \"start\": %" PRId64 ", \"startTime\": \"%s\", "
                      "\"stop\": %" PRId64 ", \"stopTime\": \"%s\", \"text\": ",
                      trackid, start, FormatTime(start).c_str(), stop, FormatTime(stop).c_str());
        Emit(std::string(head) + "  start " + std::to_string(start) + " (" + FormatTime(start) + ")\n  stop  " +
                 std::to_string(stop) + " (" + FormatTime(stop) + ")\n  text  " + ShowLineEnds(text) + "\n",
             std::string(json) + JsonString(text) + "}");
        return S_OK;
    }

    HRESULT EndOfStream(LONG trackid) override {
        Emit("EndOfStream track " + std::to_string(trackid) + "\n",
             "{\"call\": \"EndOfStream\", \"track\": " + std::to_string(trackid) + "}");
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            ++m_ends;
        }
        m_ended.notify_all();
        return S_OK;
    }

    HRESULT AddTrack(const AM_MEDIA_TYPE* mediatype, LONG trackid) override {
        // The block is only lent for the call; its fields are read byte-wise,
        // as a host would.
        std::string isoLang;
        std::u16string trackName;
        if (mediatype->pbFormat != nullptr && mediatype->cbFormat >= sizeof(SUBTITLEINFO)) {
            SUBTITLEINFO info;
            std::memcpy(&info, mediatype->pbFormat, sizeof(info));
            isoLang.assign(info.IsoLang, ::strnlen(info.IsoLang, sizeof(info.IsoLang)));
            size_t units = 0;
            while (units < std::size(info.TrackName) && info.TrackName[units] != 0)
                ++units;
            trackName.assign(info.TrackName, units);
        }
        const std::string name = ZQUtf8FromUtf16(trackName.c_str());
        char text[512];
        std::snprintf(text, sizeof text,
                      "AddTrack track %d\n  major type   %s %s\n  subtype      %s %s\n  format type  %s %s\n"
                      "  format size  %u\n  IsoLang      \"%s\"\n",
                      trackid, FormatGuid(mediatype->majortype).c_str(), GuidName(mediatype->majortype),
                      FormatGuid(mediatype->subtype).c_str(), GuidName(mediatype->subtype),
                      FormatGuid(mediatype->formattype).c_str(), GuidName(mediatype->formattype), mediatype->cbFormat,
                      isoLang.c_str());
        char json[512];
        std::snprintf(json, sizeof json,
                      "{\"call\": \"AddTrack\", \"track\": %d, \"majortype\": \"%s\", \"subtype\": \"%s\", "
                      "\"formattype\": \"%s\", \"cbFormat\": %u, \"isoLang\": ",
                      trackid, FormatGuid(mediatype->majortype).c_str(), FormatGuid(mediatype->subtype).c_str(),
                      FormatGuid(mediatype->formattype).c_str(), mediatype->cbFormat);
        Emit(std::string(text) + "  TrackName    \"" + name + "\"\n",
             std::string(json) + JsonString(isoLang) + ", \"trackName\": " + JsonString(name) + "}");
        return S_OK;
    }

    HRESULT RemoveAllTracks() override {
        Emit("RemoveAllTracks\n", "{\"call\": \"RemoveAllTracks\"}");
        return S_OK;
    }

    HRESULT RemoveTrack(LONG trackid) override {
        Emit("RemoveTrack track " + std::to_string(trackid) + "\n",
             "{\"call\": \"RemoveTrack\", \"track\": " + std::to_string(trackid) + "}");
        return S_OK;
    }

    /// Waits until `count` tracks have ended.
    void WaitForEnds(size_t count) {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_ended.wait(lock, [&] { return m_ends >= count; });
    }

    /// The calls kept for the JSON document, in the order they came.
    std::vector<std::string> TakeJsonCalls() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return std::move(m_jsonCalls);
    }

private:
    void Emit(const std::string& text, std::string json) {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_json)
            m_jsonCalls.push_back(std::move(json));
        else
            std::fputs(text.c_str(), stdout);
    }

    const bool m_json;
    // Guards the calls kept, the count of ended tracks and stdout's order.
    std::mutex m_mutex;
    std::condition_variable m_ended;
    size_t m_ends = 0;
    std::vector<std::string> m_jsonCalls;
};

/// A host that only keeps the texts of the cues it receives, and tells when
/// its one track has ended.
class CTextKeeper final : public CUnknownImpl<ZQLifetime::Borrowed, IZQMuxSubtitleControlCallback> {
public:
    HRESULT Receive(LONG, REFERENCE_TIME, REFERENCE_TIME, BYTE* data, LONG length) override {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_texts.size() < kTextsKept)
            m_texts.emplace_back(reinterpret_cast<const char*>(data), static_cast<size_t>(length));
        return S_OK;
    }
    HRESULT EndOfStream(LONG) override {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_ended = true;
        m_changed.notify_all();
        return S_OK;
    }
    HRESULT AddTrack(const AM_MEDIA_TYPE*, LONG) override { return S_OK; }
    HRESULT RemoveAllTracks() override { return S_OK; }
    HRESULT RemoveTrack(LONG) override { return S_OK; }

    std::vector<std::string> WaitForTexts() {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait(lock, [this] { return m_ended; });
        return m_texts;
    }

private:
    // Enough lines to tell code pages apart; a whole film isn't needed.
    static constexpr size_t kTextsKept = 200;
    std::mutex m_mutex;  // guards the texts and the end
    std::condition_variable m_changed;
    std::vector<std::string> m_texts;
    bool m_ended = false;
};

/// A file as the command loaded it.
struct LoadedFile {
    const TrackArgument* argument = nullptr;
    HRESULT status = S_OK;
    FileEncoding encoding;
    LONG trackid = 0;
};

/// Loads `argument` as the one track of a multiplexer of its own and runs it
/// to the end, keeping the cue texts the module delivers.
HRESULT ReadCueTexts(const CComBSTR& path, const CComBSTR& label, const CComBSTR& language,
                     std::vector<std::string>& texts) {
    CTextKeeper keeper;
    CComPtr<IZQMuxSubtitle> mux;
    HRESULT hr = CreateModuleObject(CLSID_ZQMuxSubtitle, IID_IZQMuxSubtitle, reinterpret_cast<void**>(&mux));
    CComPtr<IZQMuxSubtitleControl> control;
    if (SUCCEEDED(hr))
        hr = mux.QueryInterface(&control);
    if (SUCCEEDED(hr))
        hr = control->SetCallback(&keeper);
    LONG trackid = 0;
    if (SUCCEEDED(hr))
        hr = mux->AddTextTrackFromFile(path, label, language, &trackid);
    if (SUCCEEDED(hr))
        hr = control->Run();
    if (FAILED(hr))
        return hr;
    texts = keeper.WaitForTexts();
    control->Stop();
    control->SetCallback(nullptr);
    return S_OK;
}

std::string ReadBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

// Tells the encoding the module reads the file in, then adds the file as a
// track, which the host hears of at once. The module doesn't say which
// encoding it found; the command learns it by loading the file once on its
// own and finding which decoding of the file's bytes gives the texts the
// module delivered (FindFileEncoding), so no copy of the module's detection
// lives here.
LoadedFile LoadFile(IZQMuxSubtitle* mux, const TrackArgument& argument, bool json) {
    LoadedFile loaded;
    loaded.argument = &argument;
    const std::u16string language = ZQUtf16FromUtf8(argument.language);
    const CComBSTR path(ZQUtf16FromUtf8(argument.path));
    const CComBSTR label(ZQUtf16FromUtf8(argument.label));
    // No language at all is a null BSTR, as a host would pass it.
    const CComBSTR bstrLanguage = argument.hasLanguage ? CComBSTR(language) : CComBSTR();
    std::vector<std::string> texts;
    loaded.status = ReadCueTexts(path, label, bstrLanguage, texts);
    if (FAILED(loaded.status))
        return loaded;
    loaded.encoding = FindFileEncoding(ReadBytes(argument.path), texts,
                                       argument.hasLanguage ? ZQGetLocaleCodePage(language.c_str()) : 0);
    if (!json) {
        std::printf("file: %s\n  encoding: %s", argument.path.c_str(), loaded.encoding.name.c_str());
        if (loaded.encoding.codePage != 0)
            std::printf(" %u", loaded.encoding.codePage);
        std::printf("\n  language: %s\n  label: %s\n", argument.hasLanguage ? argument.language.c_str() : "(none)",
                    argument.label.c_str());
    }
    loaded.status = mux->AddTextTrackFromFile(path, label, bstrLanguage, &loaded.trackid);
    return loaded;
}

void PrintJson(const std::vector<LoadedFile>& files, const std::vector<std::string>& calls, HRESULT status) {
    std::printf("{\n  \"status\": %s,\n  \"files\": [", JsonString(DescribeStatus(status)).c_str());
    const char* separator = "\n";
    for (const LoadedFile& file : files) {
        std::printf("%s    {\"file\": %s, \"language\": %s, \"label\": %s, \"encoding\": %s, \"codePage\": %u, "
                    "\"status\": %s, \"track\": %d}",
                    separator, JsonString(file.argument->path).c_str(), JsonString(file.argument->language).c_str(),
                    JsonString(file.argument->label).c_str(), JsonString(file.encoding.name).c_str(),
                    file.encoding.codePage, JsonString(DescribeStatus(file.status)).c_str(),
                    file.trackid);
        separator = ",\n";
    }
    std::printf("%s],\n  \"calls\": [", files.empty() ? "" : "\n  ");
    separator = "\n";
    for (const std::string& call : calls) {
        std::printf("%s    %s", separator, call.c_str());
        separator = ",\n";
    }
    std::printf("%s]\n}\n", calls.empty() ? "" : "\n  ");
}

/// Loads every file into `mux`, then runs the pump to the end of every track
/// and stops it. The first failure is the answer; nothing runs after it.
HRESULT LoadAndRun(IZQMuxSubtitle* mux, IZQMuxSubtitleControl* control, CDumpHost& host, const Options& options,
                   std::vector<LoadedFile>& files) {
    HRESULT hr = control->SetCallback(&host);
    if (FAILED(hr))
        return hr;
    for (const TrackArgument& argument : options.tracks) {
        files.push_back(LoadFile(mux, argument, options.json));
        if (FAILED(files.back().status)) {
            if (!options.json) {
                std::fprintf(stderr, "zqsubtitle dump: %s: %s\n", argument.path.c_str(),
                             DescribeStatus(files.back().status).c_str());
            }
            return files.back().status;
        }
    }
    hr = control->Run();
    if (FAILED(hr))
        return hr;
    host.WaitForEnds(files.size());
    return control->Stop();
}

}  // namespace

int RunDumpCommand(int argc, char** argv) {
    if (AsksForHelp(argc, argv)) {
        PrintUsage(stdout);
        return 0;
    }
    Options options;
    if (!ParseOptions(argc, argv, options)) {
        PrintUsage(stderr);
        return kUsageExit;
    }
    // The host outlives the object, which holds it until it goes.
    CDumpHost host(options.json);
    std::vector<LoadedFile> files;
    HRESULT status = S_OK;
    {
        CComPtr<IZQMuxSubtitle> mux;
        status = CreateModuleObject(CLSID_ZQMuxSubtitle, IID_IZQMuxSubtitle, reinterpret_cast<void**>(&mux));
        CComPtr<IZQMuxSubtitleControl> control;
        if (SUCCEEDED(status))
            status = mux.QueryInterface(&control);
        if (SUCCEEDED(status))
            status = LoadAndRun(mux.Get(), control.Get(), host, options, files);
        if (control)
            control->Stop();
    }
    if (options.json) {
        PrintJson(files, host.TakeJsonCalls(), status);
    } else if (FAILED(status) && (files.empty() || SUCCEEDED(files.back().status))) {
        std::fprintf(stderr, "zqsubtitle dump: %s\n", DescribeStatus(status).c_str());
    }
    return FAILED(status) ? kFailureExit : 0;
}
