// The dispatcher: delivery on the callback's thread, queueing, nesting, release and reset from any
// thread, and the module lock that events and orphaned windows hold.
#include "dmx/CZQDmxSubtitleCallback.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "dmx/tests/DmxTestSupport.h"
#include "support/CZQSubtitleModule.h"

namespace {

using zqtest::MakeCue;
using zqtest::PumpUntil;
using zqtest::PumpMessages;

CComPtr<CZQDmxSubtitleCallback> MakeDispatcher() {
    CZQDmxSubtitleCallback* raw = nullptr;
    EXPECT_OK(CZQDmxSubtitleCallback::CreateInstance(&raw));
    CComPtr<CZQDmxSubtitleCallback> dispatcher;
    dispatcher.Attach(raw);
    return dispatcher;
}

std::vector<std::u16string> Texts(const zqtest::RecordingCueCallback& app) {
    std::vector<std::u16string> texts;
    for (const auto& record : app.Events())
        texts.push_back(record.event == ZQSubtitle_Cue_Event_Clear ? u"<clear>" : record.text);
    return texts;
}

class DispatcherTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_baseLocks = ZQModule().GetLockCount();
        m_dispatcher = MakeDispatcher();
        ASSERT_TRUE(m_dispatcher);
    }

    void TearDown() override {
        m_dispatcher.Release();
        PumpMessages();
        EXPECT_EQ(ZQModule().GetLockCount(), m_baseLocks) << "an event or a window still holds the module";
        EXPECT_EQ(m_app.References(), 0);
    }

    /// Cues `texts` as Active events from a thread of their own.
    void CueFromWorker(std::vector<std::u16string> texts) {
        std::thread([&] {
            for (const auto& text : texts)
                EXPECT_OK(m_dispatcher->Cue(ZQSubtitle_Cue_Event_Active, 1.5, MakeCue(text).Get()));
        }).join();
    }

    zqtest::RecordingCueCallback m_app;
    CComPtr<CZQDmxSubtitleCallback> m_dispatcher;
    LONG m_baseLocks = 0;
};

TEST_F(DispatcherTest, IdleDispatcherDropsEventsAndGetCallbackGivesAReference) {
    EXPECT_OK(m_dispatcher->Cue(ZQSubtitle_Cue_Event_Clear, 0.0, nullptr));
    EXPECT_EQ(m_dispatcher->GetWindowHandle(), nullptr);
    EXPECT_EQ(ZQModule().GetLockCount(), m_baseLocks);
    IZQDmxSubtitleCallback* got = nullptr;
    EXPECT_OK(m_dispatcher->GetCallback(&got));
    EXPECT_EQ(got, nullptr);
    EXPECT_HR(E_POINTER, m_dispatcher->GetCallback(nullptr));

    ASSERT_OK(m_dispatcher->SetCallback(&m_app));
    ASSERT_OK(m_dispatcher->GetCallback(&got));
    EXPECT_EQ(got, &m_app);
    EXPECT_EQ(m_app.References(), 2);
    EXPECT_HR(E_POINTER, m_dispatcher->GetCallback(&got)) << "a filled slot is refused";
    got->Release();
    ASSERT_OK(m_dispatcher->SetCallback(nullptr));
    EXPECT_EQ(m_app.References(), 0);
    EXPECT_EQ(m_dispatcher->GetWindowHandle(), nullptr);
}

