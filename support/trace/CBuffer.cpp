#include "support/trace/CBuffer.h"

#include <cstdlib>

namespace {

void FreeGeneral(void* storage) {
    std::free(storage);
}

void* ReallocGeneral(void* storage, size_t bytes) {
    return std::realloc(storage, bytes);
}

}  // namespace

CBuffer::CBuffer() noexcept : CBaseBuffer(&FreeGeneral, &ReallocGeneral) {}
