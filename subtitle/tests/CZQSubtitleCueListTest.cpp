#include "subtitle/CZQSubtitleCueList.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "subtitle/CZQSubtitleCue.h"
#include "support/CComPtr.h"
#include "support/CZQSubtitleModule.h"
#include "tests/support/HResultAssertions.h"
#include "tests/support/RecordingCueCallback.h"
#include "tests/support/RecordingMuxHost.h"
#include "zqplatform/oleauto.h"

namespace {

using zqtest::CueEventRecord;
using zqtest::MuxHostCall;
using zqtest::MuxHostCallKind;
using zqtest::RecordingCueCallback;
using zqtest::RecordingMuxHost;

constexpr HRESULT kSent = 0;
constexpr HRESULT kNothingLeft = 1;

class CueListTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_lockCountAtStart = ZQModule().GetLockCount();
        CZQSubtitleCueList* list = nullptr;
        ASSERT_OK(CZQSubtitleCueList::Create(&list));
        m_list.Attach(list);
    }

    void TearDown() override {
        m_list.Release();
        EXPECT_EQ(ZQModule().GetLockCount(), m_lockCountAtStart);
        EXPECT_EQ(m_host.References(), 0);
        EXPECT_EQ(m_callback.References(), 0);
    }

    /// Cues "0", "1", ... of track `trackid`, cue i on [10 i, 10 i + 10).
    void AddNumberedCues(int count, LONG trackid = 2) {
        const int first = static_cast<int>(m_list->GetCount());
        for (int i = first; i < first + count; ++i) {
            const std::u16string text(std::u16string(1, static_cast<char16_t>(u'0' + i % 10)));
            ASSERT_OK(m_list->AddCue(trackid, text.c_str(), 10 * i, 10 * i + 10));
        }
    }

    /// Sends until the list gives 1 and answers the texts that went out.
    std::vector<std::string> SendAll() {
        std::vector<std::string> sent;
        m_host.ClearCalls();
        HRESULT hr = kSent;
        while ((hr = m_list->SendNext(&m_host)) == kSent) {}
        EXPECT_HR(kNothingLeft, hr);
        for (const MuxHostCall& call : m_host.Calls(MuxHostCallKind::Receive))
            sent.push_back(call.data);
        return sent;
    }

    LONG m_lockCountAtStart = 0;
    CComPtr<CZQSubtitleCueList> m_list;
    RecordingMuxHost m_host;
    RecordingCueCallback m_callback;
};

TEST_F(CueListTest, SendsNothingBeforeTheFirstRewind) {
    AddNumberedCues(3);
    EXPECT_HR(kNothingLeft, m_list->SendNext(&m_host));
    EXPECT_EQ(m_host.Calls().size(), 0u);
}

TEST_F(CueListTest, SendsEachCueOnceInInsertionOrderThenReportsTheEndRepeatedly) {
    ASSERT_OK(m_list->Rewind());
    EXPECT_HR(kNothingLeft, m_list->SendNext(&m_host));

    AddNumberedCues(12, 6);
    ASSERT_OK(m_list->Rewind());
    EXPECT_EQ(SendAll(), (std::vector<std::string>{"0", "1", "2", "3", "4", "5", "6", "7", "8", "9", "0", "1"}));
    const std::vector<MuxHostCall> calls = m_host.Calls();
    EXPECT_EQ(calls[11].trackid, 6);
    EXPECT_EQ(calls[11].start, 110);
    EXPECT_EQ(calls[11].stop, 120);
    EXPECT_HR(kNothingLeft, m_list->SendNext(&m_host));

    // A cue added at the end after the list ran out waits for a new Rewind.
    AddNumberedCues(1);
    EXPECT_HR(kNothingLeft, m_list->SendNext(&m_host));
    ASSERT_OK(m_list->Rewind());
    EXPECT_EQ(SendAll().size(), 13u);
}

TEST_F(CueListTest, SendNextPassesACueWhoseSendFailedAndHidesAPositiveHostStatus) {
    AddNumberedCues(3);
    int call = 0;
    m_host.SetResponder([&call](const MuxHostCall&) { return ++call == 1 ? E_FAIL : S_FALSE; });
    ASSERT_OK(m_list->Rewind());
    EXPECT_HR(E_FAIL, m_list->SendNext(&m_host));
    EXPECT_HR(kSent, m_list->SendNext(&m_host));
    EXPECT_HR(kSent, m_list->SendNext(&m_host));
    EXPECT_HR(kNothingLeft, m_list->SendNext(&m_host));
    const std::vector<MuxHostCall> calls = m_host.Calls();
    ASSERT_EQ(calls.size(), 3u);
    EXPECT_EQ(calls[1].data, "1");
}