TEST_F(DispatcherTest, DeliversOnTheCallbackThreadWhenItPumpsOrAtOnceWhenCueIsCalledThere) {
    ASSERT_OK(m_dispatcher->SetCallback(&m_app));
    HWND window = m_dispatcher->GetWindowHandle();
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(GetWindowThreadProcessId(window, nullptr), GetCurrentThreadId());
    CueFromWorker({u"a", u"b", u"c"});
    EXPECT_EQ(m_app.EventCount(), 0u);
    EXPECT_GE(ZQModule().GetLockCount(), m_baseLocks + 3) << "each queued event holds the module";
    ASSERT_TRUE(PumpUntil([&] { return m_app.EventCount() == 3; }));
    PumpMessages();
    EXPECT_EQ(Texts(m_app), (std::vector<std::u16string>{u"a", u"b", u"c"}));
    EXPECT_EQ(ZQModule().GetLockCount(), m_baseLocks);

    // A failing application changes nothing for the next event.
    m_app.SetResponder([](const zqtest::CueEventRecord&) { return E_FAIL; });
    EXPECT_OK(m_dispatcher->Cue(ZQSubtitle_Cue_Event_Active, 2.5, MakeCue(u"one").Get()));
    EXPECT_OK(m_dispatcher->Cue(ZQSubtitle_Cue_Event_Inactive, 3.5, MakeCue(u"two").Get()));
    auto events = m_app.Events();
    ASSERT_EQ(events.size(), 5u);
    EXPECT_EQ(events[3].event, ZQSubtitle_Cue_Event_Active);
    EXPECT_EQ(events[3].time, 2.5);
    EXPECT_EQ(events[3].text, u"one");
    EXPECT_EQ(events[4].event, ZQSubtitle_Cue_Event_Inactive);
    for (const auto& record : events)
        EXPECT_EQ(record.thread, std::this_thread::get_id());
    MSG message;
    EXPECT_FALSE(PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE)) << "nothing is left for the window to do";
    EXPECT_EQ(ZQModule().GetLockCount(), m_baseLocks);
}

// As a Stop on the owner's thread while a worker's events wait: all come first, in order, inside
// the one call; a Cue from inside the application comes after them.
TEST_F(DispatcherTest, EventOnTheCallbackThreadDeliversAllPendingFirstInQueueOrder) {
    ASSERT_OK(m_dispatcher->SetCallback(&m_app));
    CueFromWorker({u"a", u"b"});
    MSG message;
    ASSERT_TRUE(PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE));
    EXPECT_EQ(message.message, CZQDmxSubtitleCallback::kEventsPendingMessage);
    CZQDmxSubtitleCallback* dispatcher = m_dispatcher.Get();
    m_app.SetResponder([dispatcher](const zqtest::CueEventRecord& record) {
        if (record.text == u"a") {
            EXPECT_OK(dispatcher->Cue(ZQSubtitle_Cue_Event_Inactive, 4.0, MakeCue(u"nested").Get()));
        }
        return S_OK;
    });
    EXPECT_OK(m_dispatcher->Cue(ZQSubtitle_Cue_Event_Clear, 0.0, nullptr));
    EXPECT_EQ(Texts(m_app), (std::vector<std::u16string>{u"a", u"b", u"<clear>", u"nested"}));
    PumpMessages();
    EXPECT_EQ(m_app.EventCount(), 4u);
}

// Released with events pending, on its callback's thread or a foreign one (where the window can't
// end: until its own thread ends it, the orphaned window keeps the module).
TEST_F(DispatcherTest, ReleasedWithEventsPendingDeliversNoneAndReleasesTheirCues) {
    for (bool foreign : {false, true}) {
        SCOPED_TRACE(foreign ? "released on a foreign thread" : "released on the callback's thread");
        if (foreign)
            SetUp();
        ASSERT_OK(m_dispatcher->SetCallback(&m_app));
        CComPtr<IZQSubtitleCue> kept = MakeCue(u"kept by the application");
        std::thread([&] {
            EXPECT_OK(m_dispatcher->Cue(ZQSubtitle_Cue_Event_Active, 1.0, kept.Get()));
            EXPECT_OK(m_dispatcher->Cue(ZQSubtitle_Cue_Event_Active, 1.0, MakeCue(u"dropped").Get()));
        }).join();
        HWND window = m_dispatcher->GetWindowHandle();
        EXPECT_GT(ZQModule().GetLockCount(), m_baseLocks);
        if (foreign) {
            std::thread([&] { m_dispatcher.Release(); }).join();
            EXPECT_TRUE(IsWindow(window));
            EXPECT_EQ(ZQModule().GetLockCount(), m_baseLocks + 1) << "the orphaned window holds the module";
            ASSERT_TRUE(PumpUntil([&] { return !IsWindow(window); }));
        } else {
            m_dispatcher.Release();
            EXPECT_FALSE(IsWindow(window));
            PumpMessages();
        }
        EXPECT_EQ(m_app.EventCount(), 0u);
        EXPECT_EQ(m_app.References(), 0);
        EXPECT_EQ(ZQModule().GetLockCount(), m_baseLocks) << "the cue the test keeps holds no module lock";
    }
}

