#include "tests/scenario/CCueListing.h"

#include <cmath>
#include <cstdio>
#include <utility>

#include "tests/scenario/CScenarioHost.h"
#include "zqplatform/bstr.h"
#include "zqplatform/utf.h"

namespace {

/// Seconds as the 100 ns units of the samples, so that both platforms print
/// the same digits.
long long Units(double seconds) {
    return std::llround(seconds * 10000000.0);
}

const char* EventName(ZQSubtitle_Cue_Event event) {
    switch (event) {
    case ZQSubtitle_Cue_Event_Active:
        return "active";
    case ZQSubtitle_Cue_Event_Inactive:
        return "inactive";
    case ZQSubtitle_Cue_Event_Clear:
        return "clear";
    }
    return "unknown event";
}

std::string DescribeCue(IZQSubtitleCue* cue) {
    double start = 0;
    double stop = 0;
    LONG trackid = 0;
    CComBSTR text;
    if (FAILED(cue->get_Start(&start)) || FAILED(cue->get_Stop(&stop)) || FAILED(cue->get_trackid(&trackid)) ||
        FAILED(cue->get_Text(&text)))
        return "a cue that doesn't answer";
    char line[96];
    std::snprintf(line, sizeof line, "track %d %lld-%lld ", static_cast<int>(trackid), Units(start), Units(stop));
    return line + QuotedForListing(ZQUtf8FromUtf16(text.View()));
}

}  // namespace

HRESULT CCueListing::Cue(ZQSubtitle_Cue_Event cueevent, double currenttime, IZQSubtitleCue* cue) {
    char head[64];
    std::snprintf(head, sizeof head, "  %s at %lld", EventName(cueevent), Units(currenttime));
    std::string line = head;
    if (cue != nullptr)
        line += " " + DescribeCue(cue);
    if (std::this_thread::get_id() != m_thread)
        line += " (on a thread other than the callback's)";
    std::lock_guard<std::mutex> lock(m_mutex);
    m_lines.push_back(std::move(line));
    return S_OK;
}

std::vector<std::string> CCueListing::TakeLines() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return std::exchange(m_lines, {});
}
