// The hidden window class goes with the load of the module that registered
// it, so a module loaded again never meets a class whose window procedure is
// the unloaded code's.
#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "dmx/CZQDmxSubtitleCallback.h"
#include "dmx/tests/DmxTestSupport.h"
#include "zqplatform/module.h"

namespace {

using MakeDispatcherFunction = HRESULT (*)(IZQDmxSubtitleCallback*, IZQDmxSubtitleCallback**);
using DispatcherWindowFunction = HWND (*)(IZQDmxSubtitleCallback*);

std::u16string ModulePath() {
    std::string path = ZQ_DMX_TEST_MODULE;
    return std::u16string(path.begin(), path.end());
}

/// Loads the module, delivers one event through a posted message, releases
/// the dispatcher and unloads; answers the instance the class was under.
HINSTANCE RoundTrip(zqtest::RecordingCueCallback& app) {
    HMODULE module = LoadLibraryW(ModulePath().c_str());
    EXPECT_NE(module, nullptr);
    if (module == nullptr)
        return nullptr;
    auto make = reinterpret_cast<MakeDispatcherFunction>(GetProcAddress(module, "ZQTestMakeDispatcher"));
    auto windowOf = reinterpret_cast<DispatcherWindowFunction>(GetProcAddress(module, "ZQTestDispatcherWindow"));
    EXPECT_TRUE(make != nullptr && windowOf != nullptr);
    IZQDmxSubtitleCallback* dispatcher = nullptr;
    EXPECT_OK(make(&app, &dispatcher));
    HWND window = windowOf(dispatcher);
    auto instance = reinterpret_cast<HINSTANCE>(GetWindowLongPtrW(window, GWLP_HINSTANCE));
    WNDCLASSW info{};
    EXPECT_TRUE(GetClassInfoW(instance, CZQDmxSubtitleCallback::kWindowClassName, &info));

    const size_t before = app.EventCount();
    std::thread([&] { EXPECT_OK(dispatcher->Cue(ZQSubtitle_Cue_Event_Clear, 0.0, nullptr)); }).join();
    EXPECT_TRUE(zqtest::PumpUntil([&] { return app.EventCount() == before + 1; }));
    dispatcher->Release();
    EXPECT_TRUE(FreeLibrary(module));
    return instance;
}

TEST(DispatcherModule, UnloadRemovesTheWindowClassAndAReloadWorks) {
    zqtest::RecordingCueCallback app;
    HINSTANCE first = RoundTrip(app);
    ASSERT_NE(first, nullptr);
    WNDCLASSW info{};
    EXPECT_FALSE(GetClassInfoW(first, CZQDmxSubtitleCallback::kWindowClassName, &info))
        << "the class of the unloaded copy is still registered";
    EXPECT_EQ(GetLastError(), ERROR_CLASS_DOES_NOT_EXIST);

    HINSTANCE second = RoundTrip(app);
    ASSERT_NE(second, nullptr);
    EXPECT_FALSE(GetClassInfoW(second, CZQDmxSubtitleCallback::kWindowClassName, &info));
    EXPECT_EQ(app.EventCount(), 2u);
    EXPECT_EQ(app.References(), 0);
}

}  // namespace
