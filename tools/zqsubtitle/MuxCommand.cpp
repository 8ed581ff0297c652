#include "tools/zqsubtitle/MuxCommand.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <string>

#include "hosts/ffmpeg/FfmpegLog.h"
#include "hosts/ffmpeg/CMuxSession.h"
#include "tools/zqsubtitle/CommandText.h"
#include "tools/zqsubtitle/InterruptScope.h"
#include "tools/zqsubtitle/ProgressBar.h"
#include "tools/zqsubtitle/TrackArgument.h"

namespace {

constexpr int kUsageExit = 2;
constexpr int kFailureExit = 1;
constexpr int kInterruptedExit = 130;

void PrintUsage(FILE* out) {
    std::fprintf(out,
                 "usage: zqsubtitle mux [INPUT_MEDIA] -s FILE[:LANGUAGE[:LABEL]]... -o OUTPUT\n"
                 "                      [--format NAME] [--quiet] [--json]\n\n"
                 "Writes SubRip files as subtitle tracks into a container, beside the video\n"
                 "and audio of INPUT_MEDIA when one is given (copied as they are, without\n"
                 "re-encoding), or as a file of subtitle tracks alone. Each file is read in\n"
                 "its own encoding, which the subtitle module decides from its byte-order\n"
                 "mark, its bytes and its language, and every text goes out as UTF-8.\n"
                 "The cues are interleaved with the media by time; a file whose cues are\n"
                 "out of order is written in time order.\n\n"
                 "  -s, --subtitle FILE[:LANGUAGE[:LABEL]]\n"
                 "                 a SubRip file to add, in the order given; at least one.\n"
                 "                 LANGUAGE (\"ru\", \"rus\", \"ja\", ...) chooses the code page\n"
                 "                 for a file that is neither UTF-8 nor UTF-16 and becomes\n"
                 "                 the track's ISO 639-2 language; LABEL the track's title.\n"
                 "                 A FILE that exists as given, colons and all, is taken whole.\n"
                 "  -o, --output OUTPUT\n"
                 "                 the file to write. It appears only when complete: it is\n"
                 "                 written beside its name and renamed at the end, replacing\n"
                 "                 a file of that name; a failure or Ctrl-C leaves nothing\n"
                 "                 behind and an existing file as it was.\n"
                 "  -f, --format NAME\n"
                 "                 FFmpeg's name of the output format; by default the one\n"
                 "                 OUTPUT's extension tells, and Matroska when it tells none.\n"
                 "                 Matroska (.mkv) carries the texts as SubRip (S_TEXT/UTF8),\n"
                 "                 exactly as read; MP4 (.mp4, .mov) as mov_text and WebM\n"
                 "                 (.webm) as WebVTT, which take SubRip's markup (<i>, <b>,\n"
                 "                 <font>) as styles of their own. A format that carries no\n"
                 "                 text subtitles is refused.\n"
                 "  -q, --quiet    print nothing but errors\n"
                 "      --json     print what was written as one JSON document: output,\n"
                 "                 format, duration (seconds), streams (index, type, codec,\n"
                 "                 language, title, source, packets) and notes (input\n"
                 "                 streams left out)\n"
                 "  -h, --help     print this help\n\n"
                 "Without --quiet or --json, one line per stream of the output is printed.\n"
                 "A progress bar (of the media's length, or of the cues) is drawn on\n"
                 "standard error when it is a terminal. Exit status: 0 written, 1 failed\n"
                 "(the file and the reason on standard error), 2 bad arguments, 130\n"
                 "interrupted.\n");
}

struct Options {
    MuxRequest request;
    bool quiet = false;
    bool json = false;
};

bool ParseOptions(int argc, char** argv, Options& options) {
    for (int i = 1; i < argc; ++i) {
        const char* word = argv[i];
        const bool hasValue = i + 1 < argc;
        if (std::strcmp(word, "-s") == 0 || std::strcmp(word, "--subtitle") == 0) {
            if (!hasValue)
                return false;
            const TrackArgument track = ParseTrackArgument(argv[++i]);
            options.request.subtitles.push_back(
                MuxSubtitleFile{track.path, track.language, track.hasLabel ? track.label : std::string()});
        } else if (std::strcmp(word, "-o") == 0 || std::strcmp(word, "--output") == 0) {
            if (!hasValue || !options.request.output.empty())
                return false;
            options.request.output = argv[++i];
        } else if (std::strcmp(word, "-f") == 0 || std::strcmp(word, "--format") == 0) {
            if (!hasValue)
                return false;
            options.request.format = argv[++i];
        } else if (std::strcmp(word, "-q") == 0 || std::strcmp(word, "--quiet") == 0) {
            options.quiet = true;
        } else if (std::strcmp(word, "--json") == 0) {
            options.json = true;
        } else if (word[0] == '-' && word[1] != '\0') {
            return false;
        } else if (options.request.media.empty()) {
            options.request.media = word;
        } else {
            return false;
        }
    }
    return !options.request.subtitles.empty() && !options.request.output.empty();
}

/// hh:mm:ss.ss of 100 ns units.
std::string FormatDuration(int64_t units) {
    const double seconds = static_cast<double>(units) / 1e7;
    const int64_t whole = static_cast<int64_t>(seconds);
    char text[32];
    std::snprintf(text, sizeof text, "%02" PRId64 ":%02" PRId64 ":%05.2f", whole / 3600, whole / 60 % 60,
                  seconds - static_cast<double>(whole / 60 * 60));
    return text;
}

void PrintSummary(const MuxSummary& summary) {
    std::printf("%s  %s  %s\n", summary.output.c_str(), summary.format.c_str(),
                FormatDuration(summary.duration).c_str());
    for (const MuxStream& stream : summary.streams) {
        const bool subtitle = stream.type == "subtitle";
        std::printf("  #%-2d %-8s  %-10s  %-3s  %6" PRId64 " %-7s  from %s%s%s%s\n", stream.index, stream.type.c_str(),
                    stream.codec.c_str(), stream.language.empty() ? "und" : stream.language.c_str(), stream.packets,
                    subtitle ? "cues" : "packets", stream.source.c_str(), stream.title.empty() ? "" : "  \"",
                    stream.title.c_str(), stream.title.empty() ? "" : "\"");
    }
}

void PrintJson(const MuxSummary& summary) {
    std::printf("{\"output\": %s, \"format\": %s, \"duration\": %.7g, \"streams\": [", JsonString(summary.output).c_str(),
                JsonString(summary.format).c_str(), static_cast<double>(summary.duration) / 1e7);
    for (size_t i = 0; i < summary.streams.size(); ++i) {
        const MuxStream& stream = summary.streams[i];
        std::printf("%s{\"index\": %d, \"type\": %s, \"codec\": %s, \"language\": %s, \"title\": %s, "
                    "\"source\": %s, \"packets\": %" PRId64 "}",
                    i == 0 ? "" : ", ", stream.index, JsonString(stream.type).c_str(), JsonString(stream.codec).c_str(),
                    JsonString(stream.language).c_str(), JsonString(stream.title).c_str(),
                    JsonString(stream.source).c_str(), stream.packets);
    }
    std::printf("], \"notes\": [");
    for (size_t i = 0; i < summary.notes.size(); ++i)
        std::printf("%s%s", i == 0 ? "" : ", ", JsonString(summary.notes[i]).c_str());
    std::printf("]}\n");
}

}  // namespace

int RunMuxCommand(int argc, char** argv) {
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
    const InterruptScope interrupt;
    ProgressBar progress(options.request.output, options.quiet);
    MuxHooks hooks;
    if (progress.Drawn())
        hooks.progress = [&progress](double fraction) { progress.Show(fraction); };
    hooks.interrupted = [] { return InterruptScope::Interrupted(); };
    MuxSummary summary;
    CMuxSession session;
    const CHostStatus status = session.Run(options.request, hooks, summary);
    progress.Finish();
    if (!status.Ok()) {
        std::fprintf(stderr, "zqsubtitle mux: %s\n", status.Message().c_str());
        return InterruptScope::Interrupted() ? kInterruptedExit : kFailureExit;
    }
    for (const std::string& note : summary.notes)
        std::fprintf(stderr, "zqsubtitle mux: note: %s\n", note.c_str());
    if (options.json)
        PrintJson(summary);
    else if (!options.quiet)
        PrintSummary(summary);
    return 0;
}
