// The module end to end, loaded from its built file as a host loads it:
// registration per user and for the machine, activation by class id and
// ProgID, class objects, the lock count and unloading.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>
#include <vector>

#include "shell/CZQClassTable.h"
#include "tests/support/CountingUnknown.h"
#include "tests/support/HResultAssertions.h"
#include "tests/support/RecordingPageSite.h"
#include "tests/support/TemporaryRegistry.h"
#include "zqplatform/comptr.h"
#include "zqplatform/module.h"
#include "zqplatform/modulehandle.h"
#include "zqplatform/objbase.h"
#include "zqplatform/oleauto.h"
#include "zqplatform/text.h"
#include "zqsubtitle/ZQSubtitle.h"

namespace {

using zqtest::GetRegistryText;
using zqtest::RegistryKeyExists;

using GetClassObjectFunction = HRESULT (*)(REFCLSID, REFIID, void**);
using ServerFunction = HRESULT (*)();
using InstallFunction = HRESULT (*)(BOOL, const OLECHAR*);

constexpr const char16_t* kUserClasses = u"Software\\Classes\\";

std::u16string Widen(const std::string& text) {
    std::u16string wide(text.size() * 2 + 1, u'\0');
    int length = MultiByteToWideChar(CP_UTF8, 0, text.c_str(), static_cast<INT>(text.size()), wide.data(),
                                     static_cast<INT>(wide.size()));
    wide.resize(static_cast<size_t>(length));
    return wide;
}

std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

std::u16string Under(const char16_t* prefix, const std::u16string& rest) {
    return std::u16string(prefix) + rest;
}

/// One loaded copy of the module and its five entry points.
struct LoadedModule {
    explicit LoadedModule(const std::u16string& path) : m_path(path), m_module(LoadLibraryW(path.c_str())) {}
    ~LoadedModule() { Unload(); }

    template <class Function>
    Function Entry(const char* name) const {
        return m_module ? reinterpret_cast<Function>(GetProcAddress(m_module, name)) : nullptr;
    }
    bool IsComplete() const {
        return m_getClassObject && m_canUnloadNow && m_register && m_unregister && m_install;
    }
    void Unload() {
        if (m_module != nullptr)
            FreeLibrary(m_module);
        m_module = nullptr;
    }
    const std::u16string& Path() const { return m_path; }

    std::u16string m_path;
    HMODULE m_module;
    GetClassObjectFunction m_getClassObject = Entry<GetClassObjectFunction>("DllGetClassObject");
    ServerFunction m_canUnloadNow = Entry<ServerFunction>("DllCanUnloadNow");
    ServerFunction m_register = Entry<ServerFunction>("DllRegisterServer");
    ServerFunction m_unregister = Entry<ServerFunction>("DllUnregisterServer");
    InstallFunction m_install = Entry<InstallFunction>("DllInstall");
};

class ModuleTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_OK(CoInitializeEx(nullptr, COINIT_MULTITHREADED));
        ASSERT_TRUE(m_module.IsComplete()) << ZQ_SUBTITLE_MODULE;
    }
    void TearDown() override {
        CoFreeUnusedLibraries();
        m_module.Unload();
        CoUninitialize();
        // Nothing of a test may keep the module: the next test starts from a fresh load.
        EXPECT_EQ(nullptr, GetModuleHandleW(m_module.Path().c_str()));
    }

    std::u16string ClassKey(const ZQClassRow& row) { return Under(u"CLSID\\", row.m_clsidText); }

    zqtest::TemporaryRegistry m_registry;
    LoadedModule m_module{Widen(ZQ_SUBTITLE_MODULE)};
};

