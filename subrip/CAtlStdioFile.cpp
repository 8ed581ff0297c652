#include "subrip/CAtlStdioFile.h"

HRESULT CAtlStdioFile::Seek(LONGLONG offset, int origin) {
    if (m_source == nullptr)
        return E_FAIL;
    return m_source->Seek(offset, origin) ? S_OK : E_FAIL;
}

HRESULT CAtlStdioFile::GetPosition(LONGLONG& position) {
    position = m_source == nullptr ? -1 : m_source->Tell();
    return position < 0 ? E_FAIL : S_OK;
}

HRESULT CAtlStdioFile::GetLength(LONGLONG& length) {
    length = m_source == nullptr ? -1 : m_source->Length();
    return length < 0 ? E_FAIL : S_OK;
}

HRESULT CAtlStdioFile::Close() noexcept {
    m_source.reset();
    return S_OK;
}
