#include "support/trace/Trace.h"

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string_view>

#include "support/trace/CSharedTracer.h"
#include "support/trace/CTraceLock.h"
#include "support/trace/CTraceTimer.h"
#include "support/trace/CTracerLink.h"
#include "zqplatform/debugapi.h"
#include "zqplatform/fileapi.h"
#include "zqplatform/shlobj.h"
#include "zqplatform/sync.h"

namespace {

constexpr char16_t kDefaultFileName[] = u"KestrixTrace.txt";
constexpr size_t kPrefixBytes = 50;
constexpr LONGLONG kPauseMs = 100;
constexpr LONGLONG kMsPerSecond = 1000;
constexpr LONGLONG kMsPerMinute = 60 * kMsPerSecond;
constexpr LONGLONG kMsPerHour = 60 * kMsPerMinute;
constexpr LONGLONG kMsPerDay = 24 * kMsPerHour;

/// Appends printf-style text to `text`, which holds `used` of its `capacity`
/// bytes, cut to fit.
void AppendField(char* text, size_t capacity, size_t& used, const char* format, ...)
    __attribute__((format(printf, 4, 5)));
void AppendField(char* text, size_t capacity, size_t& used, const char* format, ...) {
    if (used + 1 >= capacity)
        return;
    va_list arguments;
    va_start(arguments, format);
    int written = std::vsnprintf(text + used, capacity - used, format, arguments);
    va_end(arguments);
    if (written > 0)
        used += std::min(static_cast<size_t>(written), capacity - used - 1);
}

}  // namespace

// The static objects of this copy, in the order they start; they end in the
// reverse order, so the link, which may still write the file at exit,
// ends before the clock, the path and its lock.
DWORD g_TraceFlags = kTraceBuiltIn;
WCHAR g_TracePath[kTracePathChars] = {};

namespace {

CTraceLock g_TracePathLock;  // guards g_TracePath between traced threads and the timer's thread

struct CDefaultTracePath {
    CDefaultTracePath() noexcept { GetDefaultTracePath(g_TracePath); }
} g_DefaultTracePath;

/// The clock of the time stamps: started with the first stamped line, so
/// the stamps advance by the high-resolution counter, not by the system
/// time, which may be set back and forth meanwhile.
CTraceTimer g_TraceClock;
std::once_flag g_TraceClockStarted;
SYSTEMTIME g_TraceStart {};                   // written once, under g_TraceClockStarted
std::atomic<LONGLONG> g_LastLineTime{-1};     // time of day of the line before, in ms; -1 before the first

CTracerLink g_TracerLink;

/// Milliseconds of the time of day: the start plus the clock, with hours of
/// 24 or more taken back by one day once (a run of days goes on counting).
LONGLONG TimeOfDayMs() {
    std::call_once(g_TraceClockStarted, [] {
        GetLocalTime(&g_TraceStart);
        g_TraceClock.Restart();
    });
    LONGLONG time = g_TraceStart.wHour * kMsPerHour + g_TraceStart.wMinute * kMsPerMinute +
                    g_TraceStart.wSecond * kMsPerSecond + g_TraceStart.wMilliseconds + g_TraceClock.Elapsed();
    if (time >= kMsPerDay)
        time -= kMsPerDay;
    return time;
}

void AppendTimeOfDay(char* fields, size_t capacity, size_t& used) {
    LONGLONG time = TimeOfDayMs();
    LONGLONG before = g_LastLineTime.exchange(time, std::memory_order_relaxed);
    // A clock that seems to go back (a new day) is no pause.
    if (before >= 0 && time - before > kPauseMs)
        AppendField(fields, capacity, used, "\r\n");
    auto hours = static_cast<int>(time / kMsPerHour);
    auto minutes = static_cast<int>(time / kMsPerMinute % 60);
    auto seconds = static_cast<int>(time / kMsPerSecond % 60);
    auto milliseconds = static_cast<int>(time % kMsPerSecond);
    if (time > kMsPerDay) {
        AppendField(fields, capacity, used, "+%dd %02d:%02d:%02d.%03d: ", hours / 24, hours % 24, minutes, seconds,
                    milliseconds);
        return;
    }
    AppendField(fields, capacity, used, "%02d:%02d:%02d.%03d: ", hours, minutes, seconds, milliseconds);
}

}  // namespace

