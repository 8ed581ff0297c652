// The exported face of a test copy of the trace code.
#include "support/trace/tests/copy/TraceCopy.h"

#include "support/trace/CSharedTracer.h"
#include "support/trace/CTracerLink.h"
#include "support/trace/Trace.h"

#define TRACE_COPY_EXPORT extern "C" __attribute__((visibility("default")))

TRACE_COPY_EXPORT void TraceCopyConfigure(DWORD flags, const WCHAR* path) {
    g_TraceFlags = flags;
    SetTracePath(path);
}

TRACE_COPY_EXPORT void TraceCopyLine(const char* text) {
    TraceLine(text);
}

TRACE_COPY_EXPORT void TraceCopyInspect(TraceCopyState* state) {
    CSharedTracer* tracer = GetTracerLink().GetTracer();
    state->tracer = tracer;
    state->timer = tracer != nullptr ? tracer->GetTimer() : nullptr;
    state->timerOwner = tracer != nullptr ? tracer->GetTimerOwner() : nullptr;
    state->writeBuffer = tracer != nullptr ? tracer->GetWriteBuffer() : nullptr;
    state->ownFlags = &g_TraceFlags;
}
