// What the page's and the dialog's tests share: a real multiplexer made by
// the built module, a recording stand-in in front of it, sample files.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "tests/support/HResultAssertions.h"
#include "zqplatform/bstr.h"
#include "zqplatform/comptr.h"
#include "zqplatform/unknownimpl.h"
#include "zqsubtitle/ZQSubtitle.h"

namespace zquitest {

/// A multiplexer of the built module, loaded once per process as a host
/// loads it. Null (and a test failure) if the module can't be loaded.
CComPtr<IZQMuxSubtitle> CreateModuleMultiplexer();

/// The path of a bundled sample, "english-utf8" and the like.
std::u16string SamplePath(const char* name);

/// A path where no file is.
std::u16string MissingPath();

/// Stands in front of a multiplexer, passes every call on and records it
/// ("EnterEdit", "LeaveEdit(-1)", "AddTextTrackFromFile", ...), so that a test
/// sees exactly what the page asked. A method can be made to fail instead.
/// A stack or member object; one thread.
class RecordingMux final : public CUnknownImpl<ZQLifetime::Borrowed, IZQMuxSubtitle> {
public:
    explicit RecordingMux(CComPtr<IZQMuxSubtitle> mux) : m_mux(std::move(mux)) {}

    HRESULT GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    HRESULT GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    HRESULT Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
        return E_NOTIMPL;
    }
    HRESULT get_Tracks(IZQSubtitleTrackList** pVal) override { return m_mux->get_Tracks(pVal); }
    HRESULT get_TextTracks(IZQSubtitleTrackList** pVal) override { return m_mux->get_TextTracks(pVal); }
    HRESULT AddTextTrackFromFile(BSTR path, BSTR Label, BSTR Language, LONG* trackid) override;
    HRESULT RemoveTrack(LONG trackid) override;
    HRESULT EnterEdit() override;
    HRESULT LeaveEdit(VARIANT_BOOL discard) override;

    /// The calls that change something or touch the bracket, in order.
    const std::vector<std::string>& Calls() const noexcept { return m_calls; }
    void ClearCalls() { m_calls.clear(); }
    /// From now on `call` (as recorded) answers `status` without passing on.
    void Fail(const std::string& call, HRESULT status) { m_failures[call] = status; }

    IZQMuxSubtitle* Inner() const noexcept { return m_mux.Get(); }

private:
    template <class Call>
    HRESULT Pass(const std::string& name, Call call);

    CComPtr<IZQMuxSubtitle> m_mux;
    std::vector<std::string> m_calls;
    std::map<std::string, HRESULT> m_failures;
};

/// One track of a multiplexer as the page shows it.
struct TrackRow {
    LONG id = 0;
    std::u16string label;
    std::u16string language;
    bool operator==(const TrackRow&) const = default;
};

/// The text tracks of `mux` in list order.
std::vector<TrackRow> TextTracks(IZQMuxSubtitle* mux);

/// Adds a sample as a track, as an application would; answers its id.
LONG AddSample(IZQMuxSubtitle* mux, const char* sample, const std::u16string& label,
               const std::u16string& language = u"en");

}  // namespace zquitest