TEST_F(CueListTest, UpdateActiveReportsInListOrderSoAnEndComesBeforeTheNextStart) {
    AddNumberedCues(3);
    EXPECT_OK(m_list->UpdateActive(true, &m_callback, 5));
    EXPECT_OK(m_list->UpdateActive(true, &m_callback, 10));
    EXPECT_OK(m_list->UpdateActive(true, &m_callback, 35));
    const std::vector<CueEventRecord> events = m_callback.Events();
    ASSERT_EQ(events.size(), 4u);
    EXPECT_EQ(events[0].event, ZQSubtitle_Cue_Event_Active);
    EXPECT_EQ(events[0].text, u"0");
    EXPECT_EQ(events[1].event, ZQSubtitle_Cue_Event_Inactive);
    EXPECT_EQ(events[1].text, u"0");
    EXPECT_EQ(events[2].event, ZQSubtitle_Cue_Event_Active);
    EXPECT_EQ(events[2].text, u"1");
    EXPECT_DOUBLE_EQ(events[2].time, 10 / 1e7);
    EXPECT_EQ(events[3].event, ZQSubtitle_Cue_Event_Inactive);
    EXPECT_EQ(events[3].text, u"1");
    // Cue 2 lay wholly between the last two passes and fired nothing.
}

TEST_F(CueListTest, UpdateActiveStopsAtTheFirstFailureAndTestsTheRestNextPass) {
    AddNumberedCues(1);
    ASSERT_OK(m_list->AddCue(2, u"wide", 0, 100));
    ASSERT_OK(m_list->AddCue(2, u"late", 0, 100));
    m_callback.SetResponder([](const CueEventRecord& e) { return e.text == u"wide" ? E_ABORT : S_OK; });
    EXPECT_HR(E_ABORT, m_list->UpdateActive(true, &m_callback, 5));
    EXPECT_EQ(m_callback.EventCount(), 2u);

    // "wide" stays active; "late" is tested at the next pass with its time.
    m_callback.ClearEvents();
    EXPECT_OK(m_list->UpdateActive(true, &m_callback, 7));
    const std::vector<CueEventRecord> events = m_callback.Events();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].text, u"late");
    EXPECT_DOUBLE_EQ(events[0].time, 7 / 1e7);
}

TEST_F(CueListTest, UpdateActiveSweepsAListOfManyBlocksCueByCueInListOrder) {
    // Enough blocks for the walk to step from block to block well past its
    // lookahead, the last block only half full.
    constexpr int kCues = 95;
    AddNumberedCues(kCues);
    for (int i = 0; i < kCues; ++i)
        EXPECT_OK(m_list->UpdateActive(true, &m_callback, 10 * i + 5));
    const std::vector<CueEventRecord> events = m_callback.Events();
    ASSERT_EQ(events.size(), 2u * kCues - 1);
    for (int i = 0; i < kCues; ++i) {
        SCOPED_TRACE(i);
        // Pass i ends cue i - 1 and then starts cue i.
        const CueEventRecord& active = events[i == 0 ? 0 : 2 * i];
        EXPECT_EQ(active.event, ZQSubtitle_Cue_Event_Active);
        EXPECT_DOUBLE_EQ(active.start, 10 * i / 1e7);
        EXPECT_DOUBLE_EQ(active.time, (10 * i + 5) / 1e7);
        if (i > 0) {
            EXPECT_EQ(events[2 * i - 1].event, ZQSubtitle_Cue_Event_Inactive);
            EXPECT_DOUBLE_EQ(events[2 * i - 1].start, 10 * (i - 1) / 1e7);
        }
    }
}

TEST_F(CueListTest, UpdateActiveEndsThePassWhenACallbackClearsTheList) {
    for (int i = 0; i < 25; ++i)
        ASSERT_OK(m_list->AddCue(1, u"all at once", 0, 100));
    m_callback.SetResponder([this](const CueEventRecord&) {
        m_list->Clear();
        return S_OK;
    });
    EXPECT_OK(m_list->UpdateActive(true, &m_callback, 50));
    EXPECT_EQ(m_callback.EventCount(), 1u);
    EXPECT_EQ(m_list->GetCount(), 0u);
}

TEST_F(CueListTest, DeactivateAllTellsWhetherAnyCueWasActive) {
    AddNumberedCues(3);
    bool wasActive = false;
    EXPECT_OK(m_list->DeactivateAll(&wasActive));
    EXPECT_FALSE(wasActive);
    EXPECT_OK(m_list->UpdateActive(true, &m_callback, 15));
    EXPECT_OK(m_list->DeactivateAll(&wasActive));
    EXPECT_TRUE(wasActive);
    EXPECT_EQ(m_callback.EventCount(), 1u);
    // All inactive now: the same time fires Active again.
    EXPECT_OK(m_list->UpdateActive(true, &m_callback, 15));
    EXPECT_EQ(m_callback.EventCount(), 2u);
}

