// The trace log's switches and entry points. As built it is silent: the flag
// word has none of the bits that make it act, and nothing in the product
// changes it. A developer sets the bits (in a debugger or a test) to get
// stamped lines on the console, in a file, or both.
#pragma once

#include <cstddef>

#include "zqplatform/types.h"

/// Bits of g_TraceFlags.
inline constexpr DWORD kTraceToFile = 0x01;       // TraceLine hands the line to the trace file
inline constexpr DWORD kTraceTime = 0x02;         // the prefix has the time of day
inline constexpr DWORD kTraceThreadId = 0x04;     // the prefix has the thread id
inline constexpr DWORD kTraceActive = 0x08;       // Trace does anything at all
inline constexpr DWORD kTraceBuiltIn = 0x10;      // set from the start; nothing tests it
inline constexpr DWORD kTraceHandleCount = 0x20;  // the prefix has the count of open handles
inline constexpr DWORD kTraceToDebugger = 0x40;   // TraceLine hands the line to OutputDebugStringA

inline constexpr size_t kTracePathChars = 260;
/// The room of one formatted line, prefix included.
inline constexpr size_t kTraceLineBytes = 2048;
/// The number in the name of the record through which the copies of this
/// code in a process find their one tracer.
inline constexpr int kTraceRecordNumber = 322;

/// The switches of this copy of the code; kTraceBuiltIn from the start.
extern DWORD g_TraceFlags;
/// The trace file of this copy of the code, at first KestrixTrace.txt in the
/// user's home folder. The tracer may change it at run time (see
/// CSharedTracer::WriteOut), from its timer's thread: other threads read
/// and change it through CopyTracePath and SetTracePath.
extern WCHAR g_TracePath[kTracePathChars];

/// Prints a printf-style text into a line of kTraceLineBytes and hands it to
/// TraceLine. Nothing without kTraceActive or with a null format.
void Trace(const char* format, ...) noexcept __attribute__((format(printf, 1, 2)));

/// Stamps a line (see FormatTraceLine) and hands it to the debugger output
/// and/or the trace file, as the flags say. A text that begins with a line
/// feed starts a new line; any other text continues the last one. Null is
/// ignored.
void TraceLine(const char* text) noexcept;

/// The text to trace: `text` itself if it doesn't begin with a line feed;
/// otherwise `buffer`, holding a prefix and the text cut to `size` bytes.
/// The prefix turns each leading line feed into CR LF and adds, as the flags
/// say and in this order, an empty line after a pause of more than 100 ms,
/// the time of day, the count of open handles and the thread id. The prefix
/// has 50 bytes: when the leading line feeds don't fit beside the fields,
/// the fields are kept and the surplus line feeds are dropped.
const char* FormatTraceLine(char* buffer, size_t size, const char* text) noexcept;

class CTracerLink;
/// The link of this copy of the code to the process's tracer.
CTracerLink& GetTracerLink() noexcept;

/// Copies g_TracePath, NUL-terminated, into `path`.
void CopyTracePath(WCHAR (&path)[kTracePathChars]) noexcept;
/// Sets g_TracePath; a path that doesn't fit is cut. Null is ignored.
void SetTracePath(const WCHAR* path) noexcept;
/// The built-in path: KestrixTrace.txt in the user's home folder; empty when
/// the home folder is unknown or too long.
void GetDefaultTracePath(WCHAR (&path)[kTracePathChars]) noexcept;
