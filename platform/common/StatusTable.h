// The statuses the runtime knows by name and text, shared by both backends.
#pragma once

#include "zqplatform/status.h"

namespace zqplatform {

struct StatusEntry {
    HRESULT m_status;
    const char* m_name;
    const char16_t* m_text;
};

/// The entry of `hr`, or null for a status without a name.
const StatusEntry* FindStatusEntry(HRESULT hr) noexcept;

/// Copies what fits of the NUL-terminated `text` into `buffer` (always
/// terminated when `capacity` isn't 0) and answers its full length.
DWORD CopyStatusText(const char16_t* text, WCHAR* buffer, DWORD capacity) noexcept;

/// "Unknown error 0x8XXXXXXX.", the text of a status that has none, copied
/// as by CopyStatusText.
DWORD CopyGenericStatusText(HRESULT hr, WCHAR* buffer, DWORD capacity) noexcept;

}  // namespace zqplatform
