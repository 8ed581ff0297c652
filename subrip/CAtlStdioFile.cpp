#include "subrip/CAtlStdioFile.h"

CAtlStdioFile::~CAtlStdioFile() {
    Close();
}

HRESULT CAtlStdioFile::Seek(LONGLONG offset, int origin) {
    if (m_file == nullptr)
        return E_FAIL;
    return ZQStreamSeek(m_file, offset, origin) == 0 ? S_OK : E_FAIL;
}

HRESULT CAtlStdioFile::GetPosition(LONGLONG& position) {
    position = m_file == nullptr ? -1 : ZQStreamTell(m_file);
    return position < 0 ? E_FAIL : S_OK;
}

HRESULT CAtlStdioFile::GetLength(LONGLONG& length) {
    length = m_file == nullptr ? -1 : ZQStreamLength(m_file);
    return length < 0 ? E_FAIL : S_OK;
}

HRESULT CAtlStdioFile::Close() noexcept {
    ZQStreamClose(m_file);
    m_file = nullptr;
    return S_OK;
}