CTracerLink& GetTracerLink() noexcept {
    return g_TracerLink;
}

void GetDefaultTracePath(WCHAR (&path)[kTracePathChars]) noexcept {
    // The user's own folder stands in for the drive root: a file that only
    // this user can have made, never one that another user could prepare in a
    // shared folder. Without a known home there is no default and no file.
    constexpr size_t kNameChars = sizeof kDefaultFileName / sizeof kDefaultFileName[0];
    static_assert(kTracePathChars >= MAX_PATH);
    if (FAILED(SHGetFolderPathW(nullptr, CSIDL_PROFILE, nullptr, SHGFP_TYPE_CURRENT, path)))
        return;
    const size_t folder = std::u16string_view(path).size();
    if (folder + 1 + kNameChars > kTracePathChars) {
        path[0] = 0;
        return;
    }
    path[folder] = u'/';
    std::memcpy(path + folder + 1, kDefaultFileName, sizeof kDefaultFileName);
}

void CopyTracePath(WCHAR (&path)[kTracePathChars]) noexcept {
    CTraceLock::CAutoLock lock(g_TracePathLock);
    std::memcpy(path, g_TracePath, sizeof g_TracePath);
    path[kTracePathChars - 1] = 0;
}

void SetTracePath(const WCHAR* path) noexcept {
    if (path == nullptr)
        return;
    CTraceLock::CAutoLock lock(g_TracePathLock);
    size_t length = 0;
    while (length + 1 < kTracePathChars && path[length] != 0) {
        g_TracePath[length] = path[length];
        ++length;
    }
    g_TracePath[length] = 0;
}

const char* FormatTraceLine(char* buffer, size_t size, const char* text) noexcept {
    if (text == nullptr || text[0] != '\n' || buffer == nullptr || size == 0)
        return text;
    size_t lineFeeds = 0;
    while (text[lineFeeds] == '\n')
        ++lineFeeds;
    text += lineFeeds;

    DWORD flags = g_TraceFlags;
    char fields[kPrefixBytes];
    size_t fieldBytes = 0;
    fields[0] = 0;
    if ((flags & kTraceTime) != 0)
        AppendTimeOfDay(fields, sizeof fields, fieldBytes);
    if ((flags & kTraceHandleCount) != 0) {
        DWORD count = 0;
        int shown = GetProcessHandleCount(GetCurrentProcess(), &count) ? static_cast<int>(count) : -1;
        AppendField(fields, sizeof fields, fieldBytes, "%4d ", shown);
    }
    if ((flags & kTraceThreadId) != 0)
        AppendField(fields, sizeof fields, fieldBytes, "%08x: ", GetCurrentThreadId());

    // The line feeds get the room the fields leave.
    char prefix[kPrefixBytes];
    size_t breaks = std::min(lineFeeds, (sizeof prefix - 1 - fieldBytes) / 2);
    for (size_t i = 0; i < breaks; ++i)
        std::memcpy(prefix + 2 * i, "\r\n", 2);
    std::memcpy(prefix + 2 * breaks, fields, fieldBytes + 1);

    std::snprintf(buffer, size, "%s%s", prefix, text);
    return buffer;
}

void TraceLine(const char* text) noexcept {
    if (text == nullptr)
        return;
    char line[kTraceLineBytes];
    const char* stamped = FormatTraceLine(line, sizeof line, text);
    DWORD flags = g_TraceFlags;
    if ((flags & kTraceToDebugger) != 0)
        OutputDebugStringA(stamped);
    if ((flags & kTraceToFile) != 0) {
        if (CSharedTracer* tracer = g_TracerLink.Attach(g_TracePath, kTraceRecordNumber))
            tracer->Append(stamped);
        return;
    }
    // A debugger that reads the output needs a moment to take it.
    if ((flags & kTraceToDebugger) != 0)
        Sleep(0);
}

void Trace(const char* format, ...) noexcept {
    if ((g_TraceFlags & kTraceActive) == 0 || format == nullptr)
        return;
    char line[kTraceLineBytes];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    TraceLine(line);
}
