// Races of the pump against Stop, Run and readers on other threads; meant for ThreadSanitizer too.
#include <gtest/gtest.h>

#include "mux/tests/MuxTestSupport.h"

namespace {

using namespace zqmuxtest;

class MuxStressTest : public MuxTest {
protected:
    /// `tracks` tracks of `cues` cues, announced; calls while `m_stopped` count as late; `extra` sees all.
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

// One cue: Stop races the pass sending it (even cycles) or ending the track (odd): whatever came
// is a prefix of the full sequence, and nothing comes after Stop.
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

// Two threads start and stop the object while two read snapshots: nothing deadlocks, every
// snapshot is whole, and once the last Stop has returned nothing more comes.
TEST_F(MuxStressTest, RunAndStopFromTwoThreadsWhileOthersReadSnapshots) {
    Prepare(3, 150);
    ASSERT_OK(Control()->SetTrackData(2, 22));
    m_stopped = false;
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
    auto driver = [&](bool runFirst) {
        for (int i = 0; i < 300; ++i) {
            if (runFirst || i % 3 != 0) {
                EXPECT_OK(Control()->Run());
            }
            EXPECT_OK(Control()->Stop());
        }
    };
    std::thread readers[] = {std::thread(reader), std::thread(reader)};
    std::thread first(driver, true);
    std::thread second(driver, false);
    first.join();
    second.join();
    ASSERT_OK(Control()->Stop());
    m_stopped = true;
    const size_t calls = m_host.Calls().size();
    CComPtr<IZQSubtitleTrackList> list;
    EXPECT_OK(Mux()->get_Tracks(&list));
    EXPECT_EQ(calls, m_host.Calls().size());

    // A whole run, with the readers still going, sends every cue once.
    m_host.ClearCalls();
    m_stopped = false;
    ASSERT_OK(Control()->Run());
    ASSERT_TRUE(m_host.WaitForCalls(MuxHostCallKind::EndOfStream, 3));
    ASSERT_OK(Control()->Stop());
    m_stopped = true;
    done = true;
    for (auto& thread : readers)
        thread.join();
    EXPECT_EQ(3u * 150, m_host.CountCalls(MuxHostCallKind::Receive));
    EXPECT_EQ(0, m_lateCalls.load());
}

}  // namespace
