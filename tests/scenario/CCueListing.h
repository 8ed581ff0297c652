// The scenario's application callback: every cue event as a listing line.
#pragma once

#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "zqplatform/unknownimpl.h"
#include "zqsubtitle/ZQSubtitle.h"

/// Owned by the scenario's stack. Events belong on the thread that made it,
/// which sets it as the callback and pumps its messages; one delivered on any
/// other thread is listed as such.
class CCueListing final : public CUnknownImpl<ZQLifetime::Borrowed, IZQDmxSubtitleCallback> {
public:
    CCueListing() : m_thread(std::this_thread::get_id()) {}

    HRESULT Cue(ZQSubtitle_Cue_Event cueevent, double currenttime, IZQSubtitleCue* cue) override;

    /// The lines listed since the last call.
    std::vector<std::string> TakeLines();

private:
    const std::thread::id m_thread;
    // Guards m_lines, should an event come on another thread after all.
    std::mutex m_mutex;
    std::vector<std::string> m_lines;
};
