#include "tools/zqsubtitle/DumpCommand.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "subrip/CTextFile.h"
#include "subtitle/CZQSubtitleTrackList.h"
#include "subtitle/LanguageTable.h"
#include "subtitle/SubtitleMediaType.h"
#include "support/CComPtr.h"
#include "support/CStatusException.h"
#include "zqplatform/objbase.h"
#include "zqplatform/text.h"
#include "zqsubtitle/ZQSubtitle.h"

namespace {

constexpr int kUsageExit = 2;
constexpr int kFailureExit = 1;
constexpr REFERENCE_TIME kUnitsPerSecond = 10000000;

void PrintUsage(FILE* out) {
    std::fprintf(out,
                 "usage: zqsubtitle dump FILE [--language CODE] [--label TEXT] [--json]\n\n"
                 "Adds a SubRip file as a multiplexer track and prints the encoding found, the\n"
                 "media type the host is given (identifiers, IsoLang and TrackName of its\n"
                 "SUBTITLEINFO block), and every cue as the host receives it: track id, start\n"
                 "and stop in 100 ns units and as hh:mm:ss.fffffff, and the UTF-8 text with\n"
                 "its line ends shown as \\n.\n"
                 "  --language CODE   the track's language (\"ru\", \"ja\", ...); its code page\n"
                 "                    serves files that are neither 7-bit text nor UTF-8\n"
                 "  --label TEXT      the track's label; the file's name by default\n"
                 "  --json            print one JSON document instead of text\n");
}

struct Options {
    const char* path = nullptr;
    const char* language = nullptr;
    const char* label = nullptr;
    bool json = false;
};

/// What the host learns of the track when it is added.
struct AnnouncedTrack {
    LONG trackid = 0;
    GUID majortype = GUID_NULL;
    GUID subtype = GUID_NULL;
    GUID formattype = GUID_NULL;
    ULONG cbFormat = 0;
    /// IsoLang up to its NUL, within its four bytes.
    std::string isoLang;
    /// TrackName up to its NUL, within its 256 units.
    std::u16string trackName;
};

struct SentCue {
    LONG trackid;
    REFERENCE_TIME start;
    REFERENCE_TIME stop;
    std::string text;
};

// Interfaces have no virtual destructor by contract; the collector lives on
// the stack and is never deleted through one.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

/// The host's side of a multiplexer, reduced to keeping what AddTrack and
/// Receive hand over. Not counted: it lives on the command's stack.
class CCueCollector final : public IZQMuxSubtitleControlCallback {
public:
    HRESULT QueryInterface(REFIID, void** out) override {
        if (out != nullptr)
            *out = nullptr;
        return E_NOINTERFACE;
    }
    ULONG AddRef() override { return 2; }
    ULONG Release() override { return 1; }
    HRESULT Receive(LONG trackid, REFERENCE_TIME start, REFERENCE_TIME stop, BYTE* data, LONG length) override {
        m_cues.push_back({trackid, start, stop, std::string(reinterpret_cast<const char*>(data), length)});
        return S_OK;
    }
    HRESULT EndOfStream(LONG) override { return S_OK; }
    HRESULT AddTrack(const AM_MEDIA_TYPE* mediatype, LONG trackid) override {
        AnnouncedTrack track;
        track.trackid = trackid;
        track.majortype = mediatype->majortype;
        track.subtype = mediatype->subtype;
        track.formattype = mediatype->formattype;
        track.cbFormat = mediatype->cbFormat;
        if (mediatype->pbFormat != nullptr && mediatype->cbFormat >= sizeof(SUBTITLEINFO)) {
            // The block is only lent for the call, and its fields are copied
            // out byte-wise, as a host would.
            SUBTITLEINFO info;
            std::memcpy(&info, mediatype->pbFormat, sizeof(info));
            track.isoLang.assign(info.IsoLang, ::strnlen(info.IsoLang, sizeof(info.IsoLang)));
            size_t units = 0;
            while (units < std::size(info.TrackName) && info.TrackName[units] != 0)
                ++units;
            track.trackName.assign(info.TrackName, units);
        }
        m_tracks.push_back(std::move(track));
        return S_OK;
    }
    HRESULT RemoveAllTracks() override { return S_OK; }
    HRESULT RemoveTrack(LONG) override { return S_OK; }

