// Helpers of the track and track list tests: tracks, host media types, BSTRs.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "subtitle/CZQSubtitleTrack.h"
#include "tests/support/HResultAssertions.h"
#include "tests/support/RecordingMuxHost.h"
#include "zqplatform/comptr.h"
#include "zqplatform/oleauto.h"
#include "zqsubtitle/ZQSubtitleMediaType.h"

namespace zqtracktest {

/// Two cues of one second each, at 1 s and at 3 s.
inline constexpr std::string_view kTwoCueSrt =
    "1\n00:00:01,000 --> 00:00:02,000\nFirst\n\n2\n00:00:03,000 --> 00:00:04,000\nSecond\nline\n";

inline CComPtr<CZQSubtitleTrack> NewTrack() {
    CComPtr<CZQSubtitleTrack> track;
    EXPECT_OK(CZQSubtitleTrack::Create(&track));
    return track;
}

/// A string property of a track; the BSTR is freed.
inline std::u16string Text(IZQSubtitleTrack& track, HRESULT (IZQSubtitleTrack::*getter)(BSTR*)) {
    BSTR bstr = nullptr;
    EXPECT_OK((track.*getter)(&bstr));
    EXPECT_NE(bstr, nullptr) << "an empty text is an empty BSTR";
    std::u16string text(bstr, SysStringLen(bstr));
    SysFreeString(bstr);
    return text;
}

/// A host call as a sequence check compares it: kind, track id, payload.
using SeenCall = std::tuple<zqtest::MuxHostCallKind, LONG, std::string>;

inline std::vector<SeenCall> Seen(const zqtest::RecordingMuxHost& host) {
    std::vector<SeenCall> seen;
    for (const zqtest::MuxHostCall& call : host.Calls())
        seen.emplace_back(call.kind, call.trackid, call.data);
    return seen;
}

/// A subtitle media type as a host would offer it, with a block of its own.
struct HostMediaType {
    HostMediaType(const HostMediaType&) = delete;
    HostMediaType& operator=(const HostMediaType&) = delete;

    AM_MEDIA_TYPE type{};
    std::vector<BYTE> block;

    /// Up to four `isoLang` bytes as they stand, up to 256 `name` units, the rest zero.
    explicit HostMediaType(std::string_view isoLang = "ger", std::u16string_view name = u"Deutsch",
                           size_t blockSize = kSubtitleInfoSize)
        : block(blockSize, 0) {
        type.majortype = MEDIATYPE_Subtitle;
        type.subtype = MEDIASUBTYPE_UTF8;
        type.formattype = FORMAT_SubtitleInfo;
        type.bFixedSizeSamples = TRUE;
        type.lSampleSize = 1;
        if (blockSize >= kSubtitleInfoSize) {
            std::memcpy(block.data() + offsetof(SUBTITLEINFO, IsoLang), isoLang.data(),
                        std::min<size_t>(isoLang.size(), 4));
            std::memcpy(block.data() + offsetof(SUBTITLEINFO, TrackName), name.data(),
                        std::min<size_t>(name.size(), 256) * sizeof(char16_t));
        }
        type.cbFormat = static_cast<ULONG>(block.size());
        type.pbFormat = block.empty() ? nullptr : block.data();
    }
};

/// The fields of a SUBTITLEINFO block, read byte-wise: the offset, all four
/// IsoLang bytes and all 256 TrackName units.
struct DecodedInfo {
    DWORD dwOffset = 0;
    std::string isoLang;
    std::u16string trackName = std::u16string(256, u'?');
};

inline DecodedInfo Decode(const BYTE* block) {
    DecodedInfo info{0, std::string(reinterpret_cast<const char*>(block + 4), 4)};
    std::memcpy(&info.dwOffset, block, sizeof(DWORD));
    std::memcpy(info.trackName.data(), block + 8, 512);
    return info;
}

}  // namespace zqtracktest
