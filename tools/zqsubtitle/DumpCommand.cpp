#include "tools/zqsubtitle/DumpCommand.h"

#include <cinttypes>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "hosts/common/ModuleObjects.h"
#include "subrip/CTextFile.h"
#include "subtitle/LanguageTable.h"
#include "subtitle/SubtitleMediaType.h"
#include "tools/zqsubtitle/CommandText.h"
#include "tools/zqsubtitle/TrackArgument.h"
#include "zqplatform/comptr.h"
#include "zqplatform/objbase.h"
#include "zqplatform/oleauto.h"
#include "zqplatform/text.h"
#include "zqsubtitle/ZQSubtitle.h"

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

const char* EncodingName(CTextFile::Encoding encoding) {
    switch (encoding) {
    case CTextFile::Encoding_Auto:
        return "undecided";
    case CTextFile::Encoding_Ascii:
        return "7-bit text";
    case CTextFile::Encoding_CodePage:
        return "code page";
    case CTextFile::Encoding_Utf8:
        return "UTF-8";
    case CTextFile::Encoding_Utf16LE:
        return "UTF-16 LE";
    case CTextFile::Encoding_Utf16BE:
        return "UTF-16 BE";
    }
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

// Interfaces have no virtual destructor by contract; the host lives on the
// command's stack and is never deleted through one.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

/// The host multiplexer of the command: prints every call as it comes (text)
/// or keeps it for the document (JSON), and counts the tracks that ended. Not
/// counted: it lives on the command's stack, longer than the object. AddTrack
/// comes on the command's thread, Receive and EndOfStream on the pump's.
class CDumpHost final : public IZQMuxSubtitleControlCallback {
public:
    explicit CDumpHost(bool json) : m_json(json) {}

    HRESULT QueryInterface(REFIID, void** out) override {
        if (out != nullptr)
            *out = nullptr;
        return E_NOINTERFACE;
    }
    ULONG AddRef() override { return 2; }
    ULONG Release() override { return 1; }

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
        const std::string name = Utf8FromWide(trackName.c_str());
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

#pragma GCC diagnostic pop

/// A file as the command loaded it.
struct LoadedFile {
    const TrackArgument* argument = nullptr;
    HRESULT status = S_OK;
    CTextFile::Encoding encoding = CTextFile::Encoding_Auto;
    UINT codePage = 0;
    LONG trackid = 0;
};

// Tells the encoding as the track's own reader will decide it, then adds the
// file as a track, which the host hears of at once.
LoadedFile LoadFile(IZQMuxSubtitle* mux, const TrackArgument& argument, bool json) {
    LoadedFile loaded;
    loaded.argument = &argument;
    const std::u16string path = WideFromUtf8(argument.path);
    const std::u16string language = WideFromUtf8(argument.language);
    const std::u16string label = WideFromUtf8(argument.label);
    loaded.codePage = GetLanguageCodePage(argument.hasLanguage ? language.c_str() : nullptr);
    {
        CTextFile file(CTextFile::Encoding_Auto, loaded.codePage);
        loaded.status = file.Open(path.c_str());
        if (FAILED(loaded.status))
            return loaded;
        loaded.encoding = file.GetEncoding();
    }
    if (!json) {
        std::printf("file: %s\n  encoding: %s", argument.path.c_str(), EncodingName(loaded.encoding));
        if (loaded.encoding == CTextFile::Encoding_CodePage)
            std::printf(" %u", loaded.codePage == 0 ? GetACP() : loaded.codePage);
        std::printf("\n  language: %s\n  label: %s\n", argument.hasLanguage ? argument.language.c_str() : "(none)",
                    argument.label.c_str());
    }
    BSTR bpath = SysAllocString(path.c_str());
    BSTR blabel = SysAllocString(label.c_str());
    BSTR blanguage = argument.hasLanguage ? SysAllocString(language.c_str()) : nullptr;
    loaded.status = mux->AddTextTrackFromFile(bpath, blabel, blanguage, &loaded.trackid);
    SysFreeString(blanguage);
    SysFreeString(blabel);
    SysFreeString(bpath);
    return loaded;
}

void PrintJson(const std::vector<LoadedFile>& files, const std::vector<std::string>& calls, HRESULT status) {
    std::printf("{\n  \"status\": %s,\n  \"files\": [", JsonString(DescribeStatus(status)).c_str());
    const char* separator = "\n";
    for (const LoadedFile& file : files) {
        std::printf("%s    {\"file\": %s, \"language\": %s, \"label\": %s, \"encoding\": %s, \"codePage\": %u, "
                    "\"status\": %s, \"track\": %d}",
                    separator, JsonString(file.argument->path).c_str(), JsonString(file.argument->language).c_str(),
                    JsonString(file.argument->label).c_str(), JsonString(EncodingName(file.encoding)).c_str(),
                    file.codePage == 0 ? GetACP() : file.codePage, JsonString(DescribeStatus(file.status)).c_str(),
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
