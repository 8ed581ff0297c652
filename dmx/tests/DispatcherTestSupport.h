// Helpers shared by the dispatcher's tests: pumping with a deadline and
// making cues.
#pragma once

#include <chrono>
#include <string>
#include <thread>

#include "support/CComPtr.h"
#include "zqplatform/winuser.h"
#include "zqsubtitle/ZQSubtitle.h"

namespace dmxtest {

/// Pumps the calling thread's messages until `done()` holds; false when ten
/// seconds pass first.
template <class Predicate>
bool PumpUntil(Predicate done) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    MSG message;
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        if (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
            DispatchMessageW(&message);
        else
            std::this_thread::yield();
    }
    return true;
}

/// Dispatches whatever the calling thread has queued now.
inline void PumpPending() {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
        DispatchMessageW(&message);
}

/// A cue of track 1 on [0 s, 1 s) that only the caller holds.
CComPtr<IZQSubtitleCue> MakeCue(const std::u16string& text);

}  // namespace dmxtest
