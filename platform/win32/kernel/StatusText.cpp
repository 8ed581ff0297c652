// The text of a status: the system's, else the runtime's own English one.
#include "common/StatusTable.h"
#include "system/SystemCalls.h"

extern "C" {

DWORD ZQGetStatusText(HRESULT hr, WCHAR* buffer, DWORD capacity) {
    if (const uint32_t length = zqplatform::win32::SystemStatusText(hr, buffer, capacity))
        return length;
    // Statuses the system has no text for, such as the media framework's
    // where it isn't installed, get the runtime's own.
    if (const zqplatform::StatusEntry* entry = zqplatform::FindStatusEntry(hr))
        return zqplatform::CopyStatusText(entry->m_text, buffer, capacity);
    return zqplatform::CopyGenericStatusText(hr, buffer, capacity);
}

}  // extern "C"
