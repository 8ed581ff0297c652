#include "tests/scenario/CScenarioHost.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <utility>

#include "zqplatform/objbase.h"
#include "zqplatform/utf.h"
#include "zqsubtitle/ZQSubtitleMediaType.h"

namespace {

std::string GuidText(const GUID& guid) {
    WCHAR text[40] = {};
    StringFromGUID2(guid, text, 40);
    return ZQUtf8FromUtf16(text);
}

/// FNV-1a of the whole format block, so that no byte of it goes unseen.
uint32_t Fingerprint(const std::vector<BYTE>& bytes) {
    uint32_t hash = 2166136261u;
    for (BYTE b : bytes)
        hash = (hash ^ b) * 16777619u;
    return hash;
}

/// The language and the name that a SUBTITLEINFO block carries.
std::string DescribeFormat(const std::vector<BYTE>& format) {
    char line[64];
    std::snprintf(line, sizeof line, "format %zu bytes fnv1a %08x", format.size(), Fingerprint(format));
    if (format.size() != kSubtitleInfoSize)
        return line;
    std::string language(reinterpret_cast<const char*>(format.data() + offsetof(SUBTITLEINFO, IsoLang)), 4);
    language.resize(std::min(language.find('\0'), language.size()));
    std::u16string name;
    for (size_t i = 0; i < kTrackNameMaxUnits; ++i) {
        char16_t unit = 0;
        std::memcpy(&unit, format.data() + offsetof(SUBTITLEINFO, TrackName) + 2 * i, sizeof unit);
        if (unit == 0)
            break;
        name += unit;
    }
    return std::string(line) + " language " + QuotedForListing(language) +
           " name " + QuotedForListing(ZQUtf8FromUtf16(name));
}

}  // namespace

std::string QuotedForListing(const std::string& text) {
    std::string quoted = "\"";
    for (char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            quoted += '\\';
            quoted += c;
        } else if (c == '\n') {
            quoted += "\\n";
        } else if (byte < 0x20 || byte == 0x7F) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\x%02x", byte);
            quoted += escaped;
        } else {
            quoted += c;
        }
    }
    return quoted + "\"";
}

HRESULT CScenarioHost::Receive(LONG trackid, REFERENCE_TIME start, REFERENCE_TIME stop, BYTE* data, LONG length) {
    std::string text(reinterpret_cast<const char*>(data), length > 0 ? static_cast<size_t>(length) : 0);
    char line[96];
    std::snprintf(line, sizeof line, "sample track %d %lld-%lld ", static_cast<int>(trackid),
                  static_cast<long long>(start), static_cast<long long>(stop));
    AddLine(line + QuotedForListing(text));
    std::lock_guard<std::mutex> lock(m_mutex);
    m_tracks[trackid].m_samples.push_back({start, stop, std::move(text)});
    return S_OK;
}

HRESULT CScenarioHost::EndOfStream(LONG trackid) {
    AddLine("end of stream track " + std::to_string(trackid));
    std::lock_guard<std::mutex> lock(m_mutex);
    m_tracks[trackid].m_ended = true;
    m_changed.notify_all();
    return S_OK;
}

HRESULT CScenarioHost::AddTrack(const AM_MEDIA_TYPE* mediatype, LONG trackid) {
    if (mediatype == nullptr) {
        AddLine("announce track " + std::to_string(trackid) + " without a media type");
        return E_POINTER;
    }
    ScenarioTrack track{mediatype->majortype, mediatype->subtype, mediatype->formattype, {}, {}};
    if (mediatype->pbFormat != nullptr)
        track.m_format.assign(mediatype->pbFormat, mediatype->pbFormat + mediatype->cbFormat);
    AddLine("announce track " + std::to_string(trackid) + " major " + GuidText(track.m_majortype) + " sub " +
            GuidText(track.m_subtype) + " formattype " + GuidText(track.m_formattype) + " " +
            DescribeFormat(track.m_format));
    std::lock_guard<std::mutex> lock(m_mutex);
    m_tracks[trackid] = std::move(track);
    return S_OK;
}

HRESULT CScenarioHost::RemoveAllTracks() {
    AddLine("remove all tracks");
    return S_OK;
}

HRESULT CScenarioHost::RemoveTrack(LONG trackid) {
    AddLine("remove track " + std::to_string(trackid));
    return S_OK;
}

bool CScenarioHost::WaitForAllEnds(std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, timeout, [this] {
        for (const auto& [id, track] : m_tracks)
            if (!track.m_ended)
                return false;
        return !m_tracks.empty();
    });
}

std::vector<std::string> CScenarioHost::Lines() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_lines;
}

std::map<LONG, ScenarioTrack> CScenarioHost::Tracks() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_tracks;
}

void CScenarioHost::AddLine(std::string line) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_lines.push_back(std::move(line));
}
