// The subtitle media type as the hosts build and read it.
#pragma once

#include <string>

#include "zqplatform/strmif.h"
#include "zqsubtitle/ZQSubtitleMediaType.h"

/// The language and title of a subtitle stream, in UTF-8, as its media type
/// carries them in the SUBTITLEINFO block.
struct SubtitleStreamLabel {
    /// IsoLang: a three-letter ISO 639-2 code, or empty when unknown.
    std::string isoLang;
    /// TrackName, or empty.
    std::string title;
};

/// The media type with which a host demultiplexer announces a subtitle
/// stream: the three identifiers and a 520-byte SUBTITLEINFO block that it
/// owns. Not copyable, as the media type points into the object; one thread.
class CSubtitleMediaType {
public:
    /// IsoLang takes at most the first three bytes of `label.isoLang`, and
    /// TrackName at most 255 UTF-16 units of `label.title`, fewer where the
    /// cut would split a surrogate pair.
    explicit CSubtitleMediaType(const SubtitleStreamLabel& label);
    CSubtitleMediaType(const CSubtitleMediaType&) = delete;
    CSubtitleMediaType& operator=(const CSubtitleMediaType&) = delete;

    const AM_MEDIA_TYPE* Get() const noexcept { return &m_type; }

private:
    AM_MEDIA_TYPE m_type{};
    SUBTITLEINFO m_info{};
};

/// Reads the label of a media type that a multiplexer announces. False when
/// it isn't the subtitle media type or its block is missing or short of 520
/// bytes; the fields are read up to their NUL or the end of the field.
bool ReadSubtitleMediaType(const AM_MEDIA_TYPE* type, SubtitleStreamLabel& label);
