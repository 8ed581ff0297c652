#include "tools/zqsubtitle/DumpCommand.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "subrip/CTextFile.h"
#include "subrip/SubRipParser.h"
#include "subtitle/CZQSubtitleCueList.h"
#include "subtitle/LanguageTable.h"
#include "support/CStatusException.h"
#include "zqplatform/text.h"
#include "zqsubtitle/ZQSubtitle.h"

namespace {

constexpr int kUsageExit = 2;
constexpr int kFailureExit = 1;
// The live track list gives its first track this id.
constexpr LONG kTrackId = 1;
constexpr REFERENCE_TIME kUnitsPerSecond = 10000000;

void PrintUsage(FILE* out) {
    std::fprintf(out,
                 "usage: zqsubtitle dump FILE [--language CODE] [--json]\n\n"
                 "Reads a SubRip file as a multiplexer track is loaded and prints the encoding\n"
                 "found and every cue as the host receives it: track id, start and stop in\n"
                 "100 ns units and as hh:mm:ss.fffffff, and the UTF-8 text with its line ends\n"
                 "shown as \\n.\n"
                 "  --language CODE   the track's language (\"ru\", \"ja\", ...); its code page\n"
                 "                    serves files that are neither 7-bit text nor UTF-8\n"
                 "  --json            print one JSON document instead of text\n");
}

struct Options {
    const char* path = nullptr;
    const char* language = nullptr;
    bool json = false;
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

/// The host's side of the pump, reduced to keeping what Receive hands over.
/// Not counted: it lives on the command's stack.
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
    HRESULT AddTrack(const AM_MEDIA_TYPE*, LONG) override { return S_OK; }
    HRESULT RemoveAllTracks() override { return S_OK; }
    HRESULT RemoveTrack(LONG) override { return S_OK; }

    std::vector<SentCue>& Cues() { return m_cues; }

private:
    std::vector<SentCue> m_cues;
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
    INT bytes = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    if (bytes <= 0)
        return {};
    std::string narrow(static_cast<size_t>(bytes), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, -1, narrow.data(), bytes, nullptr, nullptr);
    narrow.resize(static_cast<size_t>(bytes) - 1);
    return narrow;
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
    std::vector<SentCue> cues;
};

// Loads the file as a multiplexer track does, then runs the send chain of one
// pass to the end, so the cues come out exactly as a host receives them.
DumpResult LoadAndSend(const Options& options) {
    DumpResult result;
    std::u16string language = options.language != nullptr ? WideFromUtf8(options.language) : std::u16string();
    result.codePage = GetLanguageCodePage(options.language != nullptr ? language.c_str() : nullptr);
    CTextFile file(CTextFile::Encoding_Auto, result.codePage);
    result.status = file.Open(WideFromUtf8(options.path).c_str());
    if (FAILED(result.status))
        return result;
    result.encoding = file.GetEncoding();
    CZQSubtitleCueList* cues = nullptr;
    result.status = CZQSubtitleCueList::Create(&cues);
    if (FAILED(result.status))
        return result;
    result.status = ZQCallWithBarrier([&] {
        HRESULT hr = ZQParseSubRip(file, kTrackId, *cues);
        if (FAILED(hr))
            return hr;
        CCueCollector collector;
        cues->Rewind();
        while ((hr = cues->SendNext(&collector)) == 0) {
        }
        result.cues = std::move(collector.Cues());
        return FAILED(hr) ? hr : S_OK;
    });
    cues->Release();
    return result;
}

void PrintText(const Options& options, const DumpResult& result) {
    std::printf("file: %s\n", options.path);
    std::printf("encoding: %s", EncodingName(result.encoding));
    if (result.encoding == CTextFile::Encoding_CodePage)
        std::printf(" %u", result.codePage == 0 ? GetACP() : result.codePage);
    std::printf("\ncues: %zu\n", result.cues.size());
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
    std::printf("  \"encoding\": %s,\n  \"codePage\": %u,\n  \"cues\": [", JsonString(EncodingName(result.encoding)).c_str(),
                result.codePage == 0 ? GetACP() : result.codePage);
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
