#include "subtitle/CZQSubtitleTrack.h"

#include <gtest/gtest.h>

#include <string>

#include "subrip/tests/ScratchFile.h"
#include "subtitle/tests/TrackTestSupport.h"
#include "support/CStatusException.h"
#include "tests/support/CountingUnknown.h"

namespace {

using namespace std::string_literals;
using zqsubriptest::ScratchFile;
using zqtest::MuxHostCallKind;
using zqtest::RecordingMuxHost;
using zqtracktest::Decode;
using zqtracktest::HostMediaType;
using zqtracktest::NewTrack;
using zqtracktest::SeenCall;
using zqtracktest::Text;

constexpr REFERENCE_TIME kSecond = 10'000'000;
constexpr auto kLabel = &IZQSubtitleTrack::get_Label;
constexpr auto kLanguage = &IZQSubtitleTrack::get_Language;
constexpr auto kLanguageName = &IZQSubtitleTrack::get_LanguageName;

TEST(CZQSubtitleTrackTest, PropertiesRefuseNullAndShowSelectedAsOne) {
    CComPtr<CZQSubtitleTrack> track = NewTrack();
    for (auto getter : {kLabel, kLanguage, kLanguageName})
        EXPECT_HR(E_POINTER, (track.Get()->*getter)(nullptr));
    EXPECT_HR(E_POINTER, track->get_ID(nullptr));
    EXPECT_HR(E_POINTER, track->get_Kind(nullptr));
    EXPECT_HR(E_POINTER, track->get_Selected(nullptr));
    EXPECT_EQ(Text(*track, kLanguageName), u"");
    track->SetSelected(true);
    VARIANT_BOOL selected = 0;
    ASSERT_OK(track->get_Selected(&selected));
    EXPECT_EQ(selected, 1) << "not VARIANT_TRUE";
}

TEST(CZQSubtitleTrackTest, LoadBuildsTheSubtitleMediaTypeAndItsBlock) {
    ScratchFile file(zqtracktest::kTwoCueSrt);
    CComPtr<CZQSubtitleTrack> track = NewTrack();
    // 254 letters, then a surrogate pair that would straddle the field's end.
    const std::u16string label = std::u16string(254, u'a') + u"\U0001F600" + std::u16string(44, u'b');
    ASSERT_OK(track->LoadFromFile(file.WidePath().c_str(), label.c_str(), u"de"));
    EXPECT_EQ(track->GetCueCount(), 2u);
    EXPECT_EQ(Text(*track, kLabel), label) << "the property keeps the whole label";
    EXPECT_EQ(Text(*track, kLanguage), u"de");
    EXPECT_EQ(Text(*track, kLanguageName), u"German");
    EXPECT_EQ(track->GetKind(), ZQSubtitle_Track_Kind_Unknown) << "the kind is the list's business";

    const AM_MEDIA_TYPE& type = *track->GetMediaType();
    EXPECT_EQ(type.majortype, MEDIATYPE_Subtitle);
    EXPECT_EQ(type.subtype, MEDIASUBTYPE_UTF8);
    EXPECT_EQ(type.formattype, FORMAT_SubtitleInfo);
    EXPECT_EQ(std::make_tuple(type.bFixedSizeSamples, type.bTemporalCompression, type.lSampleSize),
              std::make_tuple(TRUE, FALSE, 1u));
    EXPECT_EQ(type.pUnk, nullptr);
    ASSERT_EQ(type.cbFormat, 520u);
    const zqtracktest::DecodedInfo info = Decode(type.pbFormat);
    EXPECT_EQ(info.dwOffset, 520u);
    EXPECT_EQ(info.isoLang, "ger\0"s) << "the bibliographic code";
    // Regression: the field takes the first 255 units even where that cuts a
    // surrogate pair; the pair used to go whole, leaving 254.
    EXPECT_EQ(info.trackName, std::u16string(254, u'a') + u'\xD83D' + u'\0');

    // A plain label of 300 characters: the property keeps all of them, the
    // block the first 255 and a NUL.
    CComPtr<CZQSubtitleTrack> plain = NewTrack();
    const std::u16string longLabel = std::u16string(200, u'x') + std::u16string(100, u'y');
    ASSERT_OK(plain->LoadFromFile(file.WidePath().c_str(), longLabel.c_str(), u"de"));
    EXPECT_EQ(Text(*plain, kLabel), longLabel);
    EXPECT_EQ(Decode(plain->GetMediaType()->pbFormat).trackName,
              std::u16string(200, u'x') + std::u16string(55, u'y') + u'\0');

    // A language the table doesn't know stays as given, IsoLang all zeros.
    CComPtr<CZQSubtitleTrack> unknown = NewTrack();
    ASSERT_OK(unknown->LoadFromFile(file.WidePath().c_str(), nullptr, u"Klingon"));
    EXPECT_EQ(Text(*unknown, kLanguage), u"Klingon");
    EXPECT_EQ(Decode(unknown->GetMediaType()->pbFormat).isoLang, std::string(4, '\0'));
    EXPECT_EQ(Decode(unknown->GetMediaType()->pbFormat).trackName, std::u16string(256, u'\0'));
}

TEST(CZQSubtitleTrackTest, FailedLoadsLeaveTheTrackAsItWas) {
    ScratchFile good(zqtracktest::kTwoCueSrt);
    ScratchFile bad("not a cue line\n1\n00:00:01,000 --> 00:00:02,000\nA\n");
    CComPtr<CZQSubtitleTrack> track = NewTrack();
    ASSERT_OK(track->LoadFromFile(good.WidePath().c_str(), u"kept", u"fr"));
    const BYTE* block = track->GetMediaType()->pbFormat;

    EXPECT_HR(VFW_E_INVALID_FILE_FORMAT, track->LoadFromFile(bad.WidePath().c_str(), u"new", u"de"));
    EXPECT_HR(HRESULT_FROM_WIN32(2), track->LoadFromFile((good.WidePath() + u"-").c_str(), u"new", u"de"));
    EXPECT_HR(E_POINTER, track->LoadFromFile(nullptr, u"new", u"de"));
    EXPECT_EQ(track->GetCueCount(), 2u);
    EXPECT_EQ(Text(*track, kLabel), u"kept");
    EXPECT_EQ(Text(*track, kLanguage), u"fr");
    EXPECT_EQ(track->GetMediaType()->pbFormat, block);
    EXPECT_EQ(Decode(block).isoLang, "fre\0"s);
}

TEST(CZQSubtitleTrackTest, ReadsAFileInTheCodePageOfItsLanguage) {
    ScratchFile file("1\n00:00:01,000 --> 00:00:02,000\n\xCF\xF0\xE8\xE2\xE5\xF2\n");  // "Привет" in 1251
    CComPtr<CZQSubtitleTrack> track = NewTrack();
    ASSERT_OK(track->LoadFromFile(file.WidePath().c_str(), u"Russian", u"ru"));
    RecordingMuxHost host;
    track->Rewind();
    ASSERT_OK(track->SendNext(&host));
    EXPECT_EQ(host.Calls().at(0).data, "\xD0\x9F\xD1\x80\xD0\xB8\xD0\xB2\xD0\xB5\xD1\x82\n");
}

class TrackSendTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_OK(m_track->LoadFromFile(m_file.WidePath().c_str(), u"x", u"en"));
        ASSERT_OK(m_track->SetID(4));
    }

    ScratchFile m_file{zqtracktest::kTwoCueSrt};
    CComPtr<CZQSubtitleTrack> m_track = NewTrack();
    RecordingMuxHost m_host;
};

