// Subtitle texts on their way into and out of containers: the SUBTITLEINFO
// block the hosts build and read, the plain text of ASS events, and cue texts
// through each text codec and back as the two hosts carry them.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include "hosts/ffmpeg/AssText.h"
#include "hosts/ffmpeg/CContainerReader.h"
#include "hosts/ffmpeg/CSubtitleEncoder.h"
#include "hosts/ffmpeg/CSubtitleMediaType.h"
#include "hosts/ffmpeg/CSubtitleTextDecoder.h"

namespace {

SUBTITLEINFO BlockOf(const CSubtitleMediaType& type) {
    SUBTITLEINFO info;
    std::memcpy(&info, type.Get()->pbFormat, sizeof info);
    return info;
}

TEST(SubtitleMediaType, CarriesTheLanguageAndTitleInTheBlock) {
    const CSubtitleMediaType type({"rus", "Русский"});
    const AM_MEDIA_TYPE* media = type.Get();
    EXPECT_EQ(MEDIATYPE_Subtitle, media->majortype);
    EXPECT_EQ(MEDIASUBTYPE_UTF8, media->subtype);
    EXPECT_EQ(FORMAT_SubtitleInfo, media->formattype);
    ASSERT_EQ(kSubtitleInfoSize, media->cbFormat);
    const SUBTITLEINFO info = BlockOf(type);
    EXPECT_EQ(kSubtitleInfoSize, info.dwOffset);
    EXPECT_STREQ("rus", info.IsoLang);
    EXPECT_EQ(std::u16string(u"Русский"), std::u16string(info.TrackName));

    SubtitleStreamLabel read;
    ASSERT_TRUE(ReadSubtitleMediaType(media, read));
    EXPECT_EQ("rus", read.isoLang);
    EXPECT_EQ("Русский", read.title);
}

TEST(SubtitleMediaType, CutsLongFieldsWithoutSplittingACharacter) {
    // 254 letters and a character outside the BMP: its pair can't fit.
    const CSubtitleMediaType type({"engl", std::string(254, 'a') + "\xF0\x9F\x8E\xB5"});
    const SUBTITLEINFO info = BlockOf(type);
    EXPECT_STREQ("eng", info.IsoLang);
    EXPECT_EQ(std::u16string(254, u'a'), std::u16string(info.TrackName));
    const CSubtitleMediaType unknown({"", ""});
    EXPECT_EQ(0, BlockOf(unknown).IsoLang[0]);
}

TEST(SubtitleMediaType, ReadRefusesOtherTypesAndShortBlocks) {
    const CSubtitleMediaType type({"ger", "Deutsch"});
    SubtitleStreamLabel read;
    AM_MEDIA_TYPE other = *type.Get();
    other.subtype = MEDIATYPE_Subtitle;
    EXPECT_FALSE(ReadSubtitleMediaType(&other, read));
    other = *type.Get();
    other.cbFormat = kSubtitleInfoSize - 1;
    EXPECT_FALSE(ReadSubtitleMediaType(&other, read));
    other.pbFormat = nullptr;
    other.cbFormat = kSubtitleInfoSize;
    EXPECT_FALSE(ReadSubtitleMediaType(&other, read));
    EXPECT_FALSE(ReadSubtitleMediaType(nullptr, read));
}

TEST(AssText, ShowsWhatAnEventShows) {
    const struct {
        const char* event;
        const char* plain;
    } cases[] = {
        {"0,0,Default,,0,0,0,,Hello", "Hello"},
        {"3,0,Default,Speaker,0,0,0,,one, two, three", "one, two, three"},
        {"0,0,Default,,0,0,0,,{\\i1}leaning{\\i0} text", "leaning text"},
        {"0,0,Default,,0,0,0,,first\\Nsecond\\nthird", "first\nsecond\nthird"},
        {"0,0,Default,,0,0,0,,no\\hbreak", "no\xC2\xA0"
                                           "break"},
        {"0,0,Default,,0,0,0,,\\{kept\\} and a \\\\", "{kept} and a \\"},
        {"0,0,Default,,0,0,0,,an { unclosed brace", "an { unclosed brace"},
        {"0,0,Default,,0,0,0,", ""},
        {"not an event", ""},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.event);
        EXPECT_EQ(test.plain, PlainTextFromAssEvent(test.event));
    }
}

