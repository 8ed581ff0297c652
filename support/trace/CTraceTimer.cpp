#include "support/trace/CTraceTimer.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "support/trace/Trace.h"
#include "zqplatform/debugapi.h"
#include "zqplatform/status.h"
#include "zqplatform/sync.h"

namespace {

constexpr LONGLONG kLongestElapsed = 0x7FFFFFFF;

DWORD TickCount() {
    return static_cast<DWORD>(GetTickCount64());
}

}  // namespace

CTraceTimer::CTraceTimer(const char* name, LONG threshold, HRESULT* status) noexcept : m_Threshold(threshold) {
    HRESULT hr = S_OK;
    if (name != nullptr) {
        size_t length = std::strlen(name) + 1;
        m_Name = static_cast<char*>(std::malloc(length));
        if (m_Name != nullptr)
            std::memcpy(m_Name, name, length);
        else
            hr = E_OUTOFMEMORY;
    }
    HRESULT restarted = Restart();
    if (status != nullptr)
        *status = FAILED(hr) ? hr : restarted;
}

CTraceTimer::~CTraceTimer() {
    if (m_Name == nullptr)
        return;
    if (Elapsed() > m_Threshold)
        Report();
    std::free(m_Name);
}

void CTraceTimer::Report() noexcept {
    auto elapsed = static_cast<int>(Elapsed());
    if (elapsed >= 1000)
        std::snprintf(m_Text, sizeof m_Text, "%d.%03ds", elapsed / 1000, elapsed % 1000);
    else
        std::snprintf(m_Text, sizeof m_Text, "%03dms", elapsed);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
    // The name is the owner's format by contract, with one %s.
    Trace(m_Name, m_Text);
#pragma GCC diagnostic pop
}

LONGLONG CTraceTimer::Elapsed() const noexcept {
    LARGE_INTEGER now {};
    if (m_StartCount == -1 || m_Frequency <= 0 || !QueryPerformanceCounter(&now))
        return static_cast<LONGLONG>(static_cast<DWORD>(TickCount() - m_StartTicks));
    LONGLONG elapsed = (now.QuadPart - m_StartCount) * 1000 / m_Frequency;
    return elapsed > kLongestElapsed ? kLongestElapsed : elapsed;
}

HRESULT CTraceTimer::Restart() noexcept {
    m_StartTicks = TickCount();
    if (m_Frequency == 0) {
        LARGE_INTEGER frequency {};
        if (QueryPerformanceFrequency(&frequency))
            m_Frequency = frequency.QuadPart;
    }
    LARGE_INTEGER count {};
    if (!QueryPerformanceCounter(&count)) {
        m_StartCount = -1;
        return HRESULT_FROM_WIN32(GetLastError());
    }
    m_StartCount = count.QuadPart;
    return S_OK;
}
