// The demultiplexer's timing: what one tick costs per cue, and how late an
// Active reaches the application after its cue's start with a real clock.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <string>
#include <vector>

#include "dmx/CZQDmxSubtitle.h"
#include "hosts/common/CMonotonicReferenceClock.h"
#include "subtitle/CZQSubtitleTrack.h"
#include "subtitle/CZQSubtitleTrackList.h"
#include "zqplatform/comptr.h"
#include "zqplatform/unknownimpl.h"
#include "zqplatform/winuser.h"
#include "zqsubtitle/ZQSubtitleMediaType.h"

namespace {

constexpr REFERENCE_TIME kUnitsPerMillisecond = 10000;

/// An application that counts events; for the lateness run it also notes the
/// stream time at which each Active arrives.
class BenchCallback final : public CUnknownImpl<ZQLifetime::Borrowed, IZQDmxSubtitleCallback> {
public:
    HRESULT Cue(ZQSubtitle_Cue_Event cueevent, double currenttime, IZQSubtitleCue*) override {
        ++m_events;
        if (cueevent != ZQSubtitle_Cue_Event_Active || m_clock == nullptr)
            return S_OK;
        m_clock->GetTime(&m_arrival);
        m_eventTime = currenttime;
        ++m_actives;
        return S_OK;
    }

    IReferenceClock* m_clock = nullptr;
    long long m_events = 0;
    long long m_actives = 0;
    REFERENCE_TIME m_arrival = 0;
    double m_eventTime = 0;
};

/// The media type a host announces for a subtitle stream.
struct StreamType {
    StreamType() {
        info.dwOffset = kSubtitleInfoSize;
        type.majortype = MEDIATYPE_Subtitle;
        type.subtype = MEDIASUBTYPE_UTF8;
        type.formattype = FORMAT_SubtitleInfo;
        type.cbFormat = kSubtitleInfoSize;
        type.pbFormat = reinterpret_cast<BYTE*>(&info);
    }
    SUBTITLEINFO info{};
    AM_MEDIA_TYPE type{};
};

// One tick over a track of N cues of 2 s each, back to back, at a time that
// keeps one cue active: the steady state of play, where no event fires. This
// is the walk the worker does under the object's lock every 30 ms.
void BM_TickWalk(benchmark::State& state) {
    const auto cues = static_cast<LONG>(state.range(0));
    StreamType stream;
    CComPtr<CZQSubtitleTrackList> tracks;
    CComPtr<CZQSubtitleTrack> track;
    if (FAILED(CZQSubtitleTrackList::Create(&tracks)) || FAILED(CZQSubtitleTrack::Create(&track)) ||
        FAILED(track->InitFromMediaType(&stream.type)) || FAILED(tracks->AddTrack(track.Get()))) {
        state.SkipWithError("no track");
        return;
    }
    track->SetSelected(true);
    const std::string text = "A line of subtitle text.";
    for (LONG i = 0; i < cues; ++i) {
        const REFERENCE_TIME start = i * 2000 * kUnitsPerMillisecond;
        track->AddSample(start, start + 2000 * kUnitsPerMillisecond, text.data(), static_cast<LONG>(text.size()));
    }
    BenchCallback callback;
    const REFERENCE_TIME middle = (cues / 2) * 2000 * kUnitsPerMillisecond + 1;
    tracks->UpdateActive(&callback, middle);
    const long long eventsBefore = callback.m_events;
    for (auto _ : state)
        benchmark::DoNotOptimize(tracks->UpdateActive(&callback, middle));
    if (callback.m_events != eventsBefore)
        state.SkipWithError("the steady state fired events");
    // Seconds per cue: "2.5n" reads 2.5 ns.
    state.counters["per_cue"] = benchmark::Counter(static_cast<double>(cues),
                                                   benchmark::Counter::kIsIterationInvariantRate |
                                                       benchmark::Counter::kInvert);
}
BENCHMARK(BM_TickWalk)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMicrosecond);

double Percentile(std::vector<double> values, double fraction) {
    std::sort(values.begin(), values.end());
    const auto index = static_cast<size_t>(fraction * static_cast<double>(values.size() - 1) + 0.5);
    return values[index];
}

// How late Active reaches the application after its cue's start, on a real
// clock at real speed, through the worker's tick and the message queue of
// this thread. Each cue starts 40 to 70 ms after it is received (spread over
// the tick's phase) and is pumped for with GetMessageW. Reported: the tick's
// lateness (the event's time minus the cue's start) and the arrival's (the
// clock at the callback minus the start), in milliseconds.
void BM_ActiveLateness(benchmark::State& state) {
    CComPtr<IReferenceClock> clock;
    CComPtr<IZQDmxSubtitleControl> control;
    CComPtr<IZQDmxSubtitle> application;
    BenchCallback callback;
    StreamType stream;
    LONG id = 0;
    if (FAILED(CMonotonicReferenceClock::Create(1.0, &clock)) ||
        FAILED(ZQCreateDmxSubtitle(nullptr, IID_IZQDmxSubtitleControl, reinterpret_cast<void**>(&control))) ||
        FAILED(control->QueryInterface(IID_IZQDmxSubtitle, reinterpret_cast<void**>(&application))) ||
        FAILED(control->SetSyncSource(clock.Get())) || FAILED(application->putref_Callback(&callback)) ||
        FAILED(control->AddTrack(&stream.type, &id)) || FAILED(application->SelectTrack(id, VARIANT_TRUE))) {
        state.SkipWithError("no object");
        return;
    }
    callback.m_clock = clock.Get();
    REFERENCE_TIME runStart = 0;
    clock->GetTime(&runStart);
    control->Run(runStart);
    std::string text = "cue";
    std::vector<double> tickLateness;
    std::vector<double> arrivalLateness;
    int cue = 0;
    for (auto _ : state) {
        REFERENCE_TIME now = 0;
        clock->GetTime(&now);
        const REFERENCE_TIME start = now - runStart + (40 + (cue++ * 7) % 31) * kUnitsPerMillisecond;
        const long long activesBefore = callback.m_actives;
        control->Receive(id, start, start + 10 * kUnitsPerMillisecond * 100, reinterpret_cast<BYTE*>(text.data()),
                         static_cast<LONG>(text.size()));
        MSG message;
        while (callback.m_actives == activesBefore && GetMessageW(&message, nullptr, 0, 0) > 0)
            DispatchMessageW(&message);
        const double startSeconds = static_cast<double>(start) / 1e7;
        tickLateness.push_back((callback.m_eventTime - startSeconds) * 1e3);
        arrivalLateness.push_back(static_cast<double>(callback.m_arrival - runStart - start) / 1e4);
        state.SetIterationTime(arrivalLateness.back() / 1e3);
    }
    control->Stop();
    application->putref_Callback(nullptr);
    state.counters["tick_ms_median"] = Percentile(tickLateness, 0.5);
    state.counters["tick_ms_max"] = Percentile(tickLateness, 1.0);
    state.counters["arrival_ms_median"] = Percentile(arrivalLateness, 0.5);
    state.counters["arrival_ms_p99"] = Percentile(arrivalLateness, 0.99);
    state.counters["arrival_ms_max"] = Percentile(arrivalLateness, 1.0);
}
BENCHMARK(BM_ActiveLateness)->Iterations(60)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
