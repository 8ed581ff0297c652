#include "ui/tests/PageTestSupport.h"

#include "tests/support/ModuleObjectsForTests.h"

namespace zquitest {

namespace {

std::u16string Widen(const std::string& text) {
    return std::u16string(text.begin(), text.end());
}

}  // namespace

CComPtr<IZQMuxSubtitle> CreateModuleMultiplexer() {
    CComPtr<IZQMuxSubtitle> mux;
    EXPECT_OK(zqtest::CreateFromModule(ZQ_SUBTITLE_MODULE, CLSID_ZQMuxSubtitle, IID_IZQMuxSubtitle,
                                       reinterpret_cast<void**>(&mux)));
    return mux;
}

std::u16string SamplePath(const char* name) {
    const char* source = std::getenv("ZQ_SOURCE_DIR");
    return Widen(std::string(source != nullptr ? source : ".") + "/samples/" + name + ".srt");
}

std::u16string MissingPath() {
    return SamplePath("no-such-sample");
}

template <class Call>
HRESULT RecordingMux::Pass(const std::string& name, Call call) {
    m_calls.push_back(name);
    auto failure = m_failures.find(name);
    return failure != m_failures.end() ? failure->second : call();
}

HRESULT RecordingMux::AddTextTrackFromFile(BSTR path, BSTR Label, BSTR Language, LONG* trackid) {
    return Pass("AddTextTrackFromFile", [&] { return m_mux->AddTextTrackFromFile(path, Label, Language, trackid); });
}

HRESULT RecordingMux::RemoveTrack(LONG trackid) {
    return Pass("RemoveTrack(" + std::to_string(trackid) + ")", [&] { return m_mux->RemoveTrack(trackid); });
}

HRESULT RecordingMux::EnterEdit() {
    return Pass("EnterEdit", [&] { return m_mux->EnterEdit(); });
}

HRESULT RecordingMux::LeaveEdit(VARIANT_BOOL discard) {
    return Pass("LeaveEdit(" + std::to_string(discard) + ")", [&] { return m_mux->LeaveEdit(discard); });
}

std::vector<TrackRow> TextTracks(IZQMuxSubtitle* mux) {
    std::vector<TrackRow> rows;
    CComPtr<IZQSubtitleTrackList> list;
    EXPECT_OK(mux->get_TextTracks(&list));
    LONG count = 0;
    if (list)
        list->get_Count(&count);
    for (LONG i = 0; i < count; ++i) {
        CComPtr<IZQSubtitleTrack> track;
        EXPECT_OK(list->GetTrack(i, &track));
        TrackRow row;
        CComBSTR label;
        CComBSTR language;
        track->get_ID(&row.id);
        track->get_Label(&label);
        track->get_Language(&language);
        row.label = label.View();
        row.language = language.View();
        rows.push_back(row);
    }
    return rows;
}

LONG AddSample(IZQMuxSubtitle* mux, const char* sample, const std::u16string& label, const std::u16string& language) {
    LONG id = 0;
    EXPECT_OK(mux->AddTextTrackFromFile(CComBSTR(SamplePath(sample)), CComBSTR(label), CComBSTR(language), &id));
    return id;
}

}  // namespace zquitest
