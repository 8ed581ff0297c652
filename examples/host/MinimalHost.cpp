// A host multiplexer in miniature, written against the public headers only:
// it finds the module's classes by ProgID, as any host does after
// `zqregsvr --user`, adds a SubRip file as a track, runs the pump to the end
// of the stream, creates a demultiplexer too, releases everything and checks
// that the runtime can unload the module.
//
//   zqsubtitle-host-example MODULE FILE.srt
//
// MODULE is the path the module was registered with; it is only used to ask
// whether the module is still loaded at the end.

#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <string>

#include "zqplatform/bstr.h"
#include "zqplatform/modulehandle.h"
#include "zqplatform/objbase.h"
#include "zqplatform/oleauto.h"
#include "zqplatform/text.h"
#include "zqplatform/unknownimpl.h"
#include "zqplatform/utf.h"
#include "zqsubtitle/ZQSubtitle.h"

namespace {

int Fail(const char* what, HRESULT hr) {
    WCHAR text[256] = {};
    ZQGetStatusText(hr, text, 256);
    std::fprintf(stderr, "host: %s failed: 0x%08X %s\n", what, static_cast<unsigned>(hr), ZQUtf8FromUtf16(text).c_str());
    return 1;
}

/// The host's side of the multiplexer: it would write each sample into its
/// container; here it counts them and waits for the end of the stream. It
/// lives on the stack, so its IUnknown only counts (CUnknownImpl, Borrowed).
class SampleSink final : public CUnknownImpl<ZQLifetime::Borrowed, IZQMuxSubtitleControlCallback> {
public:
    HRESULT Receive(LONG trackid, REFERENCE_TIME start, REFERENCE_TIME stop, BYTE* data, LONG length) override {
        std::printf("  sample track %d  %.3f-%.3f s  %d bytes: %.*s\n", trackid, start / 1e7, stop / 1e7, length,
                    length, reinterpret_cast<const char*>(data));
        ++m_samples;
        return S_OK;
    }
    HRESULT EndOfStream(LONG trackid) override {
        std::printf("  end of stream, track %d\n", trackid);
        std::lock_guard lock(m_mutex);
        m_ended = true;
        m_changed.notify_all();
        return S_OK;
    }
    HRESULT AddTrack(const AM_MEDIA_TYPE* mediatype, LONG trackid) override {
        std::printf("  new track %d, format block of %u bytes\n", trackid, mediatype ? mediatype->cbFormat : 0u);
        return S_OK;
    }
    HRESULT RemoveAllTracks() override { return S_OK; }
    HRESULT RemoveTrack(LONG) override { return S_OK; }

    void WaitForEnd() {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return m_ended; });
    }
    int Samples() const { return m_samples; }

private:
    std::atomic<int> m_samples{0};
    std::mutex m_mutex;  // guards m_ended
    std::condition_variable m_changed;
    bool m_ended = false;
};

template <class I>
HRESULT CreateByProgId(const char16_t* progId, I** out) {
    CLSID clsid;
    HRESULT hr = CLSIDFromProgID(progId, &clsid);
    if (FAILED(hr))
        return hr;
    return CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, ZQIidOf<I>(), reinterpret_cast<void**>(out));
}

int MuxOneFile(const std::u16string& path, SampleSink& sink) {
    IZQMuxSubtitle* mux = nullptr;
    HRESULT hr = CreateByProgId(u"ZQSubtitle.ZQMuxSubtitle", &mux);
    if (FAILED(hr))
        return Fail("creating ZQSubtitle.ZQMuxSubtitle (is the module registered? zqregsvr --user MODULE)", hr);
    IZQMuxSubtitleControl* control = nullptr;
    hr = mux->QueryInterface(IID_IZQMuxSubtitleControl, reinterpret_cast<void**>(&control));
    if (SUCCEEDED(hr))
        hr = control->SetCallback(&sink);
    const CComBSTR file(path);
    const CComBSTR label(u"example");
    const CComBSTR language(u"en");
    LONG trackid = 0;
    if (SUCCEEDED(hr))
        hr = mux->AddTextTrackFromFile(file, label, language, &trackid);
    if (SUCCEEDED(hr))
        hr = control->Run();
    if (SUCCEEDED(hr))
        sink.WaitForEnd();
    if (control) {
        control->Stop();
        control->SetCallback(nullptr);
        control->Release();
    }
    mux->Release();
    if (FAILED(hr))
        return Fail("multiplexing the file", hr);
    std::printf("  %d samples from track %d\n", sink.Samples(), trackid);
    return 0;
}

int TouchDemultiplexer() {
    IZQDmxSubtitle* dmx = nullptr;
    HRESULT hr = CreateByProgId(u"ZQSubtitle.ZQDmxSubtitle", &dmx);
    if (FAILED(hr))
        return Fail("creating ZQSubtitle.ZQDmxSubtitle", hr);
    IZQSubtitleTrackList* tracks = nullptr;
    LONG count = -1;
    hr = dmx->get_Tracks(&tracks);
    if (SUCCEEDED(hr)) {
        hr = tracks->get_Count(&count);
        tracks->Release();
    }
    dmx->Release();
    if (FAILED(hr))
        return Fail("reading the demultiplexer's tracks", hr);
    std::printf("  a new demultiplexer has %d tracks\n", count);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s MODULE FILE.srt\n", argv[0]);
        return 2;
    }
    HRESULT hr = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    if (FAILED(hr))
        return Fail("CoInitializeEx", hr);
    SampleSink sink;
    std::printf("multiplexer:\n");
    int result = MuxOneFile(ZQUtf16FromUtf8(argv[2]), sink);
    if (result == 0) {
        std::printf("demultiplexer:\n");
        result = TouchDemultiplexer();
    }
    if (sink.References() != 0) {
        std::fprintf(stderr, "host: the module still holds %u references to the host\n", sink.References());
        result = 1;
    }
    CoFreeUnusedLibraries();
    bool loaded = GetModuleHandleW(ZQUtf16FromUtf8(argv[1]).c_str()) != nullptr;
    std::printf("module %s\n", loaded ? "still loaded" : "unloaded");
    CoUninitialize();
    if (loaded)
        return 1;
    return result;
}
