#include "subtitle/CZQSubtitleCue.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "support/CZQSubtitleModule.h"
#include "tests/support/HResultAssertions.h"
#include "tests/support/RecordingCueCallback.h"
#include "tests/support/RecordingMuxHost.h"
#include "zqplatform/comptr.h"
#include "zqplatform/oleauto.h"

namespace {

using zqtest::CueEventRecord;
using zqtest::MuxHostCall;
using zqtest::RecordingCueCallback;
using zqtest::RecordingMuxHost;

CComPtr<CZQSubtitleCue> MakeCue(std::u16string_view text, REFERENCE_TIME start = 100, REFERENCE_TIME stop = 200,
                                LONG trackid = 3) {
    CComPtr<CZQSubtitleCue> cue;
    EXPECT_OK(CZQSubtitleCue::Create(trackid, text.data(), text.size(), start, stop, &cue));
    return cue;
}

TEST(CZQSubtitleCueTest, HoldsTheModuleOnlyWhileSomebodyBesidesItsOwnerRefersToIt) {
    const LONG start = ZQModule().GetLockCount();
    CZQSubtitleCue* cue = nullptr;
    ASSERT_OK(CZQSubtitleCue::Create(0, u"x", 1, 0, 1, &cue));
    EXPECT_EQ(ZQModule().GetLockCount(), start);
    EXPECT_EQ(cue->AddRef(), 2u);
    EXPECT_EQ(ZQModule().GetLockCount(), start + 1);
    EXPECT_EQ(cue->AddRef(), 3u);
    EXPECT_EQ(ZQModule().GetLockCount(), start + 1);
    EXPECT_EQ(cue->Release(), 2u);
    EXPECT_EQ(cue->Release(), 1u);
    EXPECT_EQ(ZQModule().GetLockCount(), start);
    EXPECT_EQ(cue->Release(), 0u);
    EXPECT_EQ(ZQModule().GetLockCount(), start);
}

TEST(CZQSubtitleCueTest, PropertiesGiveSecondsTheWholeCountedTextAndTheTrack) {
    const std::u16string text(u"a\0b\U0001F600", 5);
    CComPtr<CZQSubtitleCue> cue = MakeCue(text, -15'000'000, 123'456'789, 9);
    double seconds = 0;
    ASSERT_OK(cue->get_Start(&seconds));
    EXPECT_DOUBLE_EQ(seconds, -1.5);
    ASSERT_OK(cue->get_Stop(&seconds));
    EXPECT_DOUBLE_EQ(seconds, 12.3456789);
    LONG trackid = 0;
    ASSERT_OK(cue->get_trackid(&trackid));
    EXPECT_EQ(trackid, 9);
    BSTR bstr = nullptr;
    ASSERT_OK(cue->get_Text(&bstr));
    EXPECT_EQ(std::u16string(bstr, SysStringLen(bstr)), text);
    SysFreeString(bstr);

    EXPECT_HR(E_POINTER, cue->get_Start(nullptr));
    EXPECT_HR(E_POINTER, cue->get_Stop(nullptr));
    EXPECT_HR(E_POINTER, cue->get_Text(nullptr));
    EXPECT_HR(E_POINTER, cue->get_trackid(nullptr));
    CZQSubtitleCue* none = reinterpret_cast<CZQSubtitleCue*>(1);
    EXPECT_HR(E_POINTER, CZQSubtitleCue::Create(0, nullptr, 2, 0, 1, &none));
    EXPECT_EQ(none, nullptr);
    EXPECT_HR(E_POINTER, CZQSubtitleCue::Create(0, u"x", 1, 0, 1, nullptr));
    EXPECT_OK(CZQSubtitleCue::Create(0, nullptr, 0, 0, 1, &none)) << "no text needs no pointer";
    none->Release();
}

TEST(CZQSubtitleCueTest, TrackIdMovesOnlyByWayOfNoTrack) {
    CComPtr<CZQSubtitleCue> cue = MakeCue(u"x", 0, 1, 5);
    EXPECT_HR(E_INVALIDARG, cue->SetTrackID(7));
    EXPECT_EQ(cue->GetTrackID(), 5);
    EXPECT_OK(cue->SetTrackID(0));
    EXPECT_OK(cue->SetTrackID(7));
    EXPECT_EQ(cue->GetTrackID(), 7);
}

TEST(CZQSubtitleCueTest, PropertiesMayBeReadOnAnotherThreadWhileTheOwnerMovesTheTrackId) {
    CComPtr<CZQSubtitleCue> cue = MakeCue(u"shared", 0, 1, 0);
    std::thread reader([cue] {
        for (int i = 0; i < 2000; ++i) {
            LONG trackid = -1;
            EXPECT_OK(cue->get_trackid(&trackid));
            EXPECT_TRUE(trackid == 0 || trackid == 5) << trackid;
            BSTR text = nullptr;
            EXPECT_OK(cue->get_Text(&text));
            SysFreeString(text);
        }
    });
    for (int i = 0; i < 2000; ++i)
        EXPECT_OK(cue->SetTrackID(i % 2 == 0 ? 5 : 0));
    reader.join();
}

class CueActivityTest : public ::testing::Test {
protected:
    CComPtr<CZQSubtitleCue> m_cue = MakeCue(u"hello", 100, 200, 4);  // [100, 200)
    RecordingCueCallback m_callback;