TEST_F(ModuleTest, InstallWithUserInAnyCaseRegistersPerUserAndUninstallRemovesIt) {
    ASSERT_OK(m_module.m_install(TRUE, u"USER"));
    for (const ZQClassRow& row : ZQClassRows()) {
        SCOPED_TRACE(testing::Message() << static_cast<const void*>(row.m_progId));
        std::u16string server = Under(kUserClasses, ClassKey(row) + u"\\InprocServer32");
        EXPECT_EQ(m_module.Path(), GetRegistryText(HKEY_CURRENT_USER, server.c_str(), nullptr));
        EXPECT_EQ(u"Both", GetRegistryText(HKEY_CURRENT_USER, server.c_str(), u"ThreadingModel"));
        EXPECT_EQ(row.m_name, GetRegistryText(HKEY_CURRENT_USER, Under(kUserClasses, row.m_progId).c_str(), nullptr));
    }
    EXPECT_TRUE(RegistryKeyExists(HKEY_CLASSES_ROOT, u"TypeLib\\{7C41A0EE-5D2B-4E6F-9A13-2F6D8B04C7E1}\\1.0\\0\\linux64"));
    EXPECT_TRUE(RegistryKeyExists(HKEY_CLASSES_ROOT, u"Interface\\{7C41A0FA-5D2B-4E6F-9A13-2F6D8B04C7E1}\\TypeLib"));
    EXPECT_FALSE(std::filesystem::exists(m_registry.MachineHive()));

    ASSERT_OK(m_module.m_install(FALSE, u"user"));
    for (const ZQClassRow& row : ZQClassRows()) {
        EXPECT_FALSE(RegistryKeyExists(HKEY_CLASSES_ROOT, ClassKey(row).c_str()));
        EXPECT_FALSE(RegistryKeyExists(HKEY_CLASSES_ROOT, row.m_progId));
        EXPECT_FALSE(RegistryKeyExists(HKEY_CLASSES_ROOT, row.m_versionIndependentProgId));
    }
    EXPECT_FALSE(RegistryKeyExists(HKEY_CLASSES_ROOT, u"TypeLib\\{7C41A0EE-5D2B-4E6F-9A13-2F6D8B04C7E1}"));
    EXPECT_FALSE(RegistryKeyExists(HKEY_CLASSES_ROOT, u"Interface\\{7C41A0FA-5D2B-4E6F-9A13-2F6D8B04C7E1}"));
    EXPECT_TRUE(RegistryKeyExists(HKEY_CURRENT_USER, u"Software\\Classes\\CLSID"));
}

TEST_F(ModuleTest, InstallWithALongerWordRegistersForTheMachine) {
    ASSERT_OK(m_module.m_install(TRUE, u"user2"));
    std::u16string server = Under(kUserClasses, ClassKey(ZQClassRows()[0]) + u"\\InprocServer32");
    EXPECT_EQ(m_module.Path(), GetRegistryText(HKEY_LOCAL_MACHINE, server.c_str(), nullptr));
    ASSERT_OK(m_module.m_unregister());
    EXPECT_FALSE(RegistryKeyExists(HKEY_LOCAL_MACHINE, Under(kUserClasses, ClassKey(ZQClassRows()[0])).c_str()));
}

TEST_F(ModuleTest, RegisteringTwiceGivesTheSameKeysAndUnregisterKeepsOthersClasses) {
    const std::u16string foreign = u"Software\\Classes\\CLSID\\{00000000-1111-2222-3333-444444444444}";
    ASSERT_EQ(ERROR_SUCCESS, zqtest::SetRegistryText(HKEY_LOCAL_MACHINE, foreign.c_str(), nullptr, u"other"));
    ASSERT_OK(m_module.m_register());
    std::string once = ReadFile(m_registry.MachineHive());
    // A stray key below a class goes at the next registration: the class key is forced out.
    std::u16string stray = Under(kUserClasses, ClassKey(ZQClassRows()[1]) + u"\\Stray");
    ASSERT_EQ(ERROR_SUCCESS, zqtest::SetRegistryText(HKEY_LOCAL_MACHINE, stray.c_str(), nullptr, u"x"));
    ASSERT_OK(m_module.m_register());
    EXPECT_EQ(once, ReadFile(m_registry.MachineHive()));

    ASSERT_OK(m_module.m_unregister());
    EXPECT_EQ(u"other", GetRegistryText(HKEY_LOCAL_MACHINE, foreign.c_str(), nullptr));
    EXPECT_FALSE(RegistryKeyExists(HKEY_CLASSES_ROOT, ClassKey(ZQClassRows()[1]).c_str()));
}

/// Each class of the table, activated every way a host can.
class ModuleClassTest : public ModuleTest, public ::testing::WithParamInterface<size_t> {
protected:
    const ZQClassRow& Row() const { return ZQClassRows()[GetParam()]; }
};

TEST_P(ModuleClassTest, ClassIdAndBothProgIdsReachTheSameRow) {
    ASSERT_OK(m_module.m_install(TRUE, u"user"));
    CLSID byProgId{};
    ASSERT_OK(CLSIDFromProgID(Row().m_progId, &byProgId));
    EXPECT_EQ(*Row().m_clsid, byProgId);
    CLSID byIndependent{};
    ASSERT_OK(CLSIDFromProgID(Row().m_versionIndependentProgId, &byIndependent));
    EXPECT_EQ(*Row().m_clsid, byIndependent);

    IUnknown* first = nullptr;
    HRESULT direct = CoCreateInstance(*Row().m_clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown,
                                      reinterpret_cast<void**>(&first));
    IUnknown* second = nullptr;
    HRESULT throughProgId = CoCreateInstance(byIndependent, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown,
                                             reinterpret_cast<void**>(&second));
    EXPECT_HR(direct, throughProgId);
    EXPECT_EQ(SUCCEEDED(direct), first != nullptr);
    // A created object holds the module until it goes.
    EXPECT_HR(SUCCEEDED(direct) ? S_FALSE : S_OK, m_module.m_canUnloadNow());
    if (first != nullptr)
        first->Release();
    if (second != nullptr)
        second->Release();
    EXPECT_HR(S_OK, m_module.m_canUnloadNow());
}