/// A stream of `codec` as a container would hold it, for a decoder.
class StreamOf {
public:
    explicit StreamOf(const CSubtitleEncoder& encoder) : m_context(avformat_alloc_context()) {
        m_stream = avformat_new_stream(m_context, nullptr);
        m_stream->time_base = {1, 1000};
        EXPECT_TRUE(encoder.DescribeStream(m_stream->codecpar).Ok());
    }
    ~StreamOf() { avformat_free_context(m_context); }
    StreamOf(const StreamOf&) = delete;
    StreamOf& operator=(const StreamOf&) = delete;
    const AVStream* Get() const { return m_stream; }

private:
    AVFormatContext* m_context;
    AVStream* m_stream;
};

class TextThroughCodec : public ::testing::TestWithParam<AVCodecID> {};

TEST_P(TextThroughCodec, ComesBackAsItWent) {
    std::unique_ptr<CSubtitleEncoder> encoder;
    ASSERT_TRUE(CSubtitleEncoder::Create("out", GetParam(), encoder).Ok());
    const StreamOf stream(*encoder);
    ASSERT_TRUE(CSubtitleTextDecoder::CanRead(stream.Get()->codecpar));
    std::unique_ptr<CSubtitleTextDecoder> decoder;
    ASSERT_TRUE(CSubtitleTextDecoder::Create("in", stream.Get(), decoder).Ok());
    const char* texts[] = {"Good evening.", "Поезд отправляется\nровно в полночь.", "電車は七時に出発します。",
                           "♪ a, b, c ♪", "12 € – äußerst"};
    for (const char* text : texts) {
        SCOPED_TRACE(text);
        std::span<const uint8_t> payload;
        ASSERT_TRUE(encoder->Encode(text, 2000, payload).Ok());
        ASSERT_FALSE(payload.empty());
        CPacket packet;
        ASSERT_EQ(0, av_new_packet(packet.Get(), static_cast<int>(payload.size())));
        std::memcpy(packet->data, payload.data(), payload.size());
        packet->pts = 1000;
        packet->duration = 2000;
        std::string decoded;
        ASSERT_TRUE(decoder->Decode(packet.Get(), decoded).Ok());
        EXPECT_EQ(text, decoded);
    }
}

TEST_P(TextThroughCodec, AnEmptyCueGetsNoPacket) {
    std::unique_ptr<CSubtitleEncoder> encoder;
    ASSERT_TRUE(CSubtitleEncoder::Create("out", GetParam(), encoder).Ok());
    std::span<const uint8_t> payload;
    ASSERT_TRUE(encoder->Encode("", 1000, payload).Ok());
    EXPECT_TRUE(payload.empty());
}

INSTANTIATE_TEST_SUITE_P(EachTextCodec, TextThroughCodec,
                         ::testing::Values(AV_CODEC_ID_SUBRIP, AV_CODEC_ID_TEXT, AV_CODEC_ID_MOV_TEXT,
                                           AV_CODEC_ID_WEBVTT, AV_CODEC_ID_ASS),
                         [](const ::testing::TestParamInfo<AVCodecID>& codec) {
                             std::string name = avcodec_get_name(codec.param);
                             std::erase(name, '_');
                             return name;
                         });

TEST(SubtitleTextDecoder, ReadsMatroskaLineEndsAndRefusesBitmaps) {
    AVFormatContext* context = avformat_alloc_context();
    AVStream* stream = avformat_new_stream(context, nullptr);
    stream->codecpar->codec_type = AVMEDIA_TYPE_SUBTITLE;
    stream->codecpar->codec_id = AV_CODEC_ID_SUBRIP;
    std::unique_ptr<CSubtitleTextDecoder> decoder;
    ASSERT_TRUE(CSubtitleTextDecoder::Create("in.mkv", stream, decoder).Ok());
    CPacket packet;
    const char text[] = "first line\r\nsecond line";
    ASSERT_EQ(0, av_new_packet(packet.Get(), sizeof text - 1));
    std::memcpy(packet->data, text, sizeof text - 1);
    std::string decoded;
    ASSERT_TRUE(decoder->Decode(packet.Get(), decoded).Ok());
    EXPECT_EQ("first line\nsecond line", decoded);

    stream->codecpar->codec_id = AV_CODEC_ID_HDMV_PGS_SUBTITLE;
    EXPECT_FALSE(CSubtitleTextDecoder::CanRead(stream->codecpar));
    const CHostStatus refused = CSubtitleTextDecoder::Create("in.mkv", stream, decoder);
    EXPECT_EQ("in.mkv: stream #0 (hdmv_pgs_subtitle) holds no text subtitles", refused.Message());
    avformat_free_context(context);
}

}  // namespace
