#include "tools/zqsubtitle/EditCommand.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "hosts/common/ModuleObjects.h"
#include "tools/zqsubtitle/CEditMultiplexer.h"
#include "tools/zqsubtitle/CommandText.h"
#include "tools/zqsubtitle/TrackArgument.h"
#include "zqplatform/bstr.h"
#include "zqplatform/comptr.h"
#include "zqplatform/module.h"
#include "zqplatform/objbase.h"
#include "zqplatform/servprov.h"
#include "zqplatform/unknownimpl.h"
#include "zqplatform/utf.h"
#include "zqsubtitle/ZQSubtitle.h"
#include "zqsubtitle/ZQSubtitlePropertyFrame.h"

namespace {

constexpr int kFailureExit = 1;
constexpr int kCancelExit = 1;
constexpr int kUsageExit = 2;
constexpr char16_t kPageProgId[] = u"ZQSubtitle.ZQMuxSubtitlePropPage";
constexpr char16_t kCaption[] = u"Subtitle tracks";

void PrintUsage(FILE* out) {
    std::fprintf(out,
                 "usage: zqsubtitle edit [FILE[:LANGUAGE[:LABEL]]]... [--screenshot PNG] [--close ok|cancel]\n\n"
                 "Shows the property page of a multiplexer holding the given SubRip files, in a\n"
                 "window with OK, Cancel and Apply: add tracks (Add..., or drop a file onto the\n"
                 "page), remove them (Remove, or Delete), sort them by a click on a column.\n"
                 "OK prints the final tracks on stdout, one per line as FILE:LANGUAGE:LABEL, which\n"
                 "play, dump and edit take back, and each with its id on stderr; Cancel prints\n"
                 "nothing and exits 1. A track without a label prints as FILE:LANGUAGE: and reads\n"
                 "back without one.\n"
                 "  LANGUAGE       the track's language (\"ru\", \"ger\", ...)\n"
                 "  LABEL          the track's label; the file's name when no LABEL part is given,\n"
                 "                 none when it is given empty (FILE:LANGUAGE:)\n"
                 "  --screenshot   write a PNG of the window once it shows\n"
                 "  --close        press OK or Cancel once the window shows (for scripts)\n"
                 "Needs a display: an X server (DISPLAY), Wayland (WAYLAND_DISPLAY), or\n"
                 "QT_QPA_PLATFORM=offscreen for a window nobody sees.\n");
}

struct Options {
    std::vector<TrackArgument> tracks;
    std::string screenshot;
    LONG closeWith = 0;
};

bool ParseOptions(int argc, char** argv, Options& options) {
    for (int i = 1; i < argc; ++i) {
        const char* argument = argv[i];
        if (std::strcmp(argument, "--screenshot") == 0 && i + 1 < argc) {
            options.screenshot = argv[++i];
        } else if (std::strcmp(argument, "--close") == 0 && i + 1 < argc) {
            const char* button = argv[++i];
            if (std::strcmp(button, "ok") == 0)
                options.closeWith = IDOK;
            else if (std::strcmp(button, "cancel") == 0)
                options.closeWith = IDCANCEL;
            else
                return false;
        } else if (argument[0] == '-') {
            return false;
        } else {
            options.tracks.push_back(ParseTrackArgument(argument));
        }
    }
    return true;
}

/// Whether a window can be shown: Qt would end the process without one.
bool HasDisplay() {
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"}) {
        const char* value = std::getenv(name);
        if (value != nullptr && value[0] != '\0')
            return true;
    }
    return false;
}

/// The object of the "host" that the page is bound to: it serves the
/// multiplexer, asked for by its class id.
class CEditObject final : public CUnknownImpl<ZQLifetime::Counted, IServiceProvider> {
public:
    explicit CEditObject(IZQMuxSubtitle* mux) : m_mux(mux) {}
    HRESULT QueryService(REFGUID service, REFIID iid, void** out) override {
        if (out == nullptr)
            return E_POINTER;
        *out = nullptr;
        if (service != CLSID_ZQMuxSubtitle)
            return E_NOINTERFACE;
        return m_mux->QueryInterface(iid, out);
    }

private:
    ~CEditObject() override = default;
    CComPtr<IZQMuxSubtitle> m_mux;
};

/// The page's site: passes the page's status on to the frame, which enables
/// Apply while there are changes.
class CEditPageSite final : public CUnknownImpl<ZQLifetime::Counted, IPropertyPageSite> {
public:
    explicit CEditPageSite(IZQPropertyFrame* frame) : m_frame(frame) {}
    HRESULT OnStatusChange(DWORD flags) override { return m_frame->OnStatusChange(flags); }
    HRESULT GetLocaleID(LCID* locale) override {
        if (locale == nullptr)
            return E_POINTER;
        *locale = 0x0409;  // the page speaks English
        return S_OK;
    }
    HRESULT GetPageContainer(IUnknown** container) override {
        if (container != nullptr)
            *container = nullptr;
        return E_NOTIMPL;
    }
    HRESULT TranslateAccelerator(MSG*) override { return S_FALSE; }

private:
    ~CEditPageSite() override = default;
    CComPtr<IZQPropertyFrame> m_frame;
};

int Fail(const std::string& what, HRESULT hr) {
    std::fprintf(stderr, "zqsubtitle edit: %s: %s\n", what.c_str(), DescribeStatus(hr).c_str());
    return kFailureExit;
}