TEST_F(CueListTest, SetTrackIDStopsAtTheFirstCueThatRefuses) {
    ASSERT_OK(m_list->AddCue(0, u"a", 0, 1));
    ASSERT_OK(m_list->AddCue(5, u"b", 0, 1));
    ASSERT_OK(m_list->AddCue(0, u"c", 0, 1));
    EXPECT_HR(E_INVALIDARG, m_list->SetTrackID(7));
    ASSERT_OK(m_list->Rewind());
    SendAll();
    std::vector<LONG> ids;
    for (const MuxHostCall& call : m_host.Calls())
        ids.push_back(call.trackid);
    EXPECT_EQ(ids, (std::vector<LONG>{7, 5, 0}));
}

TEST_F(CueListTest, TakesNodesTenToABlockAndGivesEveryBlockBackAtClear) {
    m_list->Clear();
    EXPECT_EQ(m_list->GetBlockCount(), 0u);
    AddNumberedCues(10);
    EXPECT_EQ(m_list->GetBlockCount(), 1u);
    AddNumberedCues(1);
    EXPECT_EQ(m_list->GetBlockCount(), 2u);
    AddNumberedCues(9);
    EXPECT_EQ(m_list->GetBlockCount(), 2u);

    m_list->Clear();
    EXPECT_EQ(m_list->GetCount(), 0u);
    EXPECT_EQ(m_list->GetBlockCount(), 0u);
    ASSERT_OK(m_list->Rewind());
    EXPECT_HR(kNothingLeft, m_list->SendNext(&m_host));

    ASSERT_OK(m_list->AddCue(1, u"again", 0, 1));
    EXPECT_EQ(m_list->GetBlockCount(), 1u);
    ASSERT_OK(m_list->Rewind());
    EXPECT_EQ(SendAll(), std::vector<std::string>{"again"});
}

TEST_F(CueListTest, ACueHeldOutsideOutlivesClearWithItsValuesAndHoldsTheModuleUntilThen) {
    const LONG withList = ZQModule().GetLockCount();
    ASSERT_OK(m_list->AddCue(8, u"kept", 10, 20));
    AddNumberedCues(2);
    // Cues that only the list holds keep no lock of their own.
    EXPECT_EQ(ZQModule().GetLockCount(), withList);

    CComPtr<IZQSubtitleCue> held;
    m_callback.SetResponder([&held](const CueEventRecord& e) {
        if (e.text == u"kept")
            held = e.cue;
        return S_OK;
    });
    EXPECT_OK(m_list->UpdateActive(true, &m_callback, 15));
    ASSERT_TRUE(held);
    EXPECT_EQ(ZQModule().GetLockCount(), withList + 1);

    m_list->Clear();
    // Now the outside reference is the only one, and a lone reference of a
    // cached object doesn't hold the module.
    EXPECT_EQ(ZQModule().GetLockCount(), withList);
    BSTR text = nullptr;
    ASSERT_OK(held->get_Text(&text));
    EXPECT_EQ(std::u16string(text), u"kept");
    SysFreeString(text);
    double seconds = 0;
    ASSERT_OK(held->get_Stop(&seconds));
    EXPECT_DOUBLE_EQ(seconds, 20 / 1e7);
    LONG trackid = 0;
    ASSERT_OK(held->get_trackid(&trackid));
    EXPECT_EQ(trackid, 8);
    EXPECT_EQ(held->AddRef(), 2u);
    EXPECT_EQ(held->Release(), 1u);
}

TEST_F(CueListTest, HoldsOneModuleLockAndOneReferencePerCue) {
    EXPECT_EQ(ZQModule().GetLockCount(), m_lockCountAtStart + 1);
    ASSERT_OK(m_list->AddCue(1, u"a", 0, 100));
    IZQSubtitleCue* cue = nullptr;
    m_callback.SetResponder([&cue](const CueEventRecord& e) {
        cue = e.cue;
        return S_OK;
    });
    EXPECT_OK(m_list->UpdateActive(true, &m_callback, 50));
    ASSERT_NE(cue, nullptr);
    ASSERT_OK(m_list->Rewind());
    EXPECT_HR(kSent, m_list->SendNext(&m_host));
    // Walks and sends gave back whatever they took.
    EXPECT_EQ(cue->AddRef(), 2u);
    EXPECT_EQ(cue->Release(), 1u);
    EXPECT_EQ(m_list->AddRef(), 2u);
    EXPECT_EQ(m_list->Release(), 1u);
}

TEST(CueListCreateTest, RefusesANullOut) {
    EXPECT_HR(E_POINTER, CZQSubtitleCueList::Create(nullptr));
}

}  // namespace