// Sending in order, run after run, is covered through the multiplexer.
TEST_F(TrackSendTest, HostFailuresAreReturnedAndNotRetried) {
    EXPECT_HR(S_FALSE, m_track->SendNext(&m_host)) << "nothing to send before the first Rewind";
    m_host.ClearCalls();
    m_host.SetResponder([](const zqtest::MuxHostCall& call) {
        return call.kind == MuxHostCallKind::EndOfStream || call.start == kSecond ? E_FAIL : S_OK;
    });
    m_track->Rewind();
    EXPECT_HR(E_FAIL, m_track->SendNext(&m_host));
    EXPECT_OK(m_track->SendNext(&m_host));
    EXPECT_HR(E_FAIL, m_track->SendNext(&m_host));
    EXPECT_HR(S_FALSE, m_track->SendNext(&m_host));
    EXPECT_EQ(zqtracktest::Seen(m_host), (std::vector<SeenCall>{{MuxHostCallKind::Receive, 4, "First\n\n"},
                                                                {MuxHostCallKind::Receive, 4, "Second\nline\n"},
                                                                {MuxHostCallKind::EndOfStream, 4, ""}}));
    EXPECT_EQ(m_host.References(), 0);
}

struct IsoLangCase {
    const char* name;
    std::string isoLang;  // the four bytes of the field
    std::u16string language;
    std::u16string languageName;
};

