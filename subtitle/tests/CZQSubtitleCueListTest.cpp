#include "subtitle/CZQSubtitleCueList.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "subtitle/CZQSubtitleCue.h"
#include "subtitle/tests/FailingAllocations.h"
#include "support/CStatusException.h"
#include "support/CZQSubtitleModule.h"
#include "tests/support/HResultAssertions.h"
#include "tests/support/RecordingCueCallback.h"
#include "tests/support/RecordingMuxHost.h"
#include "zqplatform/comptr.h"
#include "zqplatform/oleauto.h"

namespace {

using zqtest::CueEventRecord;
using zqtest::FailNthAllocation;
using zqtest::MuxHostCall;
using Strings = std::vector<std::string>;

constexpr HRESULT kSent = 0;
constexpr HRESULT kNothingLeft = 1;

/// The status that `body` raised as a status exception, or S_OK.
template <class F>
HRESULT RaisedStatus(F&& body) {
    try {
        body();
    } catch (const CStatusException& e) {
        return e.Status();
    } catch (...) {
        ADD_FAILURE() << "an exception other than the status exception escaped";
        return E_UNEXPECTED;
    }
    return S_OK;
}

class CueListTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_lockCountAtStart = ZQModule().GetLockCount();
        ASSERT_OK(CZQSubtitleCueList::Create(&m_list));
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
            const std::u16string text(1, static_cast<char16_t>(u'0' + i % 10));
            ASSERT_OK(m_list->AddCue(trackid, text.c_str(), 10 * i, 10 * i + 10));
        }
    }

    /// Rewinds, sends until the list gives 1 and answers the texts that went out.
    Strings SendAll() {
        m_host.ClearCalls();
        EXPECT_OK(m_list->Rewind());
        HRESULT hr = kSent;
        while ((hr = m_list->SendNext(&m_host)) == kSent) {}
        EXPECT_HR(kNothingLeft, hr);
        Strings sent;
        for (const MuxHostCall& call : m_host.Calls(zqtest::MuxHostCallKind::Receive))
            sent.push_back(call.data);
        return sent;
    }

    /// The events so far as "+text[start]@time" (Active) and "-text[start]@time".
    Strings Events() {
        Strings seen;
        for (const CueEventRecord& e : m_callback.Events())
            seen.push_back((e.event == ZQSubtitle_Cue_Event_Active ? "+" : "-") +
                           std::string(e.text.begin(), e.text.end()) + "[" + std::to_string(std::lround(e.start * 1e7)) +
                           "]@" + std::to_string(std::lround(e.time * 1e7)));
        return seen;
    }

    LONG m_lockCountAtStart = 0;
    CComPtr<CZQSubtitleCueList> m_list;
    zqtest::RecordingMuxHost m_host;
    zqtest::RecordingCueCallback m_callback;
};

TEST_F(CueListTest, SendsEachCueOnceInInsertionOrderAfterRewindThenReportsTheEndRepeatedly) {
    AddNumberedCues(12, 6);
    EXPECT_HR(kNothingLeft, m_list->SendNext(&m_host)) << "nothing before the first Rewind";
    EXPECT_EQ(SendAll(), (Strings{"0", "1", "2", "3", "4", "5", "6", "7", "8", "9", "0", "1"}));
    const MuxHostCall last = m_host.Calls()[11];
    EXPECT_EQ(std::make_tuple(last.trackid, last.start, last.stop), std::make_tuple(6, 110, 120));
    EXPECT_HR(kNothingLeft, m_list->SendNext(&m_host));

    // A cue added at the end after the list ran out waits for a new Rewind.
    AddNumberedCues(1);
    EXPECT_HR(kNothingLeft, m_list->SendNext(&m_host));
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
    ASSERT_EQ(m_host.Calls().size(), 3u);
    EXPECT_EQ(m_host.Calls()[1].data, "1");
}

