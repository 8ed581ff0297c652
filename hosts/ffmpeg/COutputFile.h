// An output file that appears whole or not at all.
#pragma once

#include <memory>
#include <string>

#include "hosts/ffmpeg/CByteSink.h"
#include "hosts/ffmpeg/CHostStatus.h"

/// A file written under a temporary name beside its final one
/// ("OUTPUT.tmp-XXXXXX") and renamed over it by Commit, after its bytes
/// have reached the disk. Until then an existing file of the final name
/// stays as it was; an object destroyed without Commit removes the
/// temporary file, so a failure leaves nothing behind. Owned by whoever
/// writes it; one thread at a time.
class COutputFile final : public CByteSink {
public:
    ~COutputFile() override;
    COutputFile(const COutputFile&) = delete;
    COutputFile& operator=(const COutputFile&) = delete;

    /// Creates the temporary file beside `path`. A failure names `path`
    /// (a missing folder, missing rights, a full disk).
    static CHostStatus Create(const std::string& path, std::unique_ptr<COutputFile>& out);

    const std::string& TemporaryPath() const noexcept { return m_temporaryPath; }

    HRESULT Write(const uint8_t* data, size_t size) override;
    HRESULT SeekTo(int64_t offset) override;
    int64_t Position() const override { return m_position; }
    int64_t Length() const override { return m_length; }

    /// Flushes the file to the disk, closes it and renames it over the final
    /// name, replacing a file there. On failure the temporary file is
    /// removed and the final name keeps what it had.
    CHostStatus Commit();

    /// Removes the temporary file at once, as the destructor would: for a
    /// caller that must not wait for the end of a scope (Ctrl-C).
    void Abandon() noexcept;

private:
    COutputFile(std::string path, std::string temporaryPath, HANDLE file)
        : m_path(std::move(path)), m_temporaryPath(std::move(temporaryPath)), m_file(file) {}

    const std::string m_path;
    const std::string m_temporaryPath;
    // Null once closed.
    HANDLE m_file;
    int64_t m_position = 0;
    int64_t m_length = 0;
    // The temporary name still holds a file of ours, to remove on failure.
    bool m_temporaryExists = true;
};
