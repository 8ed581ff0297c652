#include "ui/tests/PageTestSupport.h"

#include "tests/support/ModuleObjectsForTests.h"

namespace zquitest {

namespace {

std::u16string Widen(const std::string& text) {
    return std::u16string(text.begin(), text.end());
}

std::u16string ReadBstr(const CComBSTR& text) {
    return std::u16string(text.View());
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

HRESULT RecordingMux::Record(const std::string& call, bool* failed) {
    m_calls.push_back(call);
    auto found = m_failures.find(call);
    *failed = found != m_failures.end();
    return *failed ? found->second : S_OK;
}

HRESULT RecordingMux::get_Tracks(IZQSubtitleTrackList** pVal) {
    return m_mux->get_Tracks(pVal);
}

HRESULT RecordingMux::get_TextTracks(IZQSubtitleTrackList** pVal) {
    return m_mux->get_TextTracks(pVal);
}

HRESULT RecordingMux::AddTextTrackFromFile(BSTR path, BSTR Label, BSTR Language, LONG* trackid) {
    bool failed = false;
    const HRESULT hr = Record("AddTextTrackFromFile", &failed);
    return failed ? hr : m_mux->AddTextTrackFromFile(path, Label, Language, trackid);
}

HRESULT RecordingMux::RemoveTrack(LONG trackid) {
    bool failed = false;
    const HRESULT hr = Record("RemoveTrack(" + std::to_string(trackid) + ")", &failed);
    return failed ? hr : m_mux->RemoveTrack(trackid);
}

HRESULT RecordingMux::EnterEdit() {
    bool failed = false;
    const HRESULT hr = Record("EnterEdit", &failed);
    return failed ? hr : m_mux->EnterEdit();
}

HRESULT RecordingMux::LeaveEdit(VARIANT_BOOL discard) {
    bool failed = false;
    const HRESULT hr = Record("LeaveEdit(" + std::to_string(discard) + ")", &failed);
    return failed ? hr : m_mux->LeaveEdit(discard);
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
        row.label = ReadBstr(label);
        row.language = ReadBstr(language);
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
