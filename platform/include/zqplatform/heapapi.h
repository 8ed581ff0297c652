// The process heap: memory that one copy of a library takes and another frees.
#pragma once

#include "zqplatform/types.h"

inline constexpr DWORD HEAP_ZERO_MEMORY = 0x08;

extern "C" {
/// The heap shared by every module of the process: memory taken by one copy
/// of a library can be freed by another one.
ZQPLATFORM_API HANDLE GetProcessHeap();
/// Null on failure; a size of 0 still gives a block.
ZQPLATFORM_API LPVOID HeapAlloc(HANDLE heap, DWORD flags, size_t bytes);
/// Null on failure, with the old block untouched. HEAP_ZERO_MEMORY is not
/// supported for a reallocation (the grown part is not cleared).
ZQPLATFORM_API LPVOID HeapReAlloc(HANDLE heap, DWORD flags, LPVOID memory, size_t bytes);
/// Null is accepted.
ZQPLATFORM_API BOOL HeapFree(HANDLE heap, DWORD flags, LPVOID memory);
}
