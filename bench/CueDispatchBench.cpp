// Delivery of cue events to the application: the latency from a worker's
// Cue to the application's callback through the message queue (median and
// 99th percentile), and the cost of a Cue delivered at once on the
// application's own thread.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "dmx/CZQDmxSubtitleCallback.h"
#include "subtitle/CZQSubtitleCue.h"
#include "zqplatform/comptr.h"
#include "zqplatform/unknownimpl.h"
#include "zqplatform/winuser.h"

namespace {

using Clock = std::chrono::steady_clock;

/// The application: stamps the moment each event arrives.
class StampingCallback final : public CUnknownImpl<ZQLifetime::Borrowed, IZQDmxSubtitleCallback> {
public:
    HRESULT Cue(ZQSubtitle_Cue_Event, double, IZQSubtitleCue* cue) override {
        benchmark::DoNotOptimize(cue);
        m_arrived = Clock::now();
        ++m_count;
        return S_OK;
    }

    Clock::time_point m_arrived;
    long m_count = 0;
};

CComPtr<CZQDmxSubtitleCallback> MakeDispatcher(IZQDmxSubtitleCallback* application) {
    CZQDmxSubtitleCallback* raw = nullptr;
    CComPtr<CZQDmxSubtitleCallback> dispatcher;
    if (SUCCEEDED(CZQDmxSubtitleCallback::CreateInstance(&raw)))
        dispatcher.Attach(raw);
    if (dispatcher && FAILED(dispatcher->SetCallback(application)))
        dispatcher.Release();
    return dispatcher;
}

CComPtr<IZQSubtitleCue> MakeCue() {
    const std::u16string text = u"A line of subtitle text";
    CZQSubtitleCue* raw = nullptr;
    CComPtr<IZQSubtitleCue> cue;
    if (SUCCEEDED(CZQSubtitleCue::Create(1, text.data(), text.size(), 0, 20000000, &raw)))
        cue.Attach(raw);
    return cue;
}

double Percentile(std::vector<double> values, double fraction) {
    if (values.empty())
        return 0;
    size_t index = static_cast<size_t>(fraction * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), values.begin() + static_cast<long>(index), values.end());
    return values[index];
}

/// One worker cues when asked; the benchmark's thread, which set the
/// callback, waits in GetMessageW as an application's loop does.
void BM_WorkerCueToApplicationCallback(benchmark::State& state) {
    StampingCallback application;
    CComPtr<CZQDmxSubtitleCallback> dispatcher = MakeDispatcher(&application);
    CComPtr<IZQSubtitleCue> cue = MakeCue();
    if (!dispatcher || !cue) {
        state.SkipWithError("no dispatcher or cue");
        return;
    }
    std::atomic<long> requested{0};
    std::atomic<bool> stop{false};
    Clock::time_point cuedAt;  // written by the worker before its Cue posts
    std::thread worker([&] {
        long served = 0;
        for (;;) {
            requested.wait(served);
            if (stop)
                return;
            served = requested.load();
            cuedAt = Clock::now();
            dispatcher->Cue(ZQSubtitle_Cue_Event_Active, 1.0, cue.Get());
        }
    });
    std::vector<double> latencies;
    latencies.reserve(1 << 16);
    MSG message;
    for (auto _ : state) {
        const long expected = application.m_count + 1;
        requested.fetch_add(1);
        requested.notify_one();
        while (application.m_count < expected && GetMessageW(&message, nullptr, 0, 0) > 0)
            DispatchMessageW(&message);
        // The message's arrival orders the worker's stamp before this read.
        latencies.push_back(std::chrono::duration<double, std::micro>(application.m_arrived - cuedAt).count());
    }
    stop = true;
    requested.fetch_add(1);
    requested.notify_one();
    worker.join();
    state.counters["median_us"] = Percentile(latencies, 0.5);
    state.counters["p99_us"] = Percentile(latencies, 0.99);
}
BENCHMARK(BM_WorkerCueToApplicationCallback)->UseRealTime()->Iterations(20000);

/// A Cue on the application's own thread: queued and delivered in the call.
void BM_CueOnApplicationThread(benchmark::State& state) {
    StampingCallback application;
    CComPtr<CZQDmxSubtitleCallback> dispatcher = MakeDispatcher(&application);
    CComPtr<IZQSubtitleCue> cue = MakeCue();
    if (!dispatcher || !cue) {
        state.SkipWithError("no dispatcher or cue");
        return;
    }
    for (auto _ : state)
        dispatcher->Cue(ZQSubtitle_Cue_Event_Active, 1.0, cue.Get());
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_CueOnApplicationThread);

}  // namespace

BENCHMARK_MAIN();