    void ExpectEvent(size_t index, ZQSubtitle_Cue_Event event, REFERENCE_TIME time) {
        const std::vector<CueEventRecord> events = m_callback.Events();
        ASSERT_LT(index, events.size());
        EXPECT_EQ(events[index].event, event);
        EXPECT_DOUBLE_EQ(events[index].time, static_cast<double>(time) / 1e7);
        EXPECT_EQ(events[index].cue, static_cast<IZQSubtitleCue*>(m_cue.Get()));
        EXPECT_EQ(events[index].text, u"hello");
        EXPECT_EQ(events[index].trackid, 4);
    }
};

TEST_F(CueActivityTest, IsActiveFromItsStartUpToButNotIncludingItsStop) {
    EXPECT_OK(m_cue->UpdateActive(true, &m_callback, 99));
    EXPECT_EQ(m_callback.EventCount(), 0u);
    EXPECT_OK(m_cue->UpdateActive(true, &m_callback, 100));
    ExpectEvent(0, ZQSubtitle_Cue_Event_Active, 100);
    EXPECT_OK(m_cue->UpdateActive(true, &m_callback, 199));
    EXPECT_EQ(m_callback.EventCount(), 1u);
    EXPECT_OK(m_cue->UpdateActive(true, &m_callback, 200));
    ExpectEvent(1, ZQSubtitle_Cue_Event_Inactive, 200);
    EXPECT_OK(m_cue->UpdateActive(true, &m_callback, 150));  // as after a seek backwards
    ExpectEvent(2, ZQSubtitle_Cue_Event_Active, 150);
    // Deselected: Inactive with an event; without a callback: silently.
    EXPECT_OK(m_cue->UpdateActive(false, &m_callback, 160));
    ExpectEvent(3, ZQSubtitle_Cue_Event_Inactive, 160);
    EXPECT_FALSE(m_cue->IsActive());
    EXPECT_OK(m_cue->UpdateActive(true, &m_callback, 170));
    EXPECT_OK(m_cue->UpdateActive(true, nullptr, 180));
    EXPECT_FALSE(m_cue->IsActive());
    EXPECT_EQ(m_callback.EventCount(), 5u);
    EXPECT_EQ(m_callback.AddRefCalls(), 0) << "the callback is borrowed for the call only";

    for (auto [start, stop] : {std::pair<REFERENCE_TIME, REFERENCE_TIME>{100, 100}, {200, 100}}) {
        CComPtr<CZQSubtitleCue> empty = MakeCue(u"x", start, stop);
        for (REFERENCE_TIME time : {99, 100, 150, 200})
            EXPECT_OK(empty->UpdateActive(true, &m_callback, time));
    }
    EXPECT_EQ(m_callback.EventCount(), 5u) << "an empty or inverted interval is never active";
}

TEST_F(CueActivityTest, KeepsItsNewStateWhenTheCallbackFails) {
    m_callback.SetResponder([](const CueEventRecord&) { return E_FAIL; });
    EXPECT_HR(E_FAIL, m_cue->UpdateActive(true, &m_callback, 150));
    EXPECT_TRUE(m_cue->IsActive());
    EXPECT_OK(m_cue->UpdateActive(true, &m_callback, 160)) << "not repeated at the next test";
    EXPECT_HR(E_FAIL, m_cue->UpdateActive(true, &m_callback, 250));
    EXPECT_FALSE(m_cue->IsActive());
    EXPECT_EQ(m_callback.EventCount(), 2u);
}

TEST_F(CueActivityTest, DeactivateReportsOnlyAnActiveCueAndFiresNothing) {
    bool wasActive = false;
    EXPECT_OK(m_cue->Deactivate(&wasActive));
    EXPECT_FALSE(wasActive);
    wasActive = true;
    EXPECT_OK(m_cue->Deactivate(&wasActive));
    EXPECT_TRUE(wasActive) << "only ever set, never cleared";

    EXPECT_OK(m_cue->UpdateActive(true, &m_callback, 150));
    wasActive = false;
    EXPECT_OK(m_cue->Deactivate(&wasActive));
    EXPECT_TRUE(wasActive);
    EXPECT_FALSE(m_cue->IsActive());
    EXPECT_OK(m_cue->Deactivate(nullptr));
    EXPECT_EQ(m_callback.EventCount(), 1u);
    EXPECT_OK(m_cue->UpdateActive(true, &m_callback, 150));
    ExpectEvent(1, ZQSubtitle_Cue_Event_Active, 150);
}

struct PayloadCase {
    const char* name;
    std::u16string text;
    std::string utf8;
};

class CueSendTest : public ::testing::TestWithParam<PayloadCase> {};

TEST_P(CueSendTest, SendsTheTextAsUtf8WithItsByteLengthTrackAndTimes) {
    CComPtr<CZQSubtitleCue> cue = MakeCue(GetParam().text, -5, 7'000'000'000, 12);
    RecordingMuxHost host;
    ASSERT_OK(cue->Send(&host));
    const std::vector<MuxHostCall> calls = host.Calls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].kind, zqtest::MuxHostCallKind::Receive);
    EXPECT_EQ(std::make_tuple(calls[0].trackid, calls[0].start, calls[0].stop),
              std::make_tuple(12, REFERENCE_TIME{-5}, REFERENCE_TIME{7'000'000'000}));
    EXPECT_EQ(calls[0].data, GetParam().utf8);
    EXPECT_EQ(host.AddRefCalls(), 0);
}

template <class Text>
Text Repeat(const Text& piece, int times) {
    Text text;
    for (int i = 0; i < times; ++i)
        text += piece;
    return text;
}

INSTANTIATE_TEST_SUITE_P(
    Texts, CueSendTest,
    ::testing::Values(PayloadCase{"Ascii", u"Hello,\r\nworld", "Hello,\r\nworld"}, PayloadCase{"Empty", u"", ""},
                      PayloadCase{"LoneSurrogates", u"a\xD800z\xDC00", "a\xEF\xBF\xBDz\xEF\xBF\xBD"},
                      PayloadCase{"EndsAtTheFirstNul", std::u16string(u"ab\0cd", 5), "ab"},
                      PayloadCase{"LongerThanTheInlineBuffer", Repeat<std::u16string>(u"\u00E9\u20AC\U0001F600z", 1000),
                                  Repeat<std::string>("\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80z", 1000)}),
    [](const ::testing::TestParamInfo<PayloadCase>& param) { return std::string(param.param.name); });

TEST(CZQSubtitleCueSendTest, GivesTheHostsStatusAndSkipsANullHost) {
    CComPtr<CZQSubtitleCue> cue = MakeCue(u"x");
    EXPECT_OK(cue->Send(nullptr));
    RecordingMuxHost host;
    for (HRESULT status : {VFW_E_WRONG_STATE, S_FALSE}) {
        host.SetResponder([status](const MuxHostCall&) { return status; });
        EXPECT_HR(status, cue->Send(&host));
    }
}

}  // namespace
