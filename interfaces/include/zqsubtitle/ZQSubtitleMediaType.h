// The subtitle media type that tracks and hosts exchange: its three published
// identifiers and the layout of its 520-byte SUBTITLEINFO format block. A host
// multiplexer reads it in AddTrack; a host demultiplexer builds it for AddTrack.
#pragma once

#include <cstddef>

#include "zqplatform/types.h"

/// Major type of a subtitle stream.
inline constexpr GUID MEDIATYPE_Subtitle = {
    0xE487EB08, 0x6B26, 0x4BE9, {0x9D, 0xD3, 0x99, 0x34, 0x34, 0xD3, 0x13, 0xFD}};
/// Subtype: samples are UTF-8 text without a terminator or byte-order mark.
inline constexpr GUID MEDIASUBTYPE_UTF8 = {
    0x87C0B230, 0x03A8, 0x4FDF, {0x80, 0x10, 0xB2, 0x7A, 0x58, 0x48, 0x20, 0x0D}};
/// Format type of a SUBTITLEINFO block.
inline constexpr GUID FORMAT_SubtitleInfo = {
    0xA33D2F7D, 0x96BC, 0x4337, {0xB2, 0x3B, 0xA8, 0xB9, 0xFB, 0xC2, 0x95, 0xE9}};

/// The format block of a subtitle stream, a published layout. Hosts hand it
/// over as bytes, so readers copy fields out rather than trust the alignment
/// of a foreign block.
struct SUBTITLEINFO {
    /// Size of the block, 520 in every block this system writes; not read.
    DWORD dwOffset;
    /// ISO 639-2/B code, NUL-terminated; all zeros for an unknown language.
    CHAR IsoLang[4];
    /// The track's name in UTF-16, NUL-terminated, at most 255 code units.
    WCHAR TrackName[256];
};

inline constexpr ULONG kSubtitleInfoSize = 520;
/// Code units of TrackName that may hold text; the last one is its NUL.
inline constexpr size_t kTrackNameMaxUnits = 255;

static_assert(offsetof(SUBTITLEINFO, dwOffset) == 0);
static_assert(offsetof(SUBTITLEINFO, IsoLang) == 4);
static_assert(offsetof(SUBTITLEINFO, TrackName) == 8);
static_assert(sizeof(SUBTITLEINFO) == kSubtitleInfoSize);
