#pragma once

#include <atomic>

#include "support/trace/CTraceLock.h"
#include "zqplatform/types.h"

class CSharedTracer;

/// The tie of one copy of the trace code to the process's one tracer: each
/// copy has one static link, which finds the tracer through a record named
/// after the process and the trace file, and gives it up when the copy ends
/// (program exit or unload). Any thread may attach; the end of the copy
/// detaches.
class CTracerLink {
public:
    CTracerLink() noexcept = default;
    /// Stops further attaching and detaches.
    ~CTracerLink();
    CTracerLink(const CTracerLink&) = delete;
    CTracerLink& operator=(const CTracerLink&) = delete;

    /// The process's tracer for the trace file `path`, made by the first
    /// copy that asks, or null when it can't be had or the copy is ending.
    /// Once attached, answers at the cost of one read; `path` and `number`
    /// only name the record on the first call.
    CSharedTracer* Attach(const WCHAR* path, int number) noexcept;
    /// Gives up this copy's use of the tracer; the last user frees it and
    /// clears the record. Waits at most about a second for another copy
    /// that holds the record.
    void Detach() noexcept;

    /// The attached tracer, or null.
    CSharedTracer* GetTracer() const noexcept { return m_Tracer.load(std::memory_order_acquire); }

private:
    CTraceLock m_Lock;                          // guards attaching and detaching; taken before a record's spin word
    HANDLE m_Mapping = nullptr;                 // keeps the record alive while attached
    std::atomic<CSharedTracer*> m_Tracer{nullptr};
    std::atomic<bool> m_Exiting{false};         // set when the copy ends: no more attaching
};
