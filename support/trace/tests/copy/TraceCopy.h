// The C interface of the test copies of the trace code (trace_copy_a and
// trace_copy_b): each is the trace code built into a shared object of its
// own, with these functions to drive and inspect it.
#pragma once

#include "zqplatform/types.h"

/// What one copy sees of the process's tracer.
struct TraceCopyState {
    const void* tracer;       // the tracer its link holds, or null
    const void* timer;        // the tracer's timer, or null
    const void* timerOwner;   // the flags of the copy whose code the timer calls
    const void* writeBuffer;  // the tracer's write buffer, or null
    const void* ownFlags;     // this copy's g_TraceFlags
};

extern "C" {
using TraceCopyConfigureFunction = void (*)(DWORD flags, const WCHAR* path);
using TraceCopyLineFunction = void (*)(const char* text);
using TraceCopyInspectFunction = void (*)(TraceCopyState* state);
}

inline constexpr char kTraceCopyConfigure[] = "TraceCopyConfigure";
inline constexpr char kTraceCopyLine[] = "TraceCopyLine";
inline constexpr char kTraceCopyInspect[] = "TraceCopyInspect";