TEST_F(CueListTest, UpdateActiveReportsInListOrderSoAnEndComesBeforeTheNextStart) {
    AddNumberedCues(3);
    EXPECT_OK(m_list->UpdateActive(true, &m_callback, 5));
    EXPECT_OK(m_list->UpdateActive(true, &m_callback, 10));
    EXPECT_OK(m_list->UpdateActive(true, &m_callback, 35));
    // Cue 2 lay wholly between the last two passes and fired nothing.
    EXPECT_EQ(Events(), (Strings{"+0[0]@5", "-0[0]@10", "+1[10]@10", "-1[10]@35"}));
}

TEST_F(CueListTest, UpdateActiveStopsAtTheFirstFailureAndTestsTheRestNextPass) {
    AddNumberedCues(1);
    ASSERT_OK(m_list->AddCue(2, u"wide", 0, 100));
    ASSERT_OK(m_list->AddCue(2, u"late", 0, 100));
    m_callback.SetResponder([](const CueEventRecord& e) { return e.text == u"wide" ? E_ABORT : S_OK; });
    EXPECT_HR(E_ABORT, m_list->UpdateActive(true, &m_callback, 5));
    m_callback.ClearEvents();
    EXPECT_OK(m_list->UpdateActive(true, &m_callback, 7));
    EXPECT_EQ(Events(), (Strings{"+late[0]@7"})) << "\"wide\" stays active";
}

TEST_F(CueListTest, UpdateActiveSweepsAListOfManyBlocksCueByCueInListOrder) {
    // Enough blocks to step well past the walk's lookahead, the last one half full.
    constexpr int kCues = 95;
    AddNumberedCues(kCues);
    Strings expected;
    for (int i = 0; i < kCues; ++i) {
        EXPECT_OK(m_list->UpdateActive(true, &m_callback, 10 * i + 5));
        const std::string at = "]@" + std::to_string(10 * i + 5);
        if (i > 0)
            expected.push_back("-" + std::to_string((i - 1) % 10) + "[" + std::to_string(10 * i - 10) + at);
        expected.push_back("+" + std::to_string(i % 10) + "[" + std::to_string(10 * i) + at);
    }
    EXPECT_EQ(Events(), expected);
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
    EXPECT_OK(m_list->UpdateActive(true, &m_callback, 15));
    EXPECT_EQ(Events(), (Strings{"+1[10]@15", "+1[10]@15"})) << "silent, and all inactive afterwards";
}

TEST_F(CueListTest, SetTrackIDStopsAtTheFirstCueThatRefuses) {
    ASSERT_OK(m_list->AddCue(0, u"a", 0, 1));
    ASSERT_OK(m_list->AddCue(5, u"b", 0, 1));
    ASSERT_OK(m_list->AddCue(0, u"c", 0, 1));
    EXPECT_HR(E_INVALIDARG, m_list->SetTrackID(7));
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
    EXPECT_EQ(SendAll(), Strings{});
    ASSERT_OK(m_list->AddCue(1, u"again", 0, 1));
    EXPECT_EQ(m_list->GetBlockCount(), 1u);
    EXPECT_EQ(SendAll(), Strings{"again"});
}

