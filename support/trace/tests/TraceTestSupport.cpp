#include "support/trace/tests/TraceTestSupport.h"

#include <atomic>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>

#include "zqplatform/debugapi.h"
#include "zqplatform/memoryapi.h"
#include "zqplatform/status.h"
#include "zqplatform/sync.h"

namespace tracetest {

std::string ReadBytes(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void WriteBytes(const std::filesystem::path& file, const std::string& bytes) {
    std::ofstream out(file, std::ios::binary);
    out << bytes;
}

bool WaitUntil(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
    auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return condition();
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

long long MsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count();
}

bool TraceRecordExists(const std::filesystem::path& file) {
    char name[600];
    std::snprintf(name, sizeof name, "%08X.%d.%s", GetCurrentProcessId(), kTraceRecordNumber, file.c_str());
    HANDLE record = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 16, name);
    bool existed = GetLastError() == ERROR_ALREADY_EXISTS;
    CloseHandle(record);
    return existed;
}

void TraceFixture::SetUp() {
    static std::atomic<int> s_serial{0};
    std::ostringstream name;
    name << "zqtrace-" << GetCurrentProcessId() << '-' << s_serial.fetch_add(1);
    m_directory = std::filesystem::temp_directory_path() / name.str();
    std::filesystem::remove_all(m_directory);
    std::filesystem::create_directories(m_directory);
    m_file = m_directory / "KestrixTrace.txt";
    SetTracePath(m_file.u16string().c_str());
    m_savedFlags = g_TraceFlags;
}

void TraceFixture::TearDown() {
    g_TraceFlags = m_savedFlags;
    std::error_code ignored;
    std::filesystem::remove_all(m_directory, ignored);
}

}  // namespace tracetest
