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

#include "zqplatform/modulehandle.h"
#include "zqplatform/objbase.h"
#include "zqplatform/oleauto.h"
#include "zqplatform/text.h"
#include "zqsubtitle/ZQSubtitle.h"

namespace {

std::u16string Widen(const char* text) {
    int length = MultiByteToWideChar(CP_UTF8, 0, text, -1, nullptr, 0);
    std::u16string out(length > 0 ? static_cast<size_t>(length) : 1, u'\0');
    MultiByteToWideChar(CP_UTF8, 0, text, -1, out.data(), length);
    out.resize(out.size() - 1);
    return out;
}

int Fail(const char* what, HRESULT hr) {
    WCHAR text[256];
    char utf8[512] = "";
    if (ZQGetStatusText(hr, text, 256) > 0)
        WideCharToMultiByte(CP_UTF8, 0, text, -1, utf8, sizeof utf8, nullptr, nullptr);
    std::fprintf(stderr, "host: %s failed: 0x%08X %s\n", what, static_cast<unsigned>(hr), utf8);
    return 1;
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

/// The host's side of the multiplexer: it would write each sample into its
/// container; here it counts them and waits for the end of the stream.
class SampleSink final : public IZQMuxSubtitleControlCallback {
public:
    HRESULT QueryInterface(REFIID iid, void** out) override {
        if (!out)
            return E_POINTER;
        *out = nullptr;
        if (iid != IID_IUnknown && iid != IID_IZQMuxSubtitleControlCallback)
            return E_NOINTERFACE;
        *out = static_cast<IZQMuxSubtitleControlCallback*>(this);
        AddRef();
        return S_OK;
    }
    ULONG AddRef() override { return ++m_references; }
    ULONG Release() override { return --m_references; }  // lives on the stack

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
    ULONG References() const { return m_references; }

private:
    std::atomic<ULONG> m_references{0};
    std::atomic<int> m_samples{0};
    std::mutex m_mutex;  // guards m_ended
    std::condition_variable m_changed;
    bool m_ended = false;
};

#pragma GCC diagnostic pop

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
    BSTR file = SysAllocStringLen(path.data(), static_cast<UINT>(path.size()));
    BSTR label = SysAllocString(u"example");
    BSTR language = SysAllocString(u"en");
    LONG trackid = 0;
    if (SUCCEEDED(hr))
        hr = mux->AddTextTrackFromFile(file, label, language, &trackid);
    SysFreeString(file);
    SysFreeString(label);
    SysFreeString(language);
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
    int result = MuxOneFile(Widen(argv[2]), sink);
    if (result == 0) {
        std::printf("demultiplexer:\n");
        result = TouchDemultiplexer();
    }
    if (sink.References() != 0) {
        std::fprintf(stderr, "host: the module still holds %u references to the host\n", sink.References());
        result = 1;
    }
    CoFreeUnusedLibraries();
    bool loaded = GetModuleHandleW(Widen(argv[1]).c_str()) != nullptr;
    std::printf("module %s\n", loaded ? "still loaded" : "unloaded");
    CoUninitialize();
    if (loaded)
        return 1;
    return result;
}
