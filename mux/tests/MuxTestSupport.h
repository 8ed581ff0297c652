// Helpers of the multiplexer tests: the object under test, SubRip files on
// disk, the host's view of the tracks, and waiting with a deadline.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "support/CComPtr.h"
#include "tests/support/RecordingMuxHost.h"
#include "zqsubtitle/ZQSubtitle.h"

namespace zqmuxtest {

inline constexpr REFERENCE_TIME kSecond = 10'000'000;

/// Cue `index` (from 1) of a file written by SrtDirectory::Write: it starts at
/// `index` seconds, lasts half a second and says "<prefix> <index>".
std::string CueText(const std::string& prefix, int index);
/// `text` without the line ends at its end.
std::string WithoutLineEnds(std::string text);
inline REFERENCE_TIME CueStart(int index) { return index * kSecond; }
inline REFERENCE_TIME CueStop(int index) { return index * kSecond + kSecond / 2; }

/// A directory of its own under the system's temporary directory, removed
/// with its files at the end of the test.
class SrtDirectory {
public:
    SrtDirectory();
    ~SrtDirectory();
    SrtDirectory(const SrtDirectory&) = delete;
    SrtDirectory& operator=(const SrtDirectory&) = delete;

    /// A SubRip file of `count` cues (see CueText); its path as wide text.
    std::u16string Write(const std::string& name, int count, const std::string& prefix = "Cue");
    /// A file with exactly `content`.
    std::u16string WriteRaw(const std::string& name, const std::string& content);
    /// A path in the directory where no file is.
    std::u16string Missing() const;

private:
    std::filesystem::path m_path;
};

/// A BSTR owned for a scope, for the interface's BSTR arguments.
class Bstr {
public:
    explicit Bstr(const std::u16string& text);
    ~Bstr();
    Bstr(const Bstr&) = delete;
    Bstr& operator=(const Bstr&) = delete;
    operator BSTR() const noexcept { return m_bstr; }

private:
    BSTR m_bstr;
};

/// A new multiplexer object and its control interface.
struct MuxUnderTest {
    CComPtr<IZQMuxSubtitle> mux;
    CComPtr<IZQMuxSubtitleControl> control;
};
MuxUnderTest CreateMux();

/// Adds a file as a track with the given label; answers the id, or 0 on
/// failure (with a test failure recorded).
LONG AddTrack(IZQMuxSubtitle* mux, const std::u16string& path, const std::u16string& label = u"");

/// Track id -> label of every track of a snapshot, in list order.
std::vector<std::pair<LONG, std::u16string>> ListView(IZQMuxSubtitle* mux);

/// The tracks a host knows of after the calls it received: RemoveAllTracks
/// forgets all, AddTrack adds one (its label read from the format block),
/// RemoveTrack drops one. In the order of announcement.
std::vector<std::pair<LONG, std::u16string>> HostView(const std::vector<zqtest::MuxHostCall>& calls);

/// Polls `condition` until it holds or `timeout` passes; answers its last value.
bool WaitUntil(const std::function<bool()>& condition, std::chrono::milliseconds timeout = std::chrono::seconds(10));

}  // namespace zqmuxtest
