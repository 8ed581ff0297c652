#include "hosts/ffmpeg/COutputFile.h"

#include <algorithm>
#include <limits>
#include <random>

#include "zqplatform/fileapi.h"
#include "zqplatform/status.h"
#include "zqplatform/sync.h"
#include "zqplatform/utf.h"

namespace {

constexpr char kSuffixLetters[] = "abcdefghijklmnopqrstuvwxyz0123456789";
constexpr int kSuffixLength = 6;
// Names tried before giving up when others keep taking them.
constexpr int kNameAttempts = 32;
constexpr size_t kLargestWrite = std::numeric_limits<DWORD>::max() / 2;

HRESULT LastStatus() {
    const DWORD error = GetLastError();
    return HRESULT_FROM_WIN32(error != ERROR_SUCCESS ? error : ERROR_IO_DEVICE);
}

std::string RandomSuffix() {
    static thread_local std::mt19937 generator{std::random_device{}()};
    std::uniform_int_distribution<size_t> pick(0, sizeof kSuffixLetters - 2);
    std::string suffix;
    for (int i = 0; i < kSuffixLength; ++i)
        suffix += kSuffixLetters[pick(generator)];
    return suffix;
}

}  // namespace

COutputFile::~COutputFile() {
    Abandon();
}

CHostStatus COutputFile::Create(const std::string& path, std::unique_ptr<COutputFile>& out) {
    for (int attempt = 0; attempt < kNameAttempts; ++attempt) {
        std::string temporaryPath = path + ".tmp-" + RandomSuffix();
        // CREATE_NEW: never a file that somebody else has just made.
        HANDLE file = CreateFileW(ZQUtf16FromUtf8(temporaryPath).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                  CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
        if (file != INVALID_HANDLE_VALUE) {
            out.reset(new COutputFile(path, std::move(temporaryPath), file));
            return {};
        }
        if (GetLastError() != ERROR_FILE_EXISTS && GetLastError() != ERROR_ALREADY_EXISTS)
            return CHostStatus::FromStatus(path, "can't create the output beside it", LastStatus());
    }
    return CHostStatus::Failure(path, "can't find a free temporary name beside it");
}

HRESULT COutputFile::Write(const uint8_t* data, size_t size) {
    if (m_file == nullptr)
        return E_UNEXPECTED;
    while (size > 0) {
        const size_t part = std::min(size, kLargestWrite);
        DWORD written = 0;
        if (!WriteFile(m_file, data, static_cast<DWORD>(part), &written, nullptr))
            return LastStatus();
        data += part;
        size -= part;
        m_position += static_cast<int64_t>(part);
    }
    m_length = std::max(m_length, m_position);
    return S_OK;
}

HRESULT COutputFile::SeekTo(int64_t offset) {
    if (m_file == nullptr)
        return E_UNEXPECTED;
    if (!SetFilePointerEx(m_file, LARGE_INTEGER{offset}, nullptr, FILE_BEGIN))
        return LastStatus();
    m_position = offset;
    return S_OK;
}

CHostStatus COutputFile::Commit() {
    if (m_file == nullptr)
        return CHostStatus::Failure(m_path, "the output was already closed");
    const bool flushed = FlushFileBuffers(m_file);
    const HRESULT flushStatus = flushed ? S_OK : LastStatus();
    CloseHandle(m_file);
    m_file = nullptr;
    if (!flushed) {
        Abandon();
        return CHostStatus::FromStatus(m_path, "can't write the output to the disk", flushStatus);
    }
    if (!MoveFileExW(ZQUtf16FromUtf8(m_temporaryPath).c_str(), ZQUtf16FromUtf8(m_path).c_str(),
                     MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
        const HRESULT hr = LastStatus();
        Abandon();
        return CHostStatus::FromStatus(m_path, "can't put the output in place", hr);
    }
    m_temporaryExists = false;
    return {};
}

void COutputFile::Abandon() noexcept {
    if (m_file != nullptr) {
        CloseHandle(m_file);
        m_file = nullptr;
    }
    if (m_temporaryExists) {
        DeleteFileW(ZQUtf16FromUtf8(m_temporaryPath).c_str());
        m_temporaryExists = false;
    }
}
