// What the cue list does when memory runs out at each allocation it makes.
#include <gtest/gtest.h>

#include <string>

#include "subtitle/CZQSubtitleCue.h"
#include "subtitle/CZQSubtitleCueList.h"
#include "subtitle/tests/FailingAllocations.h"
#include "support/CComPtr.h"
#include "support/CStatusException.h"
#include "support/CZQSubtitleModule.h"
#include "tests/support/HResultAssertions.h"
#include "tests/support/RecordingMuxHost.h"

namespace {

using zqtest::FailNthAllocation;
using zqtest::MuxHostCall;
using zqtest::MuxHostCallKind;
using zqtest::RecordingMuxHost;

/// The status that `body` raised as a status exception, or S_OK. Anything
/// else escaping is a fault of the code under test.
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

class CueListOutOfMemoryTest : public ::testing::Test {
protected:
    void SetUp() override {
        CZQSubtitleCueList* list = nullptr;
        ASSERT_OK(CZQSubtitleCueList::Create(&list));
        m_list.Attach(list);
        // A full first block, so that the next cue needs a second one.
        for (int i = 0; i < 10; ++i)
            ASSERT_OK(m_list->AddCue(1, u"short", i, i + 1));
    }

    std::vector<std::string> SendAll() {
        m_host.ClearCalls();
        EXPECT_OK(m_list->Rewind());
        while (m_list->SendNext(&m_host) == S_OK) {}
        std::vector<std::string> sent;
        for (const MuxHostCall& call : m_host.Calls(MuxHostCallKind::Receive))
            sent.push_back(call.data);
        return sent;
    }

    CComPtr<CZQSubtitleCueList> m_list;
    RecordingMuxHost m_host;
};

TEST_F(CueListOutOfMemoryTest, AddCueRaisesOutOfMemoryAtEachAllocationAndLeavesTheListAsItWas) {
    // Long enough that the text needs an allocation of its own.
    const std::u16string text(100, u'x');
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
    // The cue object, its text and the second block.
    EXPECT_GE(failures, 3);
    EXPECT_EQ(m_list->GetCount(), 11u);
    const std::vector<std::string> sent = SendAll();
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
    const std::vector<MuxHostCall> calls = m_host.Calls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].data, "after");
}

TEST(CueListCreateOutOfMemoryTest, AnswersOutOfMemoryAsAStatus) {
    const LONG locks = ZQModule().GetLockCount();
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