TEST_P(ModuleClassTest, ClassObjectRefusesAggregationForAnyInterfaceButIUnknown) {
    IClassFactory* factory = nullptr;
    ASSERT_OK(m_module.m_getClassObject(*Row().m_clsid, IID_IClassFactory, reinterpret_cast<void**>(&factory)));
    zqtest::CountingUnknown outer;
    void* out = &out;
    EXPECT_HR(CLASS_E_NOAGGREGATION, factory->CreateInstance(&outer, IID_IZQMuxSubtitle, &out));
    EXPECT_EQ(nullptr, out);
    EXPECT_HR(CLASS_E_NOAGGREGATION, factory->CreateInstance(&outer, IID_IDispatch, &out));
    EXPECT_EQ(0, outer.AddRefCalls());
    EXPECT_EQ(0, outer.QueryInterfaceCalls());
    EXPECT_HR(E_POINTER, factory->CreateInstance(nullptr, IID_IUnknown, nullptr));
    factory->Release();
}

std::string ClassName(const ::testing::TestParamInfo<size_t>& info) {
    static const char* const kNames[] = {"ZQDmxSubtitle", "ZQMuxSubtitle", "ZQMuxSubtitlePropPage"};
    return kNames[info.param];
}

INSTANTIATE_TEST_SUITE_P(Classes, ModuleClassTest, ::testing::Values(0, 1, 2), ClassName);

TEST_F(ModuleTest, OneClassObjectPerClassKeepsTheModuleOnlyWhileHeldOutsideOrLocked) {
    constexpr int kThreads = 8;
    std::vector<IClassFactory*> objects(kThreads, nullptr);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back([&, i] {
            m_module.m_getClassObject(CLSID_ZQMuxSubtitle, IID_IClassFactory, reinterpret_cast<void**>(&objects[i]));
        });
    for (std::thread& thread : threads)
        thread.join();
    for (IClassFactory* object : objects) {
        ASSERT_NE(nullptr, object);
        EXPECT_EQ(objects[0], object);
    }
    EXPECT_HR(S_FALSE, m_module.m_canUnloadNow());
    IClassFactory* factory = objects[0];
    ASSERT_OK(factory->LockServer(TRUE));
    for (IClassFactory* object : objects)
        object->Release();
    EXPECT_EQ(2u, factory->AddRef());  // the table's own reference stays
    EXPECT_EQ(1u, factory->Release());
    EXPECT_HR(S_FALSE, m_module.m_canUnloadNow());
    ASSERT_OK(factory->LockServer(FALSE));
    EXPECT_HR(S_OK, m_module.m_canUnloadNow());
}

TEST_F(ModuleTest, AggregatedMultiplexerHandsTheOuterItsInnerUnknown) {
    ASSERT_OK(m_module.m_install(TRUE, u"user"));
    zqtest::CountingUnknown outer;
    IUnknown* inner = nullptr;
    ASSERT_OK(CoCreateInstance(CLSID_ZQMuxSubtitle, &outer, CLSCTX_INPROC_SERVER, IID_IUnknown,
                               reinterpret_cast<void**>(&inner)));
    // The inner unknown counts for itself; the interfaces it hands out count on the outer.
    IZQMuxSubtitleControl* control = nullptr;
    ASSERT_OK(inner->QueryInterface(IID_IZQMuxSubtitleControl, reinterpret_cast<void**>(&control)));
    EXPECT_EQ(1, outer.References());
    control->Release();
    EXPECT_EQ(0, outer.References());
    EXPECT_HR(S_FALSE, m_module.m_canUnloadNow());
    EXPECT_EQ(0u, inner->Release());
    EXPECT_HR(S_OK, m_module.m_canUnloadNow());
}

