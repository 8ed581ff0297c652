// Races of the pump against Stop, Run and readers on other threads. Meant to
// run under ThreadSanitizer too; each test waits on conditions, never on time.
#include <gtest/gtest.h>

#include "mux/tests/MuxTestSupport.h"

namespace {

using namespace zqmuxtest;

class MuxStressTest : public MuxTest {
protected:
    /// Tracks of `cues` cues each, announced to the host, whose calls are then
    /// forgotten. Every call that reaches the host while `m_stopped` is set
    /// is counted in `m_lateCalls`; `extra` runs on every call too.
    void Prepare(int tracks, int cues, std::function<void(const MuxHostCall&)> extra = nullptr) {
        for (int i = 0; i < tracks; ++i)
            AddTrack(Mux(), m_files.Write("t" + std::to_string(i) + ".srt", cues));
        ASSERT_OK(Control()->SetCallback(&m_host));
        m_host.ClearCalls();
        m_host.SetResponder([this, extra](const MuxHostCall& call) {
            if (m_stopped.load())
                m_lateCalls.fetch_add(1);
            if (extra)
                extra(call);
            return S_OK;
        });
    }

    std::atomic<bool> m_stopped{true};
    std::atomic<int> m_lateCalls{0};
};

TEST_F(MuxStressTest, RunStopCyclesWithAHostThatBlocksUntilReleased) {
    Gate gate;
    Prepare(3, 20, [&](const MuxHostCall& call) {
        if (call.kind == MuxHostCallKind::Receive)
            gate.Pass();
    });
    for (int cycle = 0; cycle < 400; ++cycle) {
        gate.Set(false);
        m_host.ClearCalls();
        m_stopped = false;
        ASSERT_OK(Control()->Run());
        ASSERT_TRUE(m_host.WaitForCalls(MuxHostCallKind::Receive, 1)) << "cycle " << cycle;
        // The host lets the blocked Receive go before it stops, as it must.
        gate.Set(true);
        ASSERT_OK(Control()->Stop());
        m_stopped = true;
        // Every cycle starts from the first cue of the first track.
        ASSERT_EQ(CueStart(1), m_host.Calls().front().start);
        ASSERT_EQ(1, m_host.Calls().front().trackid);
    }
    EXPECT_EQ(0, m_lateCalls.load());
}

// One cue: Stop races the pass that sends it (even cycles) or the last pass, which ends the track
// (odd cycles). Whatever came is a prefix of the full sequence, and nothing comes after Stop.
TEST_F(MuxStressTest, StopRacesTheLastPass) {
    Prepare(1, 1);
    size_t completeRuns = 0;
    for (int cycle = 0; cycle < 1500; ++cycle) {
        m_host.ClearCalls();
        m_stopped = false;
        ASSERT_OK(Control()->Run());
        if (cycle % 2 != 0) {
            ASSERT_TRUE(m_host.WaitForCalls(MuxHostCallKind::Receive, 1));
        }
        ASSERT_OK(Control()->Stop());
        m_stopped = true;
        const std::vector<MuxHostCall> calls = m_host.Calls();
        ASSERT_LE(calls.size(), 2u) << "cycle " << cycle;
        if (!calls.empty()) {
            ASSERT_EQ(MuxHostCallKind::Receive, calls[0].kind);
        }
        if (calls.size() == 2) {
            ASSERT_EQ(MuxHostCallKind::EndOfStream, calls[1].kind);
            ++completeRuns;
        }
    }
    EXPECT_EQ(0, m_lateCalls.load());
    RecordProperty("complete_runs", static_cast<int>(completeRuns));
}

TEST_F(MuxStressTest, SnapshotsFromOtherThreadsWhileThePumpRuns) {
    Prepare(3, 150);
    ASSERT_OK(Control()->SetTrackData(2, 22));
    std::atomic<bool> done{false};
    auto reader = [&] {
        while (!done.load()) {
            CComPtr<IZQSubtitleTrackList> list;
            ASSERT_OK(Mux()->get_Tracks(&list));
            LONG count = 0;
            list->get_Count(&count);
            ASSERT_EQ(3, count);
            for (LONG i = 0; i < count; ++i) {
                CComPtr<IZQSubtitleTrack> track;
                ASSERT_OK(list->GetTrack(i, &track));
                LONG id = 0;
                track->get_ID(&id);
                ASSERT_EQ(i + 1, id);
            }
            CComPtr<IZQSubtitleTrackList> text;
            ASSERT_OK(Mux()->get_TextTracks(&text));
            LONGLONG data = 0;
            ASSERT_OK(Control()->GetTrackData(2, &data));
            ASSERT_EQ(22, data);
        }
    };
    std::thread first(reader);
    std::thread second(reader);
    for (int run = 1; run <= 5; ++run) {
        m_stopped = false;
        ASSERT_OK(Control()->Run());
        ASSERT_TRUE(m_host.WaitForCalls(MuxHostCallKind::EndOfStream, 3u * run));
        ASSERT_OK(Control()->Stop());
        m_stopped = true;
    }
    done = true;
    first.join();
    second.join();
    EXPECT_EQ(5u * 3 * 150, m_host.CountCalls(MuxHostCallKind::Receive));
    EXPECT_EQ(0, m_lateCalls.load());
}

// Two threads start and stop the same object at once, while a third reads:
// nothing deadlocks, and once the last Stop has returned nothing more comes.
TEST_F(MuxStressTest, RunAndStopFromTwoThreadsAtOnce) {
    Prepare(2, 5);
    m_stopped = false;
    std::atomic<bool> done{false};
    auto driver = [&](bool runFirst) {
        for (int i = 0; i < 300; ++i) {
            if (runFirst || i % 3 != 0) {
                EXPECT_OK(Control()->Run());
            }
            EXPECT_OK(Control()->Stop());
        }
    };
    std::thread reader([&] {
        while (!done.load()) {
            CComPtr<IZQSubtitleTrackList> list;
            EXPECT_OK(Mux()->get_Tracks(&list));
        }
    });
    std::thread first(driver, true);
    std::thread second(driver, false);
    first.join();
    second.join();
    done = true;
    reader.join();
    ASSERT_OK(Control()->Stop());
    m_stopped = true;
    const size_t calls = m_host.Calls().size();
    CComPtr<IZQSubtitleTrackList> list;
    EXPECT_OK(Mux()->get_Tracks(&list));
    EXPECT_EQ(calls, m_host.Calls().size());
    EXPECT_EQ(0, m_lateCalls.load());
}

}  // namespace
