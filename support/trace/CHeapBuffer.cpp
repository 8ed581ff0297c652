#include "support/trace/CHeapBuffer.h"

#include <new>

#include "zqplatform/heapapi.h"

namespace {

void FreeFromProcessHeap(void* storage) {
    HeapFree(GetProcessHeap(), 0, storage);
}

void* ReallocOnProcessHeap(void* storage, size_t bytes) {
    if (storage == nullptr)
        return HeapAlloc(GetProcessHeap(), 0, bytes);
    return HeapReAlloc(GetProcessHeap(), 0, storage, bytes);
}

}  // namespace

CHeapBuffer::CHeapBuffer() noexcept : CBaseBuffer(&FreeFromProcessHeap, &ReallocOnProcessHeap) {}

CHeapBuffer* CHeapBuffer::Create() noexcept {
    void* memory = HeapAlloc(GetProcessHeap(), 0, sizeof(CHeapBuffer));
    if (memory == nullptr)
        return nullptr;
    return new (memory) CHeapBuffer;
}

void CHeapBuffer::Destroy(CHeapBuffer* buffer) noexcept {
    if (buffer == nullptr)
        return;
    buffer->~CHeapBuffer();
    HeapFree(GetProcessHeap(), 0, buffer);
}
