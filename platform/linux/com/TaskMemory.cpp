// Task memory: the allocator shared by callers and callees across interfaces.
#include <cstdlib>

#include "zqplatform/oleauto.h"

extern "C" {

LPVOID CoTaskMemAlloc(size_t cb) {
    // A zero-byte request still answers a distinct pointer that can be freed.
    return std::malloc(cb == 0 ? 1 : cb);
}

LPVOID CoTaskMemRealloc(LPVOID pv, size_t cb) {
    if (pv != nullptr && cb == 0) {
        std::free(pv);
        return nullptr;
    }
    return std::realloc(pv, cb == 0 ? 1 : cb);
}

void CoTaskMemFree(LPVOID pv) {
    std::free(pv);
}

}  // extern "C"
