// Heap allocations of a benchmark program, to report allocations per item.
// Referring to the counter links in replacements of the global allocation
// functions that count every allocation; programs that don't refer to it keep
// the standard ones.
#pragma once

#include <atomic>

/// Allocations through any form of operator new since the program started.
extern std::atomic<long long> g_allocations;
