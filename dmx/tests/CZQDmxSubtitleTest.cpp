#include "dmx/CZQDmxSubtitle.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "dmx/tests/DmxTestSupport.h"

namespace zqtest {
namespace {

struct ExpectedEvent {
    ZQSubtitle_Cue_Event event;
    double time;
    const char16_t* text;  // null for Clear
};

class DmxSubtitleTest : public DmxObjectTest {
protected:
    void ExpectNewEvents(std::initializer_list<ExpectedEvent> expected) {
        const std::vector<CueEventRecord> events = m_callback.Events();
        ASSERT_EQ(events.size(), m_seen + expected.size());
        for (const ExpectedEvent& want : expected) {
            const CueEventRecord& got = events[m_seen++];
            SCOPED_TRACE(testing::Message() << "event " << m_seen);
            EXPECT_EQ(got.event, want.event);
            EXPECT_DOUBLE_EQ(got.time, want.time);
            EXPECT_EQ(got.cue == nullptr, want.text == nullptr);
            if (want.text != nullptr) {
                EXPECT_EQ(got.text, want.text);
            }
            EXPECT_EQ(got.thread, std::this_thread::get_id());
        }
    }

    void SetCallback() { ASSERT_OK(m_app->putref_Callback(&m_callback)); }

    size_t m_seen = 0;
};

// Ticks Paused and Running, a segment, cues edge to edge, a pause keeping a cue, SelectTrack, Stop.
TEST_F(DmxSubtitleTest, FollowsTheWorkedTimeline) {
    SetCallback();
    const LONG id = AddSelectedTrack();
    ASSERT_EQ(id, 1);

    m_clock.SetSeconds(99.00);
    ASSERT_OK(m_control->Pause());
    m_clock.SetSeconds(99.10);
    ASSERT_OK(m_control->NewSegment(id, Seconds(10), Seconds(60), 1.0));
    ASSERT_OK(Receive(id, 0.5, 2, "A"));
    ASSERT_OK(Receive(id, 2, 3, "B"));
    WaitForFullTick();
    ExpectNewEvents({});  // media time 10 lies before A

    m_clock.SetSeconds(100.00);
    ASSERT_OK(m_control->Run(Seconds(100)));
    m_clock.SetSeconds(100.49);
    WaitForFullTick();
    ExpectNewEvents({});
    m_clock.SetSeconds(100.52);
    WaitForFullTick();
    ExpectNewEvents({{ZQSubtitle_Cue_Event_Active, 10.52, u"A"}});
    m_clock.SetSeconds(102.01);
    WaitForFullTick();
    ExpectNewEvents({{ZQSubtitle_Cue_Event_Inactive, 12.01, u"A"}, {ZQSubtitle_Cue_Event_Active, 12.01, u"B"}});

    m_clock.SetSeconds(102.50);
    ASSERT_OK(m_control->Pause());
    EXPECT_DOUBLE_EQ(StreamSeconds(), 2.50);
    m_clock.SetSeconds(102.53);
    WaitForFullTick();
    ExpectNewEvents({});  // B is already active

    // Delivered inside the calls, on this thread, not at a tick.
    ASSERT_OK(m_app->SelectTrack(id, VARIANT_FALSE));
    ExpectNewEvents({{ZQSubtitle_Cue_Event_Inactive, 12.50, u"B"}});
    ASSERT_OK(m_app->SelectTrack(id, VARIANT_TRUE));
    ExpectNewEvents({{ZQSubtitle_Cue_Event_Active, 12.50, u"B"}});

    ASSERT_OK(m_control->Stop());
    ExpectNewEvents({{ZQSubtitle_Cue_Event_Clear, 0.0, nullptr}});
    EXPECT_FALSE(m_object->ThreadExists());
}

TEST_F(DmxSubtitleTest, StaysStoppedWithoutClockOrCallback) {
    const LONG id = AddSelectedTrack();
    CComPtr<IZQDmxSubtitleCallback> current;
    ASSERT_OK(m_app->get_Callback(&current));
    EXPECT_EQ(current.Get(), nullptr);
    EXPECT_HR(E_POINTER, m_app->get_Callback(nullptr));
    // A clock but no callback.
    EXPECT_OK(m_control->Pause());
    EXPECT_OK(m_control->Run(0));
    EXPECT_FALSE(m_object->ThreadExists());
    EXPECT_OK(Receive(id, 0, 1, "dropped"));

    // A callback but no clock; a callback put and taken back is let go.
    SetCallback();
    ASSERT_OK(m_app->putref_Callback(nullptr));
    EXPECT_EQ(m_callback.References(), 0);
    SetCallback();
    ASSERT_OK(m_control->SetSyncSource(nullptr));
    EXPECT_OK(m_control->Pause());
    EXPECT_FALSE(m_object->ThreadExists());

    // Nothing was kept while Stopped: with both, the first tick fires nothing.
    ASSERT_OK(m_control->SetSyncSource(&m_clock));
    ASSERT_OK(m_control->Pause());
    WaitForFullTick();
    EXPECT_EQ(m_callback.EventCount(), 0u);
}

TEST_F(DmxSubtitleTest, RunFromStoppedStartsOneWorkerKeepsTheFirstStartAndRefusesGraphChanges) {
    SetCallback();
    m_clock.SetSeconds(50);
    ASSERT_OK(m_control->Run(Seconds(40)));
    EXPECT_TRUE(m_object->ThreadExists());
    EXPECT_DOUBLE_EQ(StreamSeconds(), 10);
    ASSERT_OK(m_control->Run(Seconds(45)));
    EXPECT_DOUBLE_EQ(StreamSeconds(), 10);
    WaitForFullTick();

    RecordingCueCallback other;
    for (bool paused : {false, true}) {
        SCOPED_TRACE(paused ? "Paused" : "Running");
        if (paused) {
            ASSERT_OK(m_control->Pause());
        }
        EXPECT_HR(VFW_E_WRONG_STATE, m_control->SetSyncSource(nullptr));
        EXPECT_HR(VFW_E_WRONG_STATE, m_control->JoinFilterGraph(nullptr));
        EXPECT_HR(VFW_E_WRONG_STATE, m_app->putref_Callback(&other));
        CComPtr<IZQDmxSubtitleCallback> current;
        ASSERT_OK(m_app->get_Callback(&current));
        EXPECT_EQ(current.Get(), &m_callback);
    }
    EXPECT_EQ(other.References(), 0);

    ASSERT_OK(m_control->Stop());
    EXPECT_FALSE(m_object->ThreadExists());
    ASSERT_OK(m_control->Stop());
    ASSERT_OK(m_control->Pause());  // a new worker, at stream time 0
    EXPECT_TRUE(m_object->ThreadExists());
    EXPECT_DOUBLE_EQ(StreamSeconds(), 0);
}

TEST_F(DmxSubtitleTest, IgnoresStreamOperationsWhenStoppedAndRefusesUnknownIdsOtherwise) {
    SetCallback();
    const LONG id = AddSelectedTrack();
    for (LONG trackid : {id, LONG{9}}) {
        EXPECT_OK(m_control->BeginFlush(trackid));
        EXPECT_OK(m_control->EndFlush(trackid));
        EXPECT_OK(m_control->EndOfStream(trackid));
        EXPECT_OK(m_control->NewSegment(trackid, Seconds(100), 0, 1.0));
        EXPECT_OK(Receive(trackid, 0, 1, "x"));
    }

    m_clock.SetSeconds(5);
    ASSERT_OK(m_control->Run(0));
    ASSERT_OK(m_control->Pause());
    EXPECT_DOUBLE_EQ(StreamSeconds(), 5);
    EXPECT_HR(E_INVALIDARG, m_control->BeginFlush(9));
    EXPECT_HR(E_INVALIDARG, m_control->EndFlush(9));
    EXPECT_HR(E_INVALIDARG, m_control->EndOfStream(9));
    EXPECT_HR(E_INVALIDARG, Receive(9, 0, 1, "x"));
    // The paused time goes back to 0 although the id is unknown.
    EXPECT_HR(E_INVALIDARG, m_control->NewSegment(9, 0, 0, 1.0));
    EXPECT_DOUBLE_EQ(StreamSeconds(), 0);

    // The segment told while Stopped was lost: the cue at 0 fires at media 0.
    ASSERT_OK(Receive(id, 0, 1, "zero"));
    WaitForFullTick();
    ExpectNewEvents({{ZQSubtitle_Cue_Event_Active, 0.0, u"zero"}});
}

TEST_F(DmxSubtitleTest, ClearsOnceForAnyNumberOfActiveCuesAndOnlyForTheFlushedTrack) {
    SetCallback();
    const LONG first = AddSelectedTrack();
    const LONG second = AddSelectedTrack("ger");
    ASSERT_OK(m_control->Pause());
    WaitForFullTick();
    ASSERT_OK(m_control->Stop());
    ExpectNewEvents({});  // nothing was active

    ASSERT_OK(m_control->Pause());
    ASSERT_OK(Receive(first, 0, 5, "one"));
    ASSERT_OK(Receive(second, 0, 5, "two"));
    ASSERT_OK(Receive(second, 0, 5, "three"));
    ASSERT_TRUE(PumpUntil([&] { return m_callback.EventCount() == 3; }));
    m_seen = 3;

    ASSERT_OK(m_control->BeginFlush(first));
    ExpectNewEvents({{ZQSubtitle_Cue_Event_Clear, 0.0, nullptr}});
    ASSERT_OK(m_control->BeginFlush(first));  // nothing active any more
    ExpectNewEvents({});
    // Samples are dropped until EndFlush.
    ASSERT_OK(Receive(first, 0, 5, "dropped"));
    ASSERT_OK(m_control->EndFlush(first));
    WaitForFullTick();
    ExpectNewEvents({});

    ASSERT_OK(m_control->Stop());
    ExpectNewEvents({{ZQSubtitle_Cue_Event_Clear, 0.0, nullptr}});
    // Stopping kept the cues: the next Pause brings the two back.
    ASSERT_OK(m_control->Pause());
    WaitForFullTick();
    ExpectNewEvents({{ZQSubtitle_Cue_Event_Active, 0.0, u"two"}, {ZQSubtitle_Cue_Event_Active, 0.0, u"three"}});
}

TEST_F(DmxSubtitleTest, SelectionFiresOnlyOnChangeAndOnlyWhileNotStopped) {
    SetCallback();
    SubtitleStreamType type;
    LONG id = 0;
    ASSERT_OK(m_control->AddTrack(type.Get(), &id));
    ASSERT_OK(m_control->Pause());
    ASSERT_OK(Receive(id, 0, 5, "cue"));
    WaitForFullTick();
    ExpectNewEvents({});  // not selected

    ASSERT_OK(m_control->Stop());
    ASSERT_OK(m_app->SelectTrack(id, VARIANT_TRUE));
    ASSERT_OK(m_app->SelectTrack(id, 1));  // any non-zero is the same value
    ExpectNewEvents({});
    CComPtr<IZQSubtitleTrackList> selected;
    ASSERT_OK(m_app->get_SelectedTracks(&selected));
    LONG count = 0;
    ASSERT_OK(selected->get_Count(&count));
    EXPECT_EQ(count, 1);

    ASSERT_OK(m_control->Pause());
    ASSERT_TRUE(PumpUntil([&] { return m_callback.EventCount() == 1; }));
    ExpectNewEvents({{ZQSubtitle_Cue_Event_Active, 0.0, u"cue"}});
    ASSERT_OK(m_app->SelectTrack(id, VARIANT_TRUE));
    ExpectNewEvents({});
    EXPECT_HR(E_INVALIDARG, m_app->SelectTrack(id + 1, VARIANT_TRUE));
}

TEST_F(DmxSubtitleTest, TicksOnWithAFailingClock) {
    SetCallback();
    const LONG id = AddSelectedTrack();
    m_clock.SetSeconds(100);
    ASSERT_OK(Receive(id, 0, 1, "never, while the object is stopped"));
    ASSERT_OK(m_control->Run(Seconds(100)));
    ASSERT_OK(Receive(id, 0, 1, "at zero"));
    ASSERT_OK(Receive(id, 100, 101, "at the raw reading"));
    WaitForFullTick();
    ExpectNewEvents({{ZQSubtitle_Cue_Event_Active, 0.0, u"at zero"}});

    // A clock that writes nothing leaves the time 0: nothing changes.
    m_clock.SetFailure(E_FAIL);
    WaitForFullTick();
    ExpectNewEvents({});
    // One that writes and fails: its reading is taken without the start.
    m_clock.SetFailure(E_FAIL, true);
    WaitForFullTick();
    ExpectNewEvents({{ZQSubtitle_Cue_Event_Inactive, 100.0, u"at zero"},
                     {ZQSubtitle_Cue_Event_Active, 100.0, u"at the raw reading"}});
    // Pause from Running keeps what the failing clock gave.
    ASSERT_OK(m_control->Pause());
    EXPECT_DOUBLE_EQ(StreamSeconds(), 100);
}

// Events delivered inside SelectTrack, under the object's lock, may call back, even to empty the list walked.
TEST_F(DmxSubtitleTest, CallbacksDeliveredInsideACallMayCallBackIntoTheObject) {
    SetCallback();
    SubtitleStreamType type;
    LONG id = 0;
    ASSERT_OK(m_control->AddTrack(type.Get(), &id));
    ASSERT_OK(m_control->Pause());
    for (const char* text : {"one", "two", "three"})
        ASSERT_OK(Receive(id, 0, 5, text));
    LONG selectedSeen = -1;
    m_callback.SetResponder([&](const CueEventRecord& record) {
        if (record.event != ZQSubtitle_Cue_Event_Active)
            return S_OK;
        CComPtr<IZQSubtitleTrackList> selected;
        EXPECT_OK(m_app->get_SelectedTracks(&selected));
        EXPECT_OK(selected->get_Count(&selectedSeen));
        EXPECT_OK(m_control->BeginFlush(id));
        return E_FAIL;  // ignored
    });
    ASSERT_OK(m_app->SelectTrack(id, VARIANT_TRUE));
    EXPECT_EQ(selectedSeen, 1);
    // The flush inside the first Active took the other cues with it.
    ExpectNewEvents({{ZQSubtitle_Cue_Event_Active, 0.0, u"one"}, {ZQSubtitle_Cue_Event_Clear, 0.0, nullptr}});
}

// The last reference goes without Stop, also on the worker inside a tick.
TEST_F(DmxSubtitleTest, EndsTheWorkerWhenReleasedWhileNotStopped) {
    for (bool onWorker : {false, true}) {
        SCOPED_TRACE(onWorker ? "released inside GetTime" : "released by the host");
        SetUp();
        SetCallback();
        const LONG id = AddSelectedTrack();
        ASSERT_OK(m_control->Run(0));
        ASSERT_OK(Receive(id, 0, 10, "cue"));
        WaitForFullTick();
        m_app = nullptr;
        IZQDmxSubtitleControl* last = m_control.Detach();
        m_object = nullptr;
        std::atomic<bool> released{false};
        if (onWorker) {
            m_clock.SetHook([&] {
                if (!released.exchange(true))
                    last->Release();
            });
        } else {
            last->Release();
        }
        EXPECT_TRUE(PumpUntil([&] { return m_clock.References() == 0 && m_callback.References() == 0; }));
        m_clock.SetHook(nullptr);
        m_callback.ClearEvents();
    }
}

}  // namespace
}  // namespace zqtest