TEST_F(CueListTest, ACueHeldOutsideOutlivesClearWithItsValuesAndHoldsTheModuleUntilThen) {
    const LONG withList = ZQModule().GetLockCount();
    EXPECT_EQ(withList, m_lockCountAtStart + 1);
    ASSERT_OK(m_list->AddCue(8, u"kept", 10, 20));
    AddNumberedCues(2);
    EXPECT_EQ(ZQModule().GetLockCount(), withList) << "cues only the list holds keep no lock";

    CComPtr<IZQSubtitleCue> held;
    m_callback.SetResponder([&held](const CueEventRecord& e) {
        if (e.text == u"kept")
            held = e.cue;
        return S_OK;
    });
    EXPECT_OK(m_list->UpdateActive(true, &m_callback, 15));
    ASSERT_TRUE(held);
    EXPECT_EQ(ZQModule().GetLockCount(), withList + 1);
    ASSERT_OK(m_list->Rewind());
    EXPECT_HR(kSent, m_list->SendNext(&m_host));
    EXPECT_EQ(held->AddRef(), 3u) << "walks and sends gave back what they took";
    EXPECT_EQ(held->Release(), 2u);
    EXPECT_EQ(m_list->AddRef(), 2u);
    EXPECT_EQ(m_list->Release(), 1u);

    m_list->Clear();
    // A lone outside reference of a cached object doesn't hold the module.
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

// Memory running out at each allocation the list makes.
class CueListOutOfMemoryTest : public CueListTest {
protected:
    void SetUp() override {
        CueListTest::SetUp();
        for (int i = 0; i < 10; ++i)  // a full first block: the next cue needs a second one
            ASSERT_OK(m_list->AddCue(1, u"short", i, i + 1));
    }
};

TEST_F(CueListOutOfMemoryTest, AddCueRaisesOutOfMemoryAtEachAllocationAndLeavesTheListAsItWas) {
    const std::u16string text(100, u'x');  // long enough for an allocation of its own
    long failures = 0;
    for (long n = 0;; ++n) {
        SCOPED_TRACE(n);
        const LONG locks = ZQModule().GetLockCount();
        HRESULT raised = S_OK;
        bool triggered = false;
        {
            FailNthAllocation fail(n);
            raised = RaisedStatus([&] { m_list->AddCue(1, text.c_str(), text.size(), 100, 200); });
            triggered = fail.Triggered();
        }
        if (!triggered) {
            EXPECT_OK(raised);
            break;
        }
        ++failures;
        EXPECT_HR(E_OUTOFMEMORY, raised);
        EXPECT_EQ(m_list->GetCount(), 10u);
        EXPECT_EQ(m_list->GetBlockCount(), 1u);
        EXPECT_EQ(ZQModule().GetLockCount(), locks);
    }
    EXPECT_GE(failures, 3) << "the cue object, its text and the second block";
    const Strings sent = SendAll();
    ASSERT_EQ(sent.size(), 11u);
    EXPECT_EQ(sent.back(), std::string(100, 'x'));
}

TEST_F(CueListOutOfMemoryTest, SendNextRaisesForALongTextAndHasPassedTheCue) {
    const std::u16string text(2000, u'y');
    ASSERT_OK(m_list->AddCue(1, text.c_str(), 0, 1));
    ASSERT_OK(m_list->AddCue(1, u"after", 0, 1));
    ASSERT_OK(m_list->Rewind());
    for (int i = 0; i < 10; ++i)
        ASSERT_OK(m_list->SendNext(&m_host));
    {
        FailNthAllocation fail(0);
        EXPECT_HR(E_OUTOFMEMORY, RaisedStatus([&] { m_list->SendNext(&m_host); }));
        EXPECT_TRUE(fail.Triggered());
    }
    m_host.ClearCalls();
    EXPECT_OK(m_list->SendNext(&m_host));
    ASSERT_EQ(m_host.Calls().size(), 1u);
    EXPECT_EQ(m_host.Calls()[0].data, "after");
}

TEST(CueListCreateTest, AnswersOutOfMemoryAndNullOutAsStatuses) {
    const LONG locks = ZQModule().GetLockCount();
    EXPECT_HR(E_POINTER, CZQSubtitleCueList::Create(nullptr));
    CZQSubtitleCueList* list = reinterpret_cast<CZQSubtitleCueList*>(1);
    CZQSubtitleCue* cue = reinterpret_cast<CZQSubtitleCue*>(1);
    {
        FailNthAllocation fail(0);
        EXPECT_HR(E_OUTOFMEMORY, CZQSubtitleCueList::Create(&list));
    }
    {
        FailNthAllocation fail(0);
        EXPECT_HR(E_OUTOFMEMORY, CZQSubtitleCue::Create(0, u"x", 1, 0, 1, &cue));
    }
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(cue, nullptr);
    EXPECT_EQ(ZQModule().GetLockCount(), locks);
}

}  // namespace
