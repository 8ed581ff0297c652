// Multiplexer test helpers: SubRip files on disk, the host's view of the tracks, a gate, a fixture.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "mux/CZQMuxSubtitle.h"
#include "support/CZQSubtitleModule.h"
#include "tests/support/HResultAssertions.h"
#include "tests/support/RecordingMuxHost.h"
#include "zqplatform/comptr.h"
#include "zqplatform/oleauto.h"
#include "zqplatform/sync.h"
#include "zqsubtitle/ZQSubtitle.h"

namespace zqmuxtest {

using zqtest::MuxHostCall;
using zqtest::MuxHostCallKind;
using TrackView = std::vector<std::pair<LONG, std::u16string>>;

inline constexpr REFERENCE_TIME kSecond = 10'000'000;

/// Cue `index` (from 1) of SrtDirectory::Write: at `index` s for half a second, saying "<prefix> <index>".
inline std::string CueText(const std::string& prefix, int index) { return prefix + " " + std::to_string(index); }
inline REFERENCE_TIME CueStart(int index) { return index * kSecond; }
inline REFERENCE_TIME CueStop(int index) { return index * kSecond + kSecond / 2; }

inline std::string WithoutLineEnds(std::string text) {
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r'))
        text.pop_back();
    return text;
}

/// A directory of its own under the temporary directory, removed with its files.
class SrtDirectory {
public:
    SrtDirectory() {
        static std::atomic<int> count{0};
        m_path = std::filesystem::temp_directory_path() /
                 ("zq-mux-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(count.fetch_add(1)));
        std::filesystem::create_directories(m_path);
    }
    ~SrtDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    SrtDirectory(const SrtDirectory&) = delete;
    SrtDirectory& operator=(const SrtDirectory&) = delete;

    /// A SubRip file of `count` cues (see CueText); its path as wide text.
    std::u16string Write(const std::string& name, int count, const std::string& prefix = "Cue") {
        std::string content;
        char times[64];
        for (int i = 1; i <= count; ++i) {
            std::snprintf(times, sizeof times, "%02d:%02d:%02d,000 --> %02d:%02d:%02d,500", i / 3600, i / 60 % 60,
                          i % 60, i / 3600, i / 60 % 60, i % 60);
            content += std::to_string(i) + "\n" + times + "\n" + CueText(prefix, i) + "\n\n";
        }
        return WriteRaw(name, content);
    }
    std::u16string WriteRaw(const std::string& name, const std::string& content) {
        std::ofstream(m_path / name, std::ios::binary) << content;
        return Widen((m_path / name).string());
    }
    /// A path in the directory where no file is.
    std::u16string Missing() const { return Widen((m_path / "missing.srt").string()); }

private:
    static std::u16string Widen(const std::string& text) { return std::u16string(text.begin(), text.end()); }

    std::filesystem::path m_path;
};

/// A BSTR owned for a scope, for the interface's BSTR arguments.
class Bstr {
public:
    explicit Bstr(const std::u16string& text)
        : m_bstr(SysAllocStringLen(text.data(), static_cast<UINT>(text.size()))) {}
    ~Bstr() { SysFreeString(m_bstr); }
    Bstr(const Bstr&) = delete;
    Bstr& operator=(const Bstr&) = delete;
    operator BSTR() const noexcept { return m_bstr; }

private:
    BSTR m_bstr;
};

/// Adds a file as a track with the given label; answers the id, or 0 on failure (a test failure).
inline LONG AddTrack(IZQMuxSubtitle* mux, const std::u16string& path, const std::u16string& label = u"") {
    LONG id = 0;
    EXPECT_OK(mux->AddTextTrackFromFile(Bstr(path), Bstr(label), Bstr(u"en"), &id));
    return id;
}

/// Track id -> label of every track of a snapshot, in list order.
inline TrackView ListView(IZQMuxSubtitle* mux) {
    TrackView view;
    CComPtr<IZQSubtitleTrackList> list;
    EXPECT_OK(mux->get_Tracks(&list));
    LONG count = 0;
    if (list)
        list->get_Count(&count);
    for (LONG i = 0; i < count; ++i) {
        CComPtr<IZQSubtitleTrack> track;
        EXPECT_OK(list->GetTrack(i, &track));
        LONG id = 0;
        track->get_ID(&id);
        BSTR label = nullptr;
        track->get_Label(&label);
        view.emplace_back(id, std::u16string(label, SysStringLen(label)));
        SysFreeString(label);
    }
    return view;
}

/// The tracks a host knows of after its calls, in order; a label is read from the format block.
inline TrackView HostView(const std::vector<MuxHostCall>& calls) {
    constexpr size_t kTrackNameOffset = 8;  // of TrackName in SUBTITLEINFO
    constexpr size_t kTrackNameUnits = 256;
    TrackView view;
    for (const MuxHostCall& call : calls) {
        if (call.kind == MuxHostCallKind::RemoveAllTracks) {
            view.clear();
        } else if (call.kind == MuxHostCallKind::RemoveTrack) {
            std::erase_if(view, [&](const auto& entry) { return entry.first == call.trackid; });
        } else if (call.kind == MuxHostCallKind::AddTrack) {
            std::u16string label(kTrackNameUnits, u'\0');
            if (call.format.size() >= kTrackNameOffset + kTrackNameUnits * 2)
                std::memcpy(label.data(), call.format.data() + kTrackNameOffset, kTrackNameUnits * 2);
            label.resize(label.find(u'\0'));
            view.emplace_back(call.trackid, label);
        }
    }
    return view;
}

/// Polls `condition` until it holds or ten seconds pass; answers its last value.
inline bool WaitUntil(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline)
            return condition();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

/// A gate a host's callback waits at while it is shut.
class Gate {
public:
    explicit Gate(bool open = true) : m_open(open) {}
    void Set(bool open) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_open = open;
        m_changed.notify_all();
    }
    void Pass() {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait(lock, [this] { return m_open; });
    }

private:
    std::mutex m_mutex;  // guards m_open
    std::condition_variable m_changed;
    bool m_open;
};

/// A new multiplexer object; at the end the host and the module must be let go.
class MuxTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_baseLocks = ZQModule().GetLockCount();
        ASSERT_OK(ZQCreateMuxSubtitle(nullptr, IID_IZQMuxSubtitle, reinterpret_cast<void**>(&m_mux)));
        ASSERT_OK(m_mux.QueryInterface(&m_control));
    }

    void TearDown() override {
        if (m_control) {
            EXPECT_OK(m_control->Stop());
        }
        m_mux = nullptr;
        m_control = nullptr;
        EXPECT_EQ(0, m_host.References()) << "the object kept a reference to its host";
        EXPECT_EQ(m_baseLocks, ZQModule().GetLockCount()) << "something of the object outlived it";
    }

    IZQMuxSubtitle* Mux() const { return m_mux.Get(); }
    IZQMuxSubtitleControl* Control() const { return m_control.Get(); }

    SrtDirectory m_files;
    zqtest::RecordingMuxHost m_host;
    CComPtr<IZQMuxSubtitle> m_mux;
    CComPtr<IZQMuxSubtitleControl> m_control;
    LONG m_baseLocks = 0;
};

}  // namespace zqmuxtest
