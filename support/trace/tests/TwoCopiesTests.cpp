// Two shared objects, each with its own copy of the trace code, share one
// tracer, timer, buffer and file; unloading hands the timer over; exit writes out.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>

#include "support/trace/tests/TraceTestSupport.h"
#include "support/trace/tests/copy/TraceCopy.h"

#include "zqplatform/module.h"
#include "zqplatform/status.h"
#include "zqplatform/sync.h"

namespace {

using tracetest::kMark;
using tracetest::ReadBytes;
using tracetest::WaitUntil;

constexpr DWORD kToFile = kTraceActive | kTraceToFile;

/// One loaded copy and its three functions.
class TraceCopy {
public:
    explicit TraceCopy(const char* path)
        : m_path(path), m_module(LoadLibraryW(std::filesystem::path(path).u16string().c_str())) {}
    ~TraceCopy() { Unload(); }

    bool Loaded() const { return m_module != nullptr && m_configure && m_line && m_inspect; }
    void Configure(DWORD flags, const std::filesystem::path& file) { m_configure(flags, file.u16string().c_str()); }
    void Line(const char* text) { m_line(text); }
    TraceCopyState Inspect() {
        TraceCopyState state {};
        m_inspect(&state);
        return state;
    }
    void Unload() {
        if (m_module != nullptr)
            FreeLibrary(std::exchange(m_module, nullptr));
    }
    HMODULE Module() const { return m_module; }
    const std::string& Path() const { return m_path; }

private:
    template <class Function>
    Function Entry(const char* name) const {
        return m_module ? reinterpret_cast<Function>(GetProcAddress(m_module, name)) : nullptr;
    }

    std::string m_path;
    HMODULE m_module;
    TraceCopyConfigureFunction m_configure = Entry<TraceCopyConfigureFunction>(kTraceCopyConfigure);
    TraceCopyLineFunction m_line = Entry<TraceCopyLineFunction>(kTraceCopyLine);
    TraceCopyInspectFunction m_inspect = Entry<TraceCopyInspectFunction>(kTraceCopyInspect);
};

class TwoCopiesTest : public tracetest::TraceFixture {
protected:
    void SetUp() override {
        TraceFixture::SetUp();
        ASSERT_TRUE(m_a.Loaded()) << m_a.Path();
        ASSERT_TRUE(m_b.Loaded()) << m_b.Path();
        m_a.Configure(kToFile, m_file);
        m_b.Configure(kToFile, m_file);
    }

    void TearDown() override {
        m_a.Unload();
        m_b.Unload();
        TraceFixture::TearDown();
    }

    bool FileHas(const char* text) { return ReadBytes(m_file).find(text) != std::string::npos; }

    TraceCopy m_a {ZQ_TRACE_COPY_A};
    TraceCopy m_b {ZQ_TRACE_COPY_B};
};

TEST_F(TwoCopiesTest, OneTracerTimerBufferAndFileServeBothAndUnloadingHandsTheTimerOver) {
    m_a.Line("\nfrom a");
    m_b.Line("\nfrom b");

    TraceCopyState a = m_a.Inspect();
    TraceCopyState b = m_b.Inspect();
    ASSERT_NE(nullptr, a.tracer);
    EXPECT_EQ(a.tracer, b.tracer);
    EXPECT_NE(nullptr, a.timer);
    EXPECT_EQ(a.timer, b.timer);
    EXPECT_EQ(a.ownFlags, a.timerOwner) << "the first copy to trace made the timer";
    EXPECT_NE(a.ownFlags, b.ownFlags);
    EXPECT_EQ(a.writeBuffer, b.writeBuffer);
    EXPECT_TRUE(WaitUntil([&] { return FileHas("from b"); })) << "the shared timer writes";

    // The unload writes out what waits, without waiting for the timer.
    m_a.Unload();
    EXPECT_EQ(std::string(kMark) + "\r\nfrom a\r\nfrom b", ReadBytes(m_file));
    TraceCopyState afterUnload = m_b.Inspect();
    EXPECT_NE(nullptr, afterUnload.tracer);
    EXPECT_EQ(nullptr, afterUnload.timer);
    EXPECT_EQ(nullptr, afterUnload.writeBuffer);

    m_b.Line("\nb alone");
    TraceCopyState handedOver = m_b.Inspect();
    EXPECT_NE(nullptr, handedOver.timer);
    EXPECT_EQ(handedOver.ownFlags, handedOver.timerOwner);
    EXPECT_TRUE(WaitUntil([&] { return FileHas("b alone"); })) << "the new timer writes";

    WCHAR path[600];
    ASSERT_NE(0u, GetModuleFileNameW(m_b.Module(), path, 600));
    EXPECT_TRUE(std::filesystem::equivalent(std::filesystem::path(std::u16string(path)), m_b.Path()));
    // The last copy frees the tracer and with it the record.
    m_b.Unload();
    EXPECT_FALSE(tracetest::TraceRecordExists(m_file));
}

TEST_F(TwoCopiesTest, ExitWritesOutWhatIsStillWaiting) {
    // tests/helpers/TraceChild.cpp: one line through a program's own copy.
    const std::string command = std::string("'") + ZQ_TRACE_CHILD + "' '" + m_file.string() + "'";
    ASSERT_EQ(0, std::system(command.c_str()));
    EXPECT_EQ(std::string(kMark) + "\r\nfrom the child", ReadBytes(m_file));
}

}  // namespace