TEST_F(ModuleTest, TrackHeldByTheApplicationKeepsTheModuleAfterItsMultiplexerIsGone) {
    const char* shared = std::getenv("ZQ_SHARED_DIR");
    if (shared == nullptr)
        GTEST_SKIP() << "ZQ_SHARED_DIR (set by CTest) names the folder of the sample files";
    std::filesystem::path file;
    for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::path(shared) / "corpus" / "srt"))
        if (entry.path().extension() == ".srt" && (file.empty() || entry.path() < file))
            file = entry.path();
    ASSERT_FALSE(file.empty());
    ASSERT_OK(m_module.m_install(TRUE, u"user"));
    IZQMuxSubtitle* mux = nullptr;
    CLSID clsid{};
    ASSERT_OK(CLSIDFromProgID(u"ZQSubtitle.ZQMuxSubtitle", &clsid));
    ASSERT_OK(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IZQMuxSubtitle,
                               reinterpret_cast<void**>(&mux)));
    BSTR path = SysAllocString(Widen(file.string()).c_str());
    BSTR empty = SysAllocString(u"");
    LONG trackId = 0;
    HRESULT added = mux->AddTextTrackFromFile(path, empty, empty, &trackId);
    SysFreeString(path);
    SysFreeString(empty);
    ASSERT_OK(added) << file;
    IZQSubtitleTrackList* tracks = nullptr;
    ASSERT_OK(mux->get_Tracks(&tracks));
    IZQSubtitleTrack* track = nullptr;
    ASSERT_OK(tracks->GetTrack(0, &track));
    tracks->Release();
    mux->Release();
    EXPECT_HR(S_FALSE, m_module.m_canUnloadNow());
    track->Release();
    EXPECT_HR(S_OK, m_module.m_canUnloadNow());
}

TEST_F(ModuleTest, ClassObjectRequestsItCannotServeLeaveNothingHeld) {
    constexpr CLSID kUnknown = {0x12345678, 0x1234, 0x1234, {1, 2, 3, 4, 5, 6, 7, 8}};
    void* out = &out;
    EXPECT_HR(CLASS_E_CLASSNOTAVAILABLE, m_module.m_getClassObject(kUnknown, IID_IClassFactory, &out));
    EXPECT_EQ(nullptr, out);
    EXPECT_HR(E_POINTER, m_module.m_getClassObject(CLSID_ZQMuxSubtitle, IID_IClassFactory, nullptr));
    out = &out;
    EXPECT_HR(E_NOINTERFACE, m_module.m_getClassObject(CLSID_ZQMuxSubtitle, IID_IDispatch, &out));
    EXPECT_EQ(nullptr, out);
    EXPECT_HR(S_OK, m_module.m_canUnloadNow());
}

TEST_F(ModuleTest, ActivationLoadsTheModuleOnceAndUnloadsItWhenUnused) {
    ASSERT_OK(m_module.m_install(TRUE, u"user"));
    m_module.Unload();
    ASSERT_EQ(nullptr, GetModuleHandleW(m_module.Path().c_str()));

    IClassFactory* mux = nullptr;
    ASSERT_OK(CoGetClassObject(CLSID_ZQMuxSubtitle, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory,
                               reinterpret_cast<void**>(&mux)));
    IClassFactory* dmx = nullptr;
    ASSERT_OK(CoGetClassObject(CLSID_ZQDmxSubtitle, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory,
                               reinterpret_cast<void**>(&dmx)));
    EXPECT_NE(nullptr, GetModuleHandleW(m_module.Path().c_str()));
    mux->Release();
    CoFreeUnusedLibraries();
    EXPECT_NE(nullptr, GetModuleHandleW(m_module.Path().c_str()));  // dmx's class object still held
    dmx->Release();
    CoFreeUnusedLibraries();
    EXPECT_EQ(nullptr, GetModuleHandleW(m_module.Path().c_str()));
}

/// A copy of the module at `path`, loaded from there.
std::filesystem::path CopyModuleTo(const std::filesystem::path& folder) {
    std::filesystem::create_directories(folder);
    std::filesystem::path copy = folder / "libZQSubtitle.so";
    std::filesystem::copy_file(ZQ_SUBTITLE_MODULE, copy, std::filesystem::copy_options::overwrite_existing);
    return copy;
}