TEST_F(DispatcherTest, CallbackSetOnASecondThreadIsCalledThereAndEndsWithIt) {
    std::atomic<bool> ready{false};
    std::atomic<bool> done{false};
    std::thread application([&] {
        EXPECT_OK(m_dispatcher->SetCallback(&m_app));
        ready = true;
        EXPECT_TRUE(PumpUntil([&] { return m_app.EventCount() == 2; }));
        done = true;
    });
    ASSERT_TRUE(PumpUntil([&] { return ready.load(); }));
    EXPECT_OK(m_dispatcher->Cue(ZQSubtitle_Cue_Event_Active, 1.0, MakeCue(u"x").Get()));
    EXPECT_OK(m_dispatcher->Cue(ZQSubtitle_Cue_Event_Clear, 0.0, nullptr));
    application.join();
    auto events = m_app.Events();
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[0].thread, events[1].thread);
    EXPECT_NE(events[0].thread, std::this_thread::get_id());

    // The thread took its window along: events wait for nobody now.
    EXPECT_FALSE(IsWindow(m_dispatcher->GetWindowHandle()));
    EXPECT_OK(m_dispatcher->Cue(ZQSubtitle_Cue_Event_Clear, 0.0, nullptr));
    m_dispatcher.Release();
    EXPECT_EQ(ZQModule().GetLockCount(), m_baseLocks);
}

// Workers cue while the owner pumps and resets or replaces the dispatcher (a worker may drop an
// old one's last reference).
TEST_F(DispatcherTest, StressCueFromManyThreadsWhileTheOwnerPumpsAndResets) {
    constexpr int kWorkers = 4;
    constexpr long kPerWorker = 2500;
    constexpr long kStep = 250;
    std::mutex currentLock;  // guards current
    CComPtr<CZQDmxSubtitleCallback> current = m_dispatcher;
    ASSERT_OK(current->SetCallback(&m_app));
    std::atomic<long> cued{0};
    std::vector<std::thread> workers;
    for (int w = 0; w < kWorkers; ++w) {
        workers.emplace_back([&] {
            CComPtr<IZQSubtitleCue> cue = MakeCue(u"stress");
            for (long i = 0; i < kPerWorker; ++i) {
                CComPtr<CZQDmxSubtitleCallback> target;
                {
                    std::lock_guard<std::mutex> lock(currentLock);
                    target = current;
                }
                EXPECT_OK(target->Cue(ZQSubtitle_Cue_Event_Active, 1.0, cue.Get()));
                ++cued;
            }
        });
    }
    for (long target = kStep; target < kWorkers * kPerWorker; target += kStep) {
        ASSERT_TRUE(PumpUntil([&] { return cued >= target; }));
        if (target % (3 * kStep) == 0) {
            ASSERT_OK(current->SetCallback(&m_app));  // a reset on the owner thread
            continue;
        }
        CComPtr<CZQDmxSubtitleCallback> replacement = MakeDispatcher();
        ASSERT_OK(replacement->SetCallback(&m_app));
        std::lock_guard<std::mutex> lock(currentLock);
        current = replacement;
    }
    for (auto& worker : workers)
        worker.join();
    const size_t delivered = m_app.EventCount();
    ASSERT_TRUE(PumpUntil([&] {
        MSG message;
        return !PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE);
    }));
    EXPECT_GE(m_app.EventCount(), delivered);
    m_dispatcher.Release();
    current.Release();
    PumpMessages();
    EXPECT_GT(m_app.EventCount(), 0u);
    for (const auto& record : m_app.Events())
        ASSERT_EQ(record.thread, std::this_thread::get_id());
}

}  // namespace