    std::vector<SentCue>& Cues() { return m_cues; }
    std::vector<AnnouncedTrack>& Tracks() { return m_tracks; }

private:
    std::vector<SentCue> m_cues;
    std::vector<AnnouncedTrack> m_tracks;
};

#pragma GCC diagnostic pop

std::u16string WideFromUtf8(const char* text) {
    INT units = MultiByteToWideChar(CP_UTF8, 0, text, -1, nullptr, 0);
    if (units <= 0)
        return {};
    std::u16string wide(static_cast<size_t>(units), u'\0');
    MultiByteToWideChar(CP_UTF8, 0, text, -1, wide.data(), units);
    wide.resize(static_cast<size_t>(units) - 1);
    return wide;
}

std::string Utf8FromWide(const WCHAR* text) {
    if (text == nullptr)
        return {};
    INT bytes = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    if (bytes <= 0)
        return {};
    std::string narrow(static_cast<size_t>(bytes), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, -1, narrow.data(), bytes, nullptr, nullptr);
    narrow.resize(static_cast<size_t>(bytes) - 1);
    return narrow;
}

std::string FormatGuid(const GUID& guid) {
    WCHAR text[40] = {};
    StringFromGUID2(guid, text, 40);
    return Utf8FromWide(text);
}

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

// The file's name without its folders: a track's label by default.
std::string FileName(const char* path) {
    const char* slash = std::strrchr(path, '/');
    return slash != nullptr ? slash + 1 : path;
}

std::string DescribeStatus(HRESULT hr) {
    WCHAR text[512] = {};
    ZQGetStatusText(hr, text, 512);
    const char* name = ZQGetStatusName(hr);
    char number[16];
    std::snprintf(number, sizeof number, "0x%08" PRIX32, static_cast<uint32_t>(hr));
    std::string out = name != nullptr ? std::string(name) + " (" + number + ")" : std::string(number);
    return out + ": " + Utf8FromWide(text);
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

std::string JsonString(const std::string& text) {
    std::string out = "\"";
    for (unsigned char c : text) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c == '\n') {
            out += "\\n";
        } else if (c < 0x20) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", c);
            out += escape;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out + "\"";
}

bool ParseOptions(int argc, char** argv, Options& options) {
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--json") == 0) {
            options.json = true;
        } else if (std::strcmp(argv[i], "--language") == 0 && i + 1 < argc) {
            options.language = argv[++i];
        } else if (std::strcmp(argv[i], "--label") == 0 && i + 1 < argc) {
            options.label = argv[++i];
        } else if (argv[i][0] == '-' || options.path != nullptr) {
            return false;
        } else {
            options.path = argv[i];
        }
    }
    return options.path != nullptr;
}

struct DumpResult {
    HRESULT status = S_OK;
    CTextFile::Encoding encoding = CTextFile::Encoding_Auto;
    UINT codePage = 0;
    std::vector<AnnouncedTrack> tracks;
    std::vector<SentCue> cues;
};

// Tells the encoding as the track's own reader will decide it.
HRESULT DetectEncoding(const std::u16string& path, DumpResult& result) {
    CTextFile file(CTextFile::Encoding_Auto, result.codePage);
    const HRESULT hr = file.Open(path.c_str());
    if (SUCCEEDED(hr))
        result.encoding = file.GetEncoding();
    return hr;
}

// Adds the file to a live track list as the multiplexer does, with a host
// that keeps the announcement, then runs the pump's passes to the end, so the
// media type and the cues come out exactly as a host receives them.
DumpResult LoadAndSend(const Options& options) {
    DumpResult result;
    const std::u16string path = WideFromUtf8(options.path);
    const std::string labelText = options.label != nullptr ? options.label : FileName(options.path);
    const std::u16string label = WideFromUtf8(labelText.c_str());
    const std::u16string language = options.language != nullptr ? WideFromUtf8(options.language) : std::u16string();
    const WCHAR* languageText = options.language != nullptr ? language.c_str() : nullptr;
    result.codePage = GetLanguageCodePage(languageText);
    result.status = DetectEncoding(path, result);
    if (FAILED(result.status))
        return result;

    CComPtr<CZQSubtitleTrackList> tracks;
    result.status = CZQSubtitleTrackList::Create(&tracks);
    if (FAILED(result.status))
        return result;
    CCueCollector host;
    result.status = ZQCallWithBarrier([&] {
        LONG trackid = 0;
        HRESULT hr = tracks->AddTextTrackFromFile(&host, path.c_str(), label.c_str(), languageText, &trackid);
        if (FAILED(hr))
            return hr;
        tracks->Rewind();
        while ((hr = tracks->SendNext(&host)) == S_OK) {
        }
        return FAILED(hr) ? hr : S_OK;
    });
    result.tracks = std::move(host.Tracks());
    result.cues = std::move(host.Cues());
    return result;
}