TEST_F(ModuleTest, ModuleWithoutItsPresentationLibraryServesAllButThePagesWindow) {
    // A copy alone in a folder, without libZQSubtitleQt.so beside it.
    LoadedModule alone(Widen(CopyModuleTo(m_registry.Folder() / "alone").string()));
    ASSERT_TRUE(alone.IsComplete());
    CComPtr<IClassFactory> muxClass;
    CComPtr<IClassFactory> pageClass;
    ASSERT_OK(alone.m_getClassObject(CLSID_ZQMuxSubtitle, IID_IClassFactory, reinterpret_cast<void**>(&muxClass)));
    ASSERT_OK(alone.m_getClassObject(CLSID_ZQMuxSubtitlePropPage, IID_IClassFactory,
                                     reinterpret_cast<void**>(&pageClass)));
    CComPtr<IZQMuxSubtitle> mux;
    ASSERT_OK(muxClass->CreateInstance(nullptr, IID_IZQMuxSubtitle, reinterpret_cast<void**>(&mux)));
    CComPtr<IPropertyPage> page;
    ASSERT_OK(pageClass->CreateInstance(nullptr, IID_IPropertyPage, reinterpret_cast<void**>(&page)));
    zqtest::FakeServiceProvider provider;
    provider.Serve(mux.Get());
    IUnknown* objects[] = {&provider};
    ASSERT_OK(page->SetObjects(1, objects));
    PROPPAGEINFO info{};
    ASSERT_OK(page->GetPageInfo(&info));
    EXPECT_GT(info.size.cx, 0);
    CoTaskMemFree(info.pszTitle);
    CoTaskMemFree(info.pszDocString);
    const RECT rect = {0, 0, 200, 100};
    EXPECT_HR(HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND), page->Activate(nullptr, &rect, TRUE));
    EXPECT_HR(E_UNEXPECTED, page->Show(SW_SHOW));
    IUnknown* none[] = {nullptr};
    EXPECT_OK(page->SetObjects(0, none));
    page = nullptr;
    mux = nullptr;
    provider.Serve(nullptr);
    muxClass = nullptr;
    pageClass = nullptr;
    EXPECT_HR(S_OK, alone.m_canUnloadNow());
}

TEST_F(ModuleTest, ModulePathKeepsItsApostropheAndIsRefusedAtMaxPath) {
    std::filesystem::path quoted = CopyModuleTo(m_registry.Folder() / "it's here");
    {
        LoadedModule copy(Widen(quoted.string()));
        ASSERT_TRUE(copy.IsComplete());
        ASSERT_OK(copy.m_install(TRUE, u"user"));
        std::u16string server = ClassKey(ZQClassRows()[0]) + u"\\InprocServer32";
        EXPECT_EQ(Widen(quoted.string()), GetRegistryText(HKEY_CLASSES_ROOT, server.c_str(), nullptr));
        ASSERT_OK(copy.m_install(FALSE, u"user"));
    }
    // A path of exactly 260 characters doesn't fit with its NUL.
    std::filesystem::path folder = m_registry.Folder();
    size_t fill = 260 - folder.string().size() - std::string("/libZQSubtitle.so").size() - 1;
    std::filesystem::path deep = CopyModuleTo(folder / std::string(fill, 'd'));
    ASSERT_EQ(260u, deep.string().size());
    std::string before = ReadFile(m_registry.MachineHive());
    LoadedModule copy(Widen(deep.string()));
    ASSERT_TRUE(copy.IsComplete());
    EXPECT_HR(HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER), copy.m_register());
    EXPECT_HR(HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER), copy.m_install(TRUE, nullptr));
    EXPECT_EQ(before, ReadFile(m_registry.MachineHive()));
}

#ifdef ZQ_REGSVR_PROGRAM
int RunProgram(const std::string& command) {
    // std::system answers the wait status; the exit code is its second byte.
    int status = std::system((command + " >/dev/null 2>&1").c_str());
    return (status >> 8) & 0xFF;
}

TEST_F(ModuleTest, ZqregsvrRegistersPerUserAndReportsFailuresByExitCode) {
    std::string program = ZQ_REGSVR_PROGRAM;
    if (program.empty())
        GTEST_SKIP() << "zqregsvr is not part of this build";
    std::string module = ZQ_SUBTITLE_MODULE;
    EXPECT_EQ(0, RunProgram(program + " --user " + module));
    std::u16string server = ClassKey(ZQClassRows()[1]) + u"\\InprocServer32";
    EXPECT_EQ(m_module.Path(), GetRegistryText(HKEY_CLASSES_ROOT, server.c_str(), nullptr));
    EXPECT_EQ(0, RunProgram(program + " -u --user " + module));
    EXPECT_FALSE(RegistryKeyExists(HKEY_CLASSES_ROOT, server.c_str()));
    EXPECT_EQ(1, RunProgram(program + " --user " + (m_registry.Folder() / "missing.so").string()));
    EXPECT_EQ(2, RunProgram(program));
    EXPECT_EQ(2, RunProgram(program + " --bogus " + module));
}
#endif

}  // namespace
