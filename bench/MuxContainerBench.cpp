// The mux job's own parts: the hand-over of cues from a pump thread to a
// writer in time order (cues per second through the interleaver), and the
// whole job in process, SubRip files into Matroska through the module and
// FFmpeg's muxer (cues per second, load included). The whole process against
// ffmpeg is scripts/bench-mux.sh. Files are made here, in a temporary folder
// removed at exit.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "hosts/ffmpeg/CCueInterleaver.h"
#include "hosts/ffmpeg/CMuxSession.h"

namespace {

constexpr int kCues = 100'000;

std::filesystem::path Folder() {
    std::filesystem::path path = std::filesystem::temp_directory_path() / "zq-mux-bench";
    std::filesystem::create_directories(path);
    return path;
}

struct FolderRemover {
    ~FolderRemover() { std::filesystem::remove_all(Folder()); }
} g_remover;

/// A SubRip file of `cues` two-line cues, one every two seconds; made once.
std::string SubRipFile(int cues) {
    const std::filesystem::path path = Folder() / ("cues-" + std::to_string(cues) + ".srt");
    if (std::filesystem::exists(path))
        return path.string();
    auto time = [](long long s, int ms) {
        char text[32];
        std::snprintf(text, sizeof text, "%02lld:%02lld:%02lld,%03d", s / 3600, s / 60 % 60, s % 60, ms);
        return std::string(text);
    };
    std::ofstream out(path);
    for (int i = 0; i < cues; ++i) {
        const long long s = i * 2LL;
        out << i + 1 << "\n" << time(s, 0) << " --> " << time(s + 1, 500) << "\nThe night train leaves at nine, number " << i
            << "\nand we will be on it tomorrow morning.\n\n";
    }
    return path.string();
}

void InterleaverHandOff(benchmark::State& state) {
    const auto tracks = static_cast<size_t>(state.range(0));
    const std::string text = "The night train leaves at nine.";
    for (auto _ : state) {
        CCueInterleaver interleaver(std::vector<bool>(tracks, true));
        std::thread pump([&] {
            for (int i = 0; i < kCues; ++i) {
                for (size_t track = 0; track < tracks; ++track)
                    interleaver.Cue(track, i * 20000000LL, i * 20000000LL + 15000000, text.data(), text.size());
            }
            for (size_t track = 0; track < tracks; ++track)
                interleaver.End(track);
        });
        size_t track = 0;
        QueuedCue cue;
        for (;;) {
            const CCueInterleaver::State now = interleaver.Wait(std::chrono::milliseconds(100));
            if (now == CCueInterleaver::State::Finished)
                break;
            if (now == CCueInterleaver::State::Ready && interleaver.TakeEarliest(INT64_MAX, track, cue))
                benchmark::DoNotOptimize(cue.text.data());
        }
        pump.join();
    }
    state.SetItemsProcessed(state.iterations() * kCues * static_cast<int64_t>(tracks));
}

void MuxSubtitlesIntoMatroska(benchmark::State& state) {
    const auto tracks = static_cast<size_t>(state.range(0));
    MuxRequest request;
    for (size_t i = 0; i < tracks; ++i)
        request.subtitles.push_back({SubRipFile(kCues + static_cast<int>(i)), "en", ""});
    request.output = (Folder() / "out.mkv").string();
    for (auto _ : state) {
        MuxSummary summary;
        CMuxSession session;
        const CHostStatus status = session.Run(request, MuxHooks{}, summary);
        if (!status.Ok()) {
            state.SkipWithError(status.Message().c_str());
            return;
        }
    }
    state.SetItemsProcessed(state.iterations() * kCues * static_cast<int64_t>(tracks));
}

}  // namespace

BENCHMARK(InterleaverHandOff)->Arg(1)->Arg(4)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(MuxSubtitlesIntoMatroska)->Arg(1)->Arg(4)->Unit(benchmark::kMillisecond)->UseRealTime();

BENCHMARK_MAIN();