/// The page by its ProgID, as a frame finds it; by its class id when the
/// module isn't registered and the one beside the program serves.
HRESULT CreatePage(IPropertyPage** page) {
    CLSID clsid = CLSID_ZQMuxSubtitlePropPage;
    CLSID registered{};
    if (SUCCEEDED(CLSIDFromProgID(kPageProgId, &registered)))
        clsid = registered;
    return CreateModuleObject(clsid, IID_IPropertyPage, reinterpret_cast<void**>(page));
}

HRESULT CreateFrame(IZQPropertyFrame** frame, std::u16string& library) {
    library = PathBesideProgram(std::u16string(u"../lib/") + kZQPresentationLibraryName);
    // Kept loaded: Qt doesn't survive being unloaded.
    HMODULE module = LoadLibraryW(library.c_str());
    if (module == nullptr)
        return HRESULT_FROM_WIN32(GetLastError() != 0 ? GetLastError() : ERROR_MOD_NOT_FOUND);
    auto create = reinterpret_cast<ZQCreatePropertyFrameFunction>(GetProcAddress(module, kZQCreatePropertyFrameEntry));
    if (create == nullptr)
        return HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND);
    return create(frame);
}

std::string Text(IZQSubtitleTrack* track, HRESULT (IZQSubtitleTrack::*get)(BSTR*)) {
    CComBSTR text;
    (track->*get)(&text);
    return ZQUtf8FromUtf16(text.View());
}

/// The tracks as FILE:LANGUAGE:LABEL on stdout, and with their ids on stderr.
void PrintTracks(CEditMultiplexer& mux) {
    CComPtr<IZQSubtitleTrackList> tracks;
    LONG count = 0;
    if (SUCCEEDED(mux.get_TextTracks(&tracks)))
        tracks->get_Count(&count);
    for (LONG index = 0; index < count; ++index) {
        CComPtr<IZQSubtitleTrack> track;
        if (FAILED(tracks->GetTrack(index, &track)))
            continue;
        LONG id = 0;
        track->get_ID(&id);
        const std::string file = ZQUtf8FromUtf16(mux.FileOf(track.Get()));
        const std::string language = Text(track.Get(), &IZQSubtitleTrack::get_Language);
        const std::string label = Text(track.Get(), &IZQSubtitleTrack::get_Label);
        std::printf("%s:%s:%s\n", file.c_str(), language.c_str(), label.c_str());
        const std::string name = Text(track.Get(), &IZQSubtitleTrack::get_LanguageName);
        std::fprintf(stderr, "track %d: \"%s\", %s, %s\n", id, label.c_str(),
                     name.empty() ? "no language" : name.c_str(), file.c_str());
    }
}

}  // namespace

int RunEditCommand(int argc, char** argv) {
    if (AsksForHelp(argc, argv)) {
        PrintUsage(stdout);
        return 0;
    }
    Options options;
    if (!ParseOptions(argc, argv, options)) {
        PrintUsage(stderr);
        return kUsageExit;
    }
    if (!HasDisplay()) {
        std::fprintf(stderr,
                     "zqsubtitle edit: no display to show the page on: set DISPLAY (an X server) or "
                     "WAYLAND_DISPLAY, or QT_QPA_PLATFORM=offscreen for a window nobody sees\n");
        return kFailureExit;
    }

    CComPtr<IZQMuxSubtitle> module;
    HRESULT hr = CreateModuleObject(CLSID_ZQMuxSubtitle, IID_IZQMuxSubtitle, reinterpret_cast<void**>(&module));
    if (FAILED(hr))
        return Fail("the multiplexer can't be made", hr);
    CComPtr<CEditMultiplexer> mux;
    mux.Attach(new CEditMultiplexer(module));
    for (const TrackArgument& argument : options.tracks) {
        const CComBSTR language = argument.hasLanguage ? CComBSTR(ZQUtf16FromUtf8(argument.language)) : CComBSTR();
        hr = mux->AddTextTrackFromFile(CComBSTR(ZQUtf16FromUtf8(argument.path)),
                                       CComBSTR(ZQUtf16FromUtf8(argument.label)), language, nullptr);
        if (FAILED(hr))
            return Fail(argument.path, hr);
    }

    CComPtr<IPropertyPage> page;
    hr = CreatePage(&page);
    if (FAILED(hr))
        return Fail("the property page can't be made", hr);
    CComPtr<IZQPropertyFrame> frame;
    std::u16string library;
    hr = CreateFrame(&frame, library);
    if (FAILED(hr))
        return Fail(ZQUtf8FromUtf16(library), hr);

    CComPtr<IPropertyPageSite> site;
    site.Attach(new CEditPageSite(frame.Get()));
    CComPtr<IServiceProvider> object;
    object.Attach(new CEditObject(mux.Get()));
    hr = page->SetPageSite(site.Get());
    IUnknown* objects[] = {object.Get()};
    if (SUCCEEDED(hr))
        hr = page->SetObjects(1, objects);
    if (FAILED(hr))
        return Fail("the property page refuses the multiplexer", hr);

    const std::u16string screenshot = ZQUtf16FromUtf8(options.screenshot);
    const ZQPROPERTYFRAMEPARAMS params = {sizeof(params), nullptr, kCaption, page.Get(),
                                          screenshot.empty() ? nullptr : screenshot.c_str(), options.closeWith};
    LONG result = IDCANCEL;
    hr = frame->Run(&params, &result);
    // Unbinding takes back what wasn't applied: everything after Cancel.
    IUnknown* none[] = {nullptr};
    page->SetObjects(0, none);
    page->SetPageSite(nullptr);
    if (FAILED(hr))
        return Fail("the page can't be shown", hr);
    if (result != IDOK)
        return kCancelExit;
    PrintTracks(*mux);
    return 0;
}
