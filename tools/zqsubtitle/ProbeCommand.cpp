#include "tools/zqsubtitle/ProbeCommand.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "hosts/common/ModuleObjects.h"
#include "hosts/ffmpeg/FfmpegLog.h"
#include "hosts/ffmpeg/CDmxHost.h"
#include "tools/zqsubtitle/CommandText.h"
#include "zqplatform/bstr.h"
#include "zqplatform/comptr.h"
#include "zqplatform/utf.h"
#include "zqsubtitle/ZQSubtitle.h"

namespace {

constexpr int kUsageExit = 2;
constexpr int kFailureExit = 1;

void PrintUsage(FILE* out) {
    std::fprintf(out,
                 "usage: zqsubtitle probe MEDIA [--json]\n\n"
                 "Lists the subtitle streams of a container as the hosts see them: each\n"
                 "text stream is announced to a demultiplexer object, which gives it a\n"
                 "track id (the ids 'zqsubtitle play MEDIA --track ID' selects), and the\n"
                 "line shows the container's stream index and codec, the language the\n"
                 "container gives and the one the track takes (with its English name),\n"
                 "the title, and the number of cues: the packets with a text and a\n"
                 "duration. Streams of bitmap subtitles are listed as not read.\n\n"
                 "      --json     print one JSON document instead of text: file, streams\n"
                 "                 (track, stream, codec, text, containerLanguage, language,\n"
                 "                 languageName, title, cues)\n"
                 "  -h, --help     print this help\n\n"
                 "Exit status: 0 read, 1 the file can't be read (the file and the reason\n"
                 "on standard error), 2 bad arguments.\n");
}

/// A stream with what the demultiplexer object made of it.
struct ProbedStream {
    ContainerSubtitleStream stream;
    std::string language;
    std::string languageName;
    std::string label;
    int64_t cues = 0;
};

std::string ReadText(IZQSubtitleTrack* track, HRESULT (IZQSubtitleTrack::*getter)(BSTR*)) {
    CComBSTR text;
    if (FAILED((track->*getter)(&text)))
        return {};
    return ZQUtf8FromUtf16(text.View());
}

/// Announces the host's text streams to a new demultiplexer object and
/// reads back the language, its name and the label of each track.
CHostStatus AskTheModule(CDmxHost& host, std::vector<ProbedStream>& probed) {
    CComPtr<IZQDmxSubtitleControl> dmx;
    HRESULT hr = CreateModuleObject(CLSID_ZQDmxSubtitle, IID_IZQDmxSubtitleControl, reinterpret_cast<void**>(&dmx));
    CComPtr<IZQDmxSubtitle> application;
    if (SUCCEEDED(hr))
        hr = dmx->QueryInterface(IID_IZQDmxSubtitle, reinterpret_cast<void**>(&application));
    if (FAILED(hr))
        return CHostStatus::FromStatus("", "can't make the demultiplexer object", hr);
    CHostStatus status = host.Announce(dmx.Get());
    if (!status.Ok())
        return status;
    CComPtr<IZQSubtitleTrackList> tracks;
    hr = application->get_Tracks(&tracks);
    if (FAILED(hr))
        return CHostStatus::FromStatus("", "the demultiplexer object gives no tracks", hr);
    for (const ContainerSubtitleStream& stream : host.Streams()) {
        ProbedStream entry{stream, {}, {}, {}, 0};
        CComPtr<IZQSubtitleTrack> track;
        if (stream.trackid != 0 && SUCCEEDED(tracks->GetTrackByID(stream.trackid, &track))) {
            entry.language = ReadText(track.Get(), &IZQSubtitleTrack::get_Language);
            entry.languageName = ReadText(track.Get(), &IZQSubtitleTrack::get_LanguageName);
            entry.label = ReadText(track.Get(), &IZQSubtitleTrack::get_Label);
        }
        probed.push_back(std::move(entry));
    }
    return {};
}

void PrintText(const CDmxHost& host, const std::vector<ProbedStream>& probed) {
    std::printf("%s: %zu subtitle stream%s\n", host.Path().c_str(), probed.size(), probed.size() == 1 ? "" : "s");
    for (const ProbedStream& entry : probed) {
        const ContainerSubtitleStream& stream = entry.stream;
        if (!stream.text) {
            std::printf("  -   #%-2d %-10s  bitmap subtitles, not read\n", stream.index, stream.codec.c_str());
            continue;
        }
        // The container's code, then what the track made of it.
        const std::string given = stream.label.isoLang.empty() ? "-" : stream.label.isoLang;
        std::printf("  %-3" PRId32 " #%-2d %-10s  %-3s -> %-3s %-12s %5" PRId64 " cues%s%s%s\n", stream.trackid,
                    stream.index, stream.codec.c_str(), given.c_str(), entry.language.c_str(),
                    entry.languageName.c_str(), entry.cues, entry.label.empty() ? "" : "  \"", entry.label.c_str(),
                    entry.label.empty() ? "" : "\"");
    }
}

void PrintJson(const CDmxHost& host, const std::vector<ProbedStream>& probed) {
    std::printf("{\"file\": %s, \"streams\": [", JsonString(host.Path()).c_str());
    for (size_t i = 0; i < probed.size(); ++i) {
        const ProbedStream& entry = probed[i];
        const ContainerSubtitleStream& stream = entry.stream;
        std::printf("%s{\"track\": %" PRId32 ", \"stream\": %d, \"codec\": %s, \"text\": %s, "
                    "\"containerLanguage\": %s, \"language\": %s, \"languageName\": %s, \"title\": %s, "
                    "\"cues\": %" PRId64 "}",
                    i == 0 ? "" : ", ", stream.trackid, stream.index, JsonString(stream.codec).c_str(),
                    stream.text ? "true" : "false", JsonString(stream.label.isoLang).c_str(),
                    JsonString(entry.language).c_str(), JsonString(entry.languageName).c_str(),
                    JsonString(entry.label).c_str(), entry.cues);
    }
    std::printf("]}\n");
}

}  // namespace

int RunProbeCommand(int argc, char** argv) {
    ShowFfmpegErrorsOnly();
    if (AsksForHelp(argc, argv)) {
        PrintUsage(stdout);
        return 0;
    }
    std::string path;
    bool json = false;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--json") == 0) {
            json = true;
        } else if (argv[i][0] == '-' || !path.empty()) {
            PrintUsage(stderr);
            return kUsageExit;
        } else {
            path = argv[i];
        }
    }
    if (path.empty()) {
        PrintUsage(stderr);
        return kUsageExit;
    }
    std::unique_ptr<CDmxHost> host;
    std::vector<ProbedStream> probed;
    std::vector<int64_t> counts;
    CHostStatus status = CDmxHost::Open(path, host);
    if (status.Ok())
        status = AskTheModule(*host, probed);
    if (status.Ok())
        status = host->CountCues(counts);
    if (!status.Ok()) {
        std::fprintf(stderr, "zqsubtitle probe: %s\n", status.Message().c_str());
        return kFailureExit;
    }
    for (size_t i = 0; i < probed.size(); ++i)
        probed[i].cues = counts[i];
    if (json)
        PrintJson(*host, probed);
    else
        PrintText(*host, probed);
    return 0;
}
