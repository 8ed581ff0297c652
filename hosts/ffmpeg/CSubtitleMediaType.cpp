#include "hosts/ffmpeg/CSubtitleMediaType.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "zqplatform/utf.h"

namespace {

bool IsHighSurrogate(char16_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}

}  // namespace

CSubtitleMediaType::CSubtitleMediaType(const SubtitleStreamLabel& label) {
    m_info.dwOffset = kSubtitleInfoSize;
    std::memcpy(m_info.IsoLang, label.isoLang.data(), std::min<size_t>(label.isoLang.size(), 3));
    std::u16string title = ZQUtf16FromUtf8(label.title);
    if (title.size() > kTrackNameMaxUnits) {
        const bool splitsPair = IsHighSurrogate(title[kTrackNameMaxUnits - 1]);
        title.resize(splitsPair ? kTrackNameMaxUnits - 1 : kTrackNameMaxUnits);
    }
    std::copy(title.begin(), title.end(), m_info.TrackName);

    m_type.majortype = MEDIATYPE_Subtitle;
    m_type.subtype = MEDIASUBTYPE_UTF8;
    m_type.bFixedSizeSamples = TRUE;
    m_type.bTemporalCompression = FALSE;
    m_type.lSampleSize = 1;
    m_type.formattype = FORMAT_SubtitleInfo;
    m_type.cbFormat = kSubtitleInfoSize;
    m_type.pbFormat = reinterpret_cast<BYTE*>(&m_info);
}

bool ReadSubtitleMediaType(const AM_MEDIA_TYPE* type, SubtitleStreamLabel& label) {
    if (type == nullptr || type->majortype != MEDIATYPE_Subtitle || type->subtype != MEDIASUBTYPE_UTF8 ||
        type->formattype != FORMAT_SubtitleInfo || type->pbFormat == nullptr || type->cbFormat < kSubtitleInfoSize)
        return false;
    // The block is lent for the call and may be unaligned: its fields are
    // copied out byte-wise.
    SUBTITLEINFO info;
    std::memcpy(&info, type->pbFormat, sizeof info);
    label.isoLang.assign(info.IsoLang, ::strnlen(info.IsoLang, sizeof info.IsoLang));
    size_t units = 0;
    while (units < std::size(info.TrackName) && info.TrackName[units] != 0)
        ++units;
    label.title = ZQUtf8FromUtf16(std::u16string_view(info.TrackName, units));
    return true;
}
