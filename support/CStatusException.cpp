#include "support/CStatusException.h"

const char* CStatusException::what() const noexcept {
    return "ZQSubtitle status exception";
}

void ZQThrowStatus(HRESULT hr) {
    // Throwing a success would let a barrier report success for a failure.
    if (SUCCEEDED(hr))
        hr = E_UNEXPECTED;
    throw CStatusException(hr);
}