class TrackIsoLangTest : public ::testing::TestWithParam<IsoLangCase> {};

TEST_P(TrackIsoLangTest, MapsIsoLangToTheLanguageOfTheTable) {
    HostMediaType host(GetParam().isoLang, u"Name");
    CComPtr<CZQSubtitleTrack> track = NewTrack();
    ASSERT_OK(track->InitFromMediaType(&host.type));
    EXPECT_EQ(Text(*track, kLanguage), GetParam().language);
    EXPECT_EQ(Text(*track, kLanguageName), GetParam().languageName);
    EXPECT_EQ(track->GetKind(), ZQSubtitle_Track_Kind_Text);
}

INSTANTIATE_TEST_SUITE_P(
    IsoLang, TrackIsoLangTest,
    ::testing::Values(IsoLangCase{"Empty", std::string(4, '\0'), u"en", u"English"},
                      IsoLangCase{"Blank", "  \t\0"s, u"en", u"English"}, IsoLangCase{"Padded", " fre"s, u"fr", u"French"},
                      IsoLangCase{"Bibliographic", "ger\0"s, u"de", u"German"},
                      IsoLangCase{"Terminologic", "deu\0"s, u"de", u"German"},
                      IsoLangCase{"NoTwoLetterCode", "ace\0"s, u"ace", u"Achinese"},
                      IsoLangCase{"Unknown", "xxx\0"s, u"xxx", u""}, IsoLangCase{"UpperCase", "GER\0"s, u"GER", u""},
                      IsoLangCase{"FourLettersWithoutNul", "engl"s, u"engl", u""}),
    [](const ::testing::TestParamInfo<IsoLangCase>& param) { return std::string(param.param.name); });

TEST(CZQSubtitleTrackTest, InitCopiesTheMediaTypeAndReadsTrackNameWithinItsField) {
    // A name that fills all 256 units without a NUL, in a larger block.
    HostMediaType host("eng", std::u16string(256, u'n'), 600);
    host.block[599] = 0x5A;
    zqtest::CountingUnknown unknown;
    host.type.pUnk = &unknown;
    {
        CComPtr<CZQSubtitleTrack> track = NewTrack();
        ASSERT_OK(track->InitFromMediaType(&host.type));
        EXPECT_EQ(Text(*track, kLabel), std::u16string(256, u'n'));
        const AM_MEDIA_TYPE& copy = *track->GetMediaType();
        ASSERT_EQ(copy.cbFormat, 600u);
        EXPECT_NE(copy.pbFormat, host.block.data());
        EXPECT_EQ(copy.pbFormat[599], 0x5A);
        EXPECT_EQ(unknown.References(), 1);
    }
    EXPECT_EQ(unknown.References(), 0);
}

TEST(CZQSubtitleTrackTest, InitRefusesOtherMediaTypesAndShortBlocksWithoutChange) {
    CComPtr<CZQSubtitleTrack> track = NewTrack();
    EXPECT_HR(E_POINTER, track->InitFromMediaType(nullptr));
    // Each identifier in turn, a short block, a missing block, no block at all.
    for (int i = 0; i < 6; ++i) {
        SCOPED_TRACE(i);
        HostMediaType refused("ger", u"x", i == 3 ? 519 : i == 5 ? 0 : 520);
        refused.type.majortype.Data4[7] ^= i == 0 ? 1 : 0;
        refused.type.subtype.Data1 ^= i == 1 ? 1 : 0;
        refused.type.formattype.Data2 ^= i == 2 ? 1 : 0;
        if (i == 4)
            refused.type.pbFormat = nullptr;
        EXPECT_HR(VFW_E_INVALIDMEDIATYPE, track->InitFromMediaType(&refused.type));
        EXPECT_EQ(track->GetKind(), ZQSubtitle_Track_Kind_Unknown);
        EXPECT_EQ(track->GetMediaType()->cbFormat, 0u);
        EXPECT_EQ(Text(*track, kLabel), u"");
        EXPECT_EQ(Text(*track, kLanguage), u"");
    }
}

