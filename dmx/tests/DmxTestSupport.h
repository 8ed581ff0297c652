// What the demultiplexer tests share: a subtitle media type, cues, message
// pumping, and a fixture owning an object with a fake clock and a recorder.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <functional>
#include <string>
#include <thread>

#include "dmx/CZQDmxSubtitle.h"
#include "subtitle/CZQSubtitleCue.h"
#include "tests/support/FakeReferenceClock.h"
#include "tests/support/HResultAssertions.h"
#include "tests/support/RecordingCueCallback.h"
#include "zqplatform/comptr.h"
#include "zqplatform/winuser.h"
#include "zqsubtitle/ZQSubtitleMediaType.h"

namespace zqtest {

inline constexpr REFERENCE_TIME kUnitsPerSecond = 10000000;

inline REFERENCE_TIME Seconds(double seconds) {
    return static_cast<REFERENCE_TIME>(seconds * kUnitsPerSecond + (seconds < 0 ? -0.5 : 0.5));
}

/// The media type a host reads from a container for a subtitle stream.
class SubtitleStreamType {
public:
    explicit SubtitleStreamType(const char* isoLang = "eng") {
        m_info.dwOffset = kSubtitleInfoSize;
        // The field is zero-filled; copy at most three letters and keep its NUL.
        std::memcpy(m_info.IsoLang, isoLang, std::min(std::strlen(isoLang), sizeof m_info.IsoLang - 1));
        m_type.majortype = MEDIATYPE_Subtitle;
        m_type.subtype = MEDIASUBTYPE_UTF8;
        m_type.bFixedSizeSamples = TRUE;
        m_type.lSampleSize = 1;
        m_type.formattype = FORMAT_SubtitleInfo;
        m_type.cbFormat = kSubtitleInfoSize;
        m_type.pbFormat = reinterpret_cast<BYTE*>(&m_info);
    }
    const AM_MEDIA_TYPE* Get() const { return &m_type; }

private:
    SUBTITLEINFO m_info{};
    AM_MEDIA_TYPE m_type{};
};

/// A cue of track 1 on [0 s, 1 s) that only the caller holds.
inline CComPtr<IZQSubtitleCue> MakeCue(const std::u16string& text) {
    CZQSubtitleCue* cue = nullptr;
    EXPECT_EQ(CZQSubtitleCue::Create(1, text.data(), text.size(), 0, kUnitsPerSecond, &cue), S_OK);
    CComPtr<IZQSubtitleCue> held;
    held.Attach(cue);
    return held;
}

/// Delivers whatever waits in the calling thread's message queue.
inline void PumpMessages() {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
        DispatchMessageW(&message);
}

/// Pumps until `done` holds; false when the deadline passes first.
inline bool PumpUntil(const std::function<bool()>& done,
                      std::chrono::milliseconds timeout = std::chrono::seconds(20)) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        PumpMessages();
        if (done())
            return true;
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

/// An object made as a client makes it, with the fake clock set.
class DmxObjectTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_OK(ZQCreateDmxSubtitle(nullptr, IID_IZQDmxSubtitleControl, reinterpret_cast<void**>(&m_control)));
        ASSERT_OK(m_control->QueryInterface(IID_IZQDmxSubtitle, reinterpret_cast<void**>(&m_app)));
        m_object = static_cast<CZQDmxSubtitle*>(m_control.Get());
        ASSERT_OK(m_control->SetSyncSource(&m_clock));
    }

    void TearDown() override {
        if (m_control) {
            EXPECT_OK(m_control->Stop());
        }
        m_app = nullptr;
        m_control = nullptr;
        m_object = nullptr;
        EXPECT_EQ(m_clock.References(), 0);
        EXPECT_EQ(m_callback.References(), 0);
    }

    /// A new selected track of the given language; its id.
    LONG AddSelectedTrack(const char* isoLang = "eng") {
        SubtitleStreamType type(isoLang);
        LONG id = 0;
        EXPECT_OK(m_control->AddTrack(type.Get(), &id));
        EXPECT_OK(m_app->SelectTrack(id, VARIANT_TRUE));
        return id;
    }

    HRESULT Receive(LONG id, double start, double stop, const std::string& text) {
        return m_control->Receive(id, Seconds(start), Seconds(stop),
                                  reinterpret_cast<BYTE*>(const_cast<char*>(text.data())),
                                  static_cast<LONG>(text.size()));
    }

    /// Waits until a whole tick has begun after this call, pumping meanwhile.
    void WaitForFullTick() {
        const uint64_t seen = m_object->GetTicksBegun();
        ASSERT_TRUE(PumpUntil([&] { return m_object->GetTicksBegun() >= seen + 2; }));
        PumpMessages();
    }

    /// The time at which the object tests its cues now.
    double StreamSeconds() {
        REFERENCE_TIME time = 0;
        m_object->GetStreamTime(&time);
        return static_cast<double>(time) / kUnitsPerSecond;
    }

    FakeReferenceClock m_clock;
    RecordingCueCallback m_callback;
    CComPtr<IZQDmxSubtitleControl> m_control;
    CComPtr<IZQDmxSubtitle> m_app;
    CZQDmxSubtitle* m_object = nullptr;
};

}  // namespace zqtest