void PrintText(const Options& options, const DumpResult& result) {
    std::printf("file: %s\n", options.path);
    std::printf("encoding: %s", EncodingName(result.encoding));
    if (result.encoding == CTextFile::Encoding_CodePage)
        std::printf(" %u", result.codePage == 0 ? GetACP() : result.codePage);
    std::printf("\n");
    for (const AnnouncedTrack& track : result.tracks) {
        std::printf("track %d media type:\n  major type   %s %s\n  subtype      %s %s\n  format type  %s %s\n"
                    "  format size  %u\n  IsoLang      \"%s\"\n  TrackName    \"%s\"\n",
                    track.trackid, FormatGuid(track.majortype).c_str(), GuidName(track.majortype),
                    FormatGuid(track.subtype).c_str(), GuidName(track.subtype), FormatGuid(track.formattype).c_str(),
                    GuidName(track.formattype), track.cbFormat, track.isoLang.c_str(),
                    Utf8FromWide(track.trackName.c_str()).c_str());
    }
    std::printf("cues: %zu\n", result.cues.size());
    size_t index = 0;
    for (const SentCue& cue : result.cues) {
        std::printf("\n#%zu track %d\n  start %" PRId64 " (%s)\n  stop  %" PRId64 " (%s)\n  text  %s\n", ++index,
                    cue.trackid, cue.start, FormatTime(cue.start).c_str(), cue.stop, FormatTime(cue.stop).c_str(),
                    ShowLineEnds(cue.text).c_str());
    }
}

void PrintJson(const Options& options, const DumpResult& result) {
    std::printf("{\n  \"file\": %s,\n  \"status\": %s,\n", JsonString(options.path).c_str(),
                JsonString(DescribeStatus(result.status)).c_str());
    std::printf("  \"encoding\": %s,\n  \"codePage\": %u,\n  \"tracks\": [",
                JsonString(EncodingName(result.encoding)).c_str(), result.codePage == 0 ? GetACP() : result.codePage);
    const char* trackSeparator = "\n";
    for (const AnnouncedTrack& track : result.tracks) {
        std::printf("%s    {\"track\": %d, \"majortype\": %s, \"subtype\": %s, \"formattype\": %s, \"cbFormat\": %u, "
                    "\"isoLang\": %s, \"trackName\": %s}",
                    trackSeparator, track.trackid, JsonString(FormatGuid(track.majortype)).c_str(),
                    JsonString(FormatGuid(track.subtype)).c_str(), JsonString(FormatGuid(track.formattype)).c_str(),
                    track.cbFormat, JsonString(track.isoLang).c_str(),
                    JsonString(Utf8FromWide(track.trackName.c_str())).c_str());
        trackSeparator = ",\n";
    }
    std::printf("%s],\n  \"cues\": [", result.tracks.empty() ? "" : "\n  ");
    const char* separator = "\n";
    for (const SentCue& cue : result.cues) {
        std::printf("%s    {\"track\": %d, \"start\": %" PRId64 ", \"startTime\": \"%s\", \"stop\": %" PRId64
                    ", \"stopTime\": \"%s\", \"text\": %s}",
                    separator, cue.trackid, cue.start, FormatTime(cue.start).c_str(), cue.stop,
                    FormatTime(cue.stop).c_str(), JsonString(cue.text).c_str());
        separator = ",\n";
    }
    std::printf("%s]\n}\n", result.cues.empty() ? "" : "\n  ");
}

}  // namespace

int RunDumpCommand(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) {
            PrintUsage(stdout);
            return 0;
        }
    }
    Options options;
    if (!ParseOptions(argc, argv, options)) {
        PrintUsage(stderr);
        return kUsageExit;
    }
    DumpResult result = LoadAndSend(options);
    if (options.json) {
        PrintJson(options, result);
        return FAILED(result.status) ? kFailureExit : 0;
    }
    if (FAILED(result.status)) {
        std::fprintf(stderr, "zqsubtitle dump: %s: %s\n", options.path, DescribeStatus(result.status).c_str());
        return kFailureExit;
    }
    PrintText(options, result);
    return 0;
}
