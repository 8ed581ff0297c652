#include "mux/tests/MuxTestSupport.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <fstream>
#include <thread>

#include "mux/CZQMuxSubtitle.h"
#include "tests/support/HResultAssertions.h"
#include "zqplatform/oleauto.h"
#include "zqplatform/sync.h"

namespace zqmuxtest {

namespace {

std::atomic<int> g_directoryCount{0};

// Offset of TrackName in the SUBTITLEINFO block, and its size in code units.
constexpr size_t kTrackNameOffset = 8;
constexpr size_t kTrackNameUnits = 256;

std::string Timestamp(REFERENCE_TIME time) {
    const long long ms = time / 10'000;
    char text[32];
    std::snprintf(text, sizeof text, "%02lld:%02lld:%02lld,%03lld", ms / 3'600'000, ms / 60'000 % 60, ms / 1000 % 60,
                  ms % 1000);
    return text;
}

std::u16string Widen(const std::string& text) {
    return std::u16string(text.begin(), text.end());
}

}  // namespace

std::string CueText(const std::string& prefix, int index) {
    return prefix + " " + std::to_string(index);
}

std::string WithoutLineEnds(std::string text) {
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r'))
        text.pop_back();
    return text;
}

SrtDirectory::SrtDirectory() {
    m_path = std::filesystem::temp_directory_path() /
             ("zq-mux-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(g_directoryCount.fetch_add(1)));
    std::filesystem::create_directories(m_path);
}

SrtDirectory::~SrtDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::u16string SrtDirectory::Write(const std::string& name, int count, const std::string& prefix) {
    std::string content;
    for (int i = 1; i <= count; ++i) {
        content += std::to_string(i) + "\n" + Timestamp(CueStart(i)) + " --> " + Timestamp(CueStop(i)) + "\n" +
                   CueText(prefix, i) + "\n\n";
    }
    return WriteRaw(name, content);
}

std::u16string SrtDirectory::WriteRaw(const std::string& name, const std::string& content) {
    const std::filesystem::path file = m_path / name;
    std::ofstream(file, std::ios::binary) << content;
    return Widen(file.string());
}

std::u16string SrtDirectory::Missing() const {
    return Widen((m_path / "missing.srt").string());
}

Bstr::Bstr(const std::u16string& text) : m_bstr(SysAllocStringLen(text.data(), static_cast<UINT>(text.size()))) {}

Bstr::~Bstr() {
    SysFreeString(m_bstr);
}

MuxUnderTest CreateMux() {
    MuxUnderTest created;
    EXPECT_OK(ZQCreateMuxSubtitle(nullptr, IID_IZQMuxSubtitle, reinterpret_cast<void**>(&created.mux)));
    if (created.mux) {
        EXPECT_OK(created.mux.QueryInterface(&created.control));
    }
    return created;
}

LONG AddTrack(IZQMuxSubtitle* mux, const std::u16string& path, const std::u16string& label) {
    LONG id = 0;
    const Bstr bpath(path);
    const Bstr blabel(label);
    const Bstr blanguage(u"en");
    EXPECT_OK(mux->AddTextTrackFromFile(bpath, blabel, blanguage, &id));
    return id;
}

std::vector<std::pair<LONG, std::u16string>> ListView(IZQMuxSubtitle* mux) {
    std::vector<std::pair<LONG, std::u16string>> view;
    CComPtr<IZQSubtitleTrackList> list;
    EXPECT_OK(mux->get_Tracks(&list));
    if (!list)
        return view;
    LONG count = 0;
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

std::vector<std::pair<LONG, std::u16string>> HostView(const std::vector<zqtest::MuxHostCall>& calls) {
    std::vector<std::pair<LONG, std::u16string>> view;
    for (const zqtest::MuxHostCall& call : calls) {
        switch (call.kind) {
        case zqtest::MuxHostCallKind::RemoveAllTracks:
            view.clear();
            break;
        case zqtest::MuxHostCallKind::AddTrack: {
            std::u16string label(kTrackNameUnits, u'\0');
            if (call.format.size() >= kTrackNameOffset + kTrackNameUnits * 2)
                std::memcpy(label.data(), call.format.data() + kTrackNameOffset, kTrackNameUnits * 2);
            label.resize(label.find(u'\0'));
            view.emplace_back(call.trackid, label);
            break;
        }
        case zqtest::MuxHostCallKind::RemoveTrack:
            std::erase_if(view, [&](const auto& entry) { return entry.first == call.trackid; });
            break;
        default:
            break;
        }
    }
    return view;
}

bool WaitUntil(const std::function<bool()>& condition, std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline)
            return condition();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace zqmuxtest
