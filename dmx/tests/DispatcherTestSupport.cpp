#include "dmx/tests/DispatcherTestSupport.h"

#include <gtest/gtest.h>

#include "subtitle/CZQSubtitleCue.h"

namespace dmxtest {

CComPtr<IZQSubtitleCue> MakeCue(const std::u16string& text) {
    CZQSubtitleCue* cue = nullptr;
    EXPECT_EQ(CZQSubtitleCue::Create(1, text.data(), text.size(), 0, 10000000, &cue), S_OK);
    CComPtr<IZQSubtitleCue> held;
    held.Attach(cue);
    return held;
}

}  // namespace dmxtest
