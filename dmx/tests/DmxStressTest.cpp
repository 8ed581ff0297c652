// Races of the demultiplexer object, meant to run under ThreadSanitizer.
#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "dmx/tests/DmxTestSupport.h"

namespace zqtest {
namespace {

/// Per cue, Active and Inactive alternate, Active first; after a Clear (no track named) any cue
/// may go either way once. Read the counts once delivery has ended.
struct EventOrderChecker {
    void Record(const CueEventRecord& record) {
        std::lock_guard<std::mutex> lock(mutex);
        if (record.thread != thread)
            ++wrongThread;
        if (record.event == ZQSubtitle_Cue_Event_Clear) {
            for (auto& [text, state] : states)
                state = State::Unknown;
            return;
        }
        State& state = states.try_emplace(record.text, State::Inactive).first->second;
        const State next = record.event == ZQSubtitle_Cue_Event_Active ? State::Active : State::Inactive;
        violations += state == next ? 1 : 0;
        state = next;
    }

    enum class State { Inactive, Active, Unknown };
    std::mutex mutex;  // guards the rest, in case a delivery comes on a wrong thread
    std::map<std::u16string, State> states;
    std::thread::id thread = std::this_thread::get_id();
    int violations = 0;
    int wrongThread = 0;
};

class DmxStressTest : public DmxObjectTest {};

TEST_F(DmxStressTest, TicksRaceHostStreamingControlAndApplicationCallsWithoutBreakingTheEventOrder) {
    constexpr int kSamples = 300;
    ASSERT_OK(m_app->putref_Callback(&m_callback));
    const LONG tracks[] = {AddSelectedTrack("eng"), AddSelectedTrack("ger")};

    EventOrderChecker checker;
    std::atomic<int> nestedCalls{0};
    m_callback.SetResponder([&](const CueEventRecord& record) {
        checker.Record(record);
        // Calls back into the object, with or without its lock held here.
        CComPtr<IZQSubtitleTrackList> list;
        EXPECT_OK(m_app->get_SelectedTracks(&list));
        if (record.event == ZQSubtitle_Cue_Event_Active && nestedCalls.fetch_add(1) % 4 == 0) {
            EXPECT_OK(m_app->SelectTrack(tracks[1], VARIANT_TRUE));
        }
        return S_OK;
    });

    // Paces a thread so that ticks come between its calls (bounded while the object is stopped).
    auto awaitTick = [&] {
        const uint64_t seen = m_object->GetTicksBegun();
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(40);
        while (m_object->GetTicksBegun() == seen && std::chrono::steady_clock::now() < deadline)
            std::this_thread::yield();
    };
    std::atomic<bool> hostDone{false};
    std::thread host([&] {
        for (int i = 0; i < kSamples; ++i) {
            const LONG id = tracks[i % 2];
            // The clock moves on in 10 ms steps over a 3 s loop of cues.
            m_clock.SetTime(Seconds(0.01 * (i % 300)));
            const double start = 0.01 * ((i * 7) % 300);
            const HRESULT hr = Receive(id, start, start + 0.05 * (1 + i % 5), "c" + std::to_string(i));
            EXPECT_TRUE(hr == S_OK || hr == E_INVALIDARG);
            if (i % 50 == 49)
                m_control->NewSegment(id, Seconds(0.001 * (i % 7)), 0, 1.0);
            if (i % 37 == 36) {
                m_control->BeginFlush(id);
                m_control->EndFlush(id);
            }
            if (i % 91 == 90)
                m_control->EndOfStream(id);
            if (i % 15 == 0)
                awaitTick();
        }
        hostDone = true;
    });
    std::thread control([&] {
        for (int i = 0; !hostDone; ++i) {
            EXPECT_OK(i % 4 == 1 ? m_control->Run(Seconds(-0.1)) : i % 4 == 3 ? m_control->Stop() : m_control->Pause());
            awaitTick();
        }
        EXPECT_OK(m_control->Pause());
    });
    // The application's thread toggles the second track and pumps.
    for (int i = 0; !hostDone; ++i) {
        m_app->SelectTrack(tracks[1], (i % 2) != 0 ? VARIANT_TRUE : VARIANT_FALSE);
        PumpMessages();
        std::this_thread::yield();
    }
    host.join();
    control.join();

    ASSERT_OK(m_control->Stop());
    EXPECT_FALSE(m_object->ThreadExists());
    const uint64_t ticks = m_object->GetTicksBegun();
    PumpMessages();
    EXPECT_EQ(m_object->GetTicksBegun(), ticks);
    EXPECT_GT(m_callback.EventCount(), 0u);
    EXPECT_EQ(checker.violations, 0);
    EXPECT_EQ(checker.wrongThread, 0);
    m_callback.SetResponder(nullptr);
}

}  // namespace
}  // namespace zqtest
