// The English text of a status, from the runtime's own table.
#include "common/StatusTable.h"

extern "C" {

DWORD ZQGetStatusText(HRESULT hr, WCHAR* buffer, DWORD capacity) {
    if (const zqplatform::StatusEntry* entry = zqplatform::FindStatusEntry(hr))
        return zqplatform::CopyStatusText(entry->m_text, buffer, capacity);
    // A status without a text still gets one, naming its number.
    return zqplatform::CopyGenericStatusText(hr, buffer, capacity);
}

}  // extern "C"
