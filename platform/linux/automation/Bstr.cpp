// BSTR: UTF-16 code units preceded by a uint32_t byte length and followed by
// a 16-bit NUL, allocated with the malloc family.
#include <cstdlib>
#include <cstring>

#include "zqplatform/oleauto.h"

namespace {

constexpr size_t kPrefixBytes = sizeof(uint32_t);
constexpr size_t kTerminatorBytes = sizeof(OLECHAR);
// The byte length must fit the prefix, with room for the prefix and the NUL.
constexpr size_t kMaxByteLength = 0xFFFFFFFFu - kPrefixBytes - kTerminatorBytes;

unsigned char* BlockOf(BSTR bstr) {
    return reinterpret_cast<unsigned char*>(bstr) - kPrefixBytes;
}

/// A BSTR of `byteLength` bytes, copied from `source` when given, else left
/// uninitialised; always terminated. Null when the length is too large or
/// memory is short.
BSTR AllocateBytes(const void* source, size_t byteLength) {
    if (byteLength > kMaxByteLength)
        return nullptr;
    // One extra byte so that an odd byte length still ends in a whole NUL code unit.
    auto* block = static_cast<unsigned char*>(std::malloc(kPrefixBytes + byteLength + kTerminatorBytes + 1));
    if (block == nullptr)
        return nullptr;
    uint32_t prefix = static_cast<uint32_t>(byteLength);
    std::memcpy(block, &prefix, kPrefixBytes);
    unsigned char* text = block + kPrefixBytes;
    if (source != nullptr)
        std::memmove(text, source, byteLength);
    std::memset(text + byteLength, 0, kTerminatorBytes + 1);
    return reinterpret_cast<BSTR>(text);
}

size_t Length(const OLECHAR* text) {
    size_t length = 0;
    while (text[length] != 0)
        ++length;
    return length;
}

}  // namespace

extern "C" {

BSTR SysAllocString(const OLECHAR* psz) {
    if (psz == nullptr)
        return nullptr;
    return AllocateBytes(psz, Length(psz) * sizeof(OLECHAR));
}

BSTR SysAllocStringLen(const OLECHAR* strIn, UINT ui) {
    return AllocateBytes(strIn, static_cast<size_t>(ui) * sizeof(OLECHAR));
}

BSTR SysAllocStringByteLen(const char* psz, UINT len) {
    return AllocateBytes(psz, len);
}

INT SysReAllocStringLen(BSTR* pbstr, const OLECHAR* psz, UINT len) {
    if (pbstr == nullptr)
        return FALSE;
    // Allocating before freeing lets `psz` point into the old string.
    BSTR fresh = SysAllocStringLen(psz, len);
    if (fresh == nullptr)
        return FALSE;
    SysFreeString(*pbstr);
    *pbstr = fresh;
    return TRUE;
}

void SysFreeString(BSTR bstrString) {
    if (bstrString == nullptr)
        return;
    std::free(BlockOf(bstrString));
}

UINT SysStringByteLen(BSTR bstr) {
    if (bstr == nullptr)
        return 0;
    uint32_t prefix;
    std::memcpy(&prefix, BlockOf(bstr), kPrefixBytes);
    return prefix;
}

UINT SysStringLen(BSTR pbstr) {
    return SysStringByteLen(pbstr) / sizeof(OLECHAR);
}

}  // extern "C"