class TrackSampleTest : public ::testing::Test {
protected:
    void SetUp() override {
        HostMediaType host;
        ASSERT_OK(m_track->InitFromMediaType(&host.type));
        ASSERT_OK(m_track->SetID(2));
        m_track->SetSelected(true);
    }

    HRESULT Add(std::string_view bytes, REFERENCE_TIME start = kSecond, REFERENCE_TIME stop = 2 * kSecond) {
        return ZQCallWithBarrier(
            [&] { return m_track->AddSample(start, stop, bytes.data(), static_cast<LONG>(bytes.size())); });
    }

    /// Every cue as a host would get it; Rewind reopens the track afterwards.
    std::vector<SeenCall> Cues() {
        RecordingMuxHost host;
        m_track->Rewind();
        while (m_track->SendNext(&host) == S_OK) {}
        m_track->Rewind();
        std::vector<SeenCall> cues = zqtracktest::Seen(host);
        cues.pop_back();  // the end of the stream
        return cues;
    }

    CComPtr<CZQSubtitleTrack> m_track = NewTrack();
};

TEST_F(TrackSampleTest, KeepsTrimmedTextUpToANulAndDropsEmptyTimelessOrBadSamples) {
    EXPECT_OK(Add("\r\n  line one\r\nline two\n\n"));
    EXPECT_OK(Add("ab\0cd"s));
    EXPECT_OK(Add("\xFF" "x"));
    for (const std::string& dropped : {" \t\r\n"s, "\0text"s, ""s})
        EXPECT_OK(Add(dropped));
    EXPECT_OK(Add("equal", kSecond, kSecond));
    EXPECT_OK(Add("backwards", 2 * kSecond, kSecond));
    EXPECT_HR(E_INVALIDARG, ZQCallWithBarrier([&] { return m_track->AddSample(0, 1, "abc", -1); }));
    EXPECT_HR(E_INVALIDARG, ZQCallWithBarrier([&] { return m_track->AddSample(0, 1, nullptr, 3); }));
    EXPECT_EQ(Cues(), (std::vector<SeenCall>{{MuxHostCallKind::Receive, 2, "line one\r\nline two"},
                                             {MuxHostCallKind::Receive, 2, "ab"},
                                             {MuxHostCallKind::Receive, 2, "\xEF\xBF\xBD" "x"}}));
}

TEST_F(TrackSampleTest, FlushAndEndOfStreamDropSamplesUnread) {
    ASSERT_OK(Add("kept"));
    m_track->EndOfStream();
    EXPECT_OK(m_track->AddSample(0, 1, nullptr, 5)) << "not even looked at";
    EXPECT_EQ(m_track->GetCueCount(), 1u) << "the end of the stream keeps the cues";

    // EndFlush reopens the track unless the end comes again during the flush.
    m_track->BeginFlush();
    EXPECT_EQ(m_track->GetCueCount(), 0u);
    EXPECT_OK(m_track->AddSample(0, 1, nullptr, -5));
    m_track->EndOfStream();
    m_track->EndFlush();
    EXPECT_TRUE(m_track->IsEndOfStream());
    m_track->BeginFlush();
    m_track->EndFlush();
    ASSERT_OK(Add("again"));
    EXPECT_EQ(m_track->GetCueCount(), 1u);

    m_track->EndOfStream();
    m_track->NewSegment(0, 0, 1.0);
    EXPECT_EQ(m_track->GetCueCount(), 0u);
    ASSERT_OK(Add("after the segment"));
    EXPECT_EQ(m_track->GetCueCount(), 1u);
}

TEST_F(TrackSampleTest, IdMovesOnlyByWayOfNoIdAndTheCuesFollow) {
    ASSERT_OK(Add("cue"));
    EXPECT_HR(E_INVALIDARG, m_track->SetID(3));
    EXPECT_EQ(m_track->GetID(), 2);
    ASSERT_OK(m_track->SetID(0));
    ASSERT_OK(m_track->SetID(3));
    EXPECT_EQ(std::get<1>(Cues().at(0)), 3);
}

}  // namespace
