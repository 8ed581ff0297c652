// The two hot paths of a cue list: loading a file's worth of cues (AddCue)
// and the multiplexer pump's walk (Rewind, then SendNext until the end).
// Allocations are counted through the program's own operator new and
// reported per cue next to the times.
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <string>
#include <vector>

#include "bench/support/AllocationCounter.h"
#include "subtitle/CZQSubtitleCueList.h"
#include "zqplatform/comptr.h"
#include "zqplatform/unknownimpl.h"

namespace {

/// A host that takes every sample and does nothing with it but count bytes.
class NullMuxHost final : public CUnknownImpl<ZQLifetime::Borrowed, IZQMuxSubtitleControlCallback> {
public:
    HRESULT Receive(LONG, REFERENCE_TIME, REFERENCE_TIME, BYTE* data, LONG length) override {
        benchmark::DoNotOptimize(data);
        m_bytes += length;
        return S_OK;
    }
    HRESULT EndOfStream(LONG) override { return S_OK; }
    HRESULT AddTrack(const AM_MEDIA_TYPE*, LONG) override { return S_OK; }
    HRESULT RemoveAllTracks() override { return S_OK; }
    HRESULT RemoveTrack(LONG) override { return S_OK; }

    long long m_bytes = 0;
};

/// Texts of the length and mix of a real subtitle file: two short lines,
/// some with characters beyond ASCII.
std::vector<std::u16string> SampleTexts() {
    return {u"I don't know what you mean.", u"- Where were you?\r\n- At home, all night.",
            u"Das ist nicht m\u00F6glich, sagte er.", u"\u041D\u0435\u0442, \u044D\u0442\u043E \u043D\u0435 \u0442\u0430\u043A.",
            u"<i>Music playing</i>"};
}

CComPtr<CZQSubtitleCueList> MakeList() {
    CComPtr<CZQSubtitleCueList> list;
    if (FAILED(CZQSubtitleCueList::Create(&list)))
        std::abort();
    return list;
}

void FillList(CZQSubtitleCueList* list, const std::vector<std::u16string>& texts, int64_t count) {
    for (int64_t i = 0; i < count; ++i) {
        const std::u16string& text = texts[static_cast<size_t>(i) % texts.size()];
        list->AddCue(1, text.data(), text.size(), i * 20'000'000LL, i * 20'000'000LL + 15'000'000LL);
    }
}

void BM_AddCue(benchmark::State& state) {
    const std::vector<std::u16string> texts = SampleTexts();
    long long allocations = 0;
    for (auto _ : state) {
        CComPtr<CZQSubtitleCueList> list = MakeList();
        const long long before = g_allocations.load(std::memory_order_relaxed);
        FillList(list.Get(), texts, state.range(0));
        allocations += g_allocations.load(std::memory_order_relaxed) - before;
        state.PauseTiming();
        list.Release();
        state.ResumeTiming();
    }
    const double cues = static_cast<double>(state.iterations() * state.range(0));
    state.SetItemsProcessed(static_cast<int64_t>(cues));
    state.counters["allocs_per_cue"] = static_cast<double>(allocations) / cues;
}
BENCHMARK(BM_AddCue)->Arg(1'000'000)->Unit(benchmark::kMillisecond);

void BM_SendNextWalk(benchmark::State& state) {
    CComPtr<CZQSubtitleCueList> list = MakeList();
    FillList(list.Get(), SampleTexts(), state.range(0));
    NullMuxHost host;
    long long allocations = 0;
    for (auto _ : state) {
        const long long before = g_allocations.load(std::memory_order_relaxed);
        list->Rewind();
        while (list->SendNext(&host) == S_OK) {}
        allocations += g_allocations.load(std::memory_order_relaxed) - before;
    }
    const double cues = static_cast<double>(state.iterations() * state.range(0));
    state.SetItemsProcessed(static_cast<int64_t>(cues));
    // Cues per second, inverted: seconds per cue, printed with its SI prefix.
    state.counters["time_per_cue"] =
        benchmark::Counter(cues, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    state.counters["allocs_per_cue"] = static_cast<double>(allocations) / cues;
    benchmark::DoNotOptimize(host.m_bytes);
}
// A million cues spill out of the caches, ten thousand stay in them: the
// difference is the price of memory, not of the code.
BENCHMARK(BM_SendNextWalk)->Arg(10'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
