#include "subrip/CMemoryByteSource.h"

#include <algorithm>
#include <cstring>

#include "zqplatform/fileio.h"

size_t CMemoryByteSource::Read(void* buffer, size_t count) {
    const size_t left = m_position < m_bytes.size() ? m_bytes.size() - m_position : 0;
    const size_t taken = std::min(count, left);
    if (taken > 0)
        std::memcpy(buffer, m_bytes.data() + m_position, taken);
    m_position += taken;
    return taken;
}

bool CMemoryByteSource::Seek(LONGLONG offset, int origin) {
    LONGLONG base = 0;
    if (origin == ZQ_SEEK_CUR)
        base = static_cast<LONGLONG>(m_position);
    else if (origin == ZQ_SEEK_END)
        base = static_cast<LONGLONG>(m_bytes.size());
    else if (origin != ZQ_SEEK_SET)
        return false;
    const LONGLONG position = base + offset;
    if (position < 0)
        return false;
    // Past the end is allowed, as for a file: reads there give nothing.
    m_position = static_cast<size_t>(position);
    return true;
}
