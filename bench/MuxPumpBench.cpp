// The multiplexer's pump end to end: Run, every cue of every track to a host
// that returns at once, every EndOfStream, Stop. Cues per second of wall
// time, which is the pump thread's time, and allocations per cue, counted
// through the program's own operator new. Tracks of 100,000 cues each come
// from a SubRip file made here, in a temporary folder removed at exit.
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <new>
#include <string>

#include "bench/support/AllocationCounter.h"
#include "mux/CZQMuxSubtitle.h"
#include "zqplatform/bstr.h"
#include "zqplatform/comptr.h"
#include "zqplatform/oleauto.h"
#include "zqplatform/sync.h"
#include "zqplatform/unknownimpl.h"

namespace {

constexpr int kCuesPerTrack = 100'000;

/// A host that takes every sample at once and keeps only counts; the
/// benchmark's thread waits for the last EndOfStream.
class NullMuxHost final : public CUnknownImpl<ZQLifetime::Borrowed, IZQMuxSubtitleControlCallback> {
public:
    HRESULT Receive(LONG, REFERENCE_TIME, REFERENCE_TIME, BYTE* data, LONG length) override {
        benchmark::DoNotOptimize(data);
        m_bytes.fetch_add(length, std::memory_order_relaxed);
        return S_OK;
    }
    HRESULT EndOfStream(LONG) override {
        m_ends.fetch_add(1, std::memory_order_release);
        m_ends.notify_all();
        return S_OK;
    }
    HRESULT AddTrack(const AM_MEDIA_TYPE*, LONG) override { return S_OK; }
    HRESULT RemoveAllTracks() override { return S_OK; }
    HRESULT RemoveTrack(LONG) override { return S_OK; }

    /// Waits until `count` EndOfStream calls have come in all.
    void WaitForEnds(int count) {
        for (int seen = m_ends.load(std::memory_order_acquire); seen < count;
             seen = m_ends.load(std::memory_order_acquire))
            m_ends.wait(seen, std::memory_order_acquire);
    }

    std::atomic<long long> m_bytes{0};
    std::atomic<int> m_ends{0};
};

std::string Timestamp(long long ms) {
    char text[32];
    std::snprintf(text, sizeof text, "%02lld:%02lld:%02lld,%03lld", ms / 3'600'000, ms / 60'000 % 60, ms / 1000 % 60,
                  ms % 1000);
    return text;
}

/// One SubRip file of kCuesPerTrack two-line cues, made once per process.
const std::u16string& TrackFile() {
    static const std::u16string path = [] {
        const std::filesystem::path folder =
            std::filesystem::temp_directory_path() / ("zq-muxbench-" + std::to_string(GetCurrentProcessId()));
        std::filesystem::create_directories(folder);
        const std::filesystem::path file = folder / "track.srt";
        std::ofstream out(file, std::ios::binary);
        for (int i = 1; i <= kCuesPerTrack; ++i) {
            const long long start = i * 2000LL;
            out << i << '\n' << Timestamp(start) << " --> " << Timestamp(start + 1500) << '\n'
                << "Line " << i << " of the night train,\n- and we'll be on it.\n\n";
        }
        out.close();
        std::atexit([] {
            std::error_code ignored;
            std::filesystem::remove_all(std::filesystem::temp_directory_path() /
                                            ("zq-muxbench-" + std::to_string(GetCurrentProcessId())),
                                        ignored);
        });
        const std::string narrow = file.string();
        return std::u16string(narrow.begin(), narrow.end());
    }();
    return path;
}

void BM_Pump(benchmark::State& state) {
    const int tracks = static_cast<int>(state.range(0));
    CComPtr<IZQMuxSubtitle> mux;
    if (FAILED(ZQCreateMuxSubtitle(nullptr, IID_IZQMuxSubtitle, reinterpret_cast<void**>(&mux))))
        std::abort();
    CComPtr<IZQMuxSubtitleControl> control;
    mux.QueryInterface(&control);
    const CComBSTR path(TrackFile());
    for (int i = 0; i < tracks; ++i) {
        if (FAILED(mux->AddTextTrackFromFile(path, nullptr, nullptr, nullptr)))
            std::abort();
    }
    NullMuxHost host;
    control->SetCallback(&host);

    long long allocations = 0;
    int ends = 0;
    for (auto _ : state) {
        const long long before = g_allocations.load(std::memory_order_relaxed);
        control->Run();
        ends += tracks;
        host.WaitForEnds(ends);
        control->Stop();
        allocations += g_allocations.load(std::memory_order_relaxed) - before;
    }
    control->SetCallback(nullptr);
    const double cues = static_cast<double>(state.iterations()) * tracks * kCuesPerTrack;
    state.SetItemsProcessed(static_cast<int64_t>(cues));
    state.counters["cues_per_second"] = benchmark::Counter(cues, benchmark::Counter::kIsRate);
    // Thread creation and the like per run are counted too, spread over the cues.
    state.counters["allocs_per_cue"] = static_cast<double>(allocations) / cues;
    benchmark::DoNotOptimize(host.m_bytes.load());
}
// The pump runs on its own thread: wall time is what counts.
BENCHMARK(BM_Pump)->Arg(1)->Arg(10)->UseRealTime()->Unit(benchmark::kMillisecond);

// The pump looks for a request before every pass with a wait of time-out 0 on
// an event that isn't signalled; its price is part of every pass.
void BM_ZeroTimeoutPoll(benchmark::State& state) {
    HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    for (auto _ : state)
        benchmark::DoNotOptimize(WaitForSingleObject(event, 0));
    CloseHandle(event);
}
BENCHMARK(BM_ZeroTimeoutPoll)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
