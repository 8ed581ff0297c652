#include "registry/RegistryHiveFile.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kernel/RetryOnInterrupt.h"
#include "zqplatform/registry.h"

namespace zqplatform {

namespace {

/// A file descriptor closed at the end of its scope.
class FileDescriptor {
public:
    explicit FileDescriptor(int fd) noexcept : m_fd(fd) {}
    ~FileDescriptor() {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    int Get() const noexcept { return m_fd; }
    bool IsValid() const noexcept { return m_fd >= 0; }
    /// Closes now, answering whether close succeeded.
    bool Close() noexcept {
        int fd = m_fd;
        m_fd = -1;
        return ::close(fd) == 0;
    }

private:
    int m_fd;
};

LONG LastErrno() {
    return static_cast<LONG>(ZQWin32ErrorFromErrno(errno));
}

int OpenRetrying(const char* path, int flags, mode_t mode = 0) {
    return zqplatform::RetryOnInterrupt([&] { return ::open(path, flags | O_CLOEXEC, mode); });
}

std::string DirectoryOf(const std::string& path) {
    size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

/// Makes `directory` and its parents; false with errno set on failure.
bool MakeDirectories(const std::string& directory) {
    struct stat info {};
    if (::stat(directory.c_str(), &info) == 0)
        return S_ISDIR(info.st_mode) || (errno = ENOTDIR, false);
    std::string parent = DirectoryOf(directory);
    if (parent != directory && !MakeDirectories(parent))
        return false;
    return ::mkdir(directory.c_str(), 0755) == 0 || errno == EEXIST;
}

bool WriteAll(int fd, const std::string& text) {
    return zqplatform::WriteFully(fd, text.data(), text.size()) == text.size();
}

bool ReadAll(int fd, std::string& text) {
    text.clear();
    char block[16384];
    while (true) {
        const ssize_t count = zqplatform::RetryOnInterrupt([&] { return ::read(fd, block, sizeof block); });
        if (count < 0)
            return false;
        if (count == 0)
            return true;
        text.append(block, static_cast<size_t>(count));
    }
}

int LockExclusive(int fd) {
    return zqplatform::RetryOnInterrupt([&] { return ::flock(fd, LOCK_EX); });
}

}  // namespace

LONG RegistryHiveFile::Refresh() {
    return Load(false);
}

LONG RegistryHiveFile::Load(bool force) {
    FileDescriptor file(OpenRetrying(m_path.c_str(), O_RDONLY));
    if (!file.IsValid()) {
        if (errno != ENOENT && errno != ENOTDIR)
            return LastErrno();
        m_root.Clear();
        m_stamp = Stamp{};
        m_loaded = true;
        return ERROR_SUCCESS;
    }
    struct stat info {};
    if (::fstat(file.Get(), &info) != 0)
        return LastErrno();
    Stamp stamp{true,
                static_cast<unsigned long long>(info.st_dev),
                static_cast<unsigned long long>(info.st_ino),
                static_cast<long long>(info.st_size),
                static_cast<long long>(info.st_mtim.tv_sec),
                info.st_mtim.tv_nsec,
                static_cast<long long>(info.st_ctim.tv_sec),
                info.st_ctim.tv_nsec};
    if (!force && m_loaded && stamp == m_stamp)
        return ERROR_SUCCESS;
    std::string text;
    if (!ReadAll(file.Get(), text))
        return LastErrno();
    m_loaded = false;
    if (!m_root.Parse(text))
        return ERROR_BADDB;
    m_stamp = stamp;
    m_loaded = true;
    return ERROR_SUCCESS;
}

LONG RegistryHiveFile::Modify(const std::function<LONG(RegistryNode&)>& change) {
    if (!MakeDirectories(DirectoryOf(m_path)))
        return LastErrno();
    std::string lockPath = m_path + ".lock";
    FileDescriptor lock(OpenRetrying(lockPath.c_str(), O_RDWR | O_CREAT, 0644));
    if (!lock.IsValid() || LockExclusive(lock.Get()) != 0)
        return LastErrno();
    // Under the lock nobody else writes, so what is read now is what the
    // change applies to; another process's change since our last read is kept.
    LONG error = Load(true);
    if (error != ERROR_SUCCESS)
        return error;
    error = change(m_root);
    if (error != ERROR_SUCCESS) {
        m_loaded = false;  // the change may have touched the tree: read again
        return error;
    }
    error = Write(m_root.Serialize());
    if (error != ERROR_SUCCESS) {
        m_loaded = false;
        return error;
    }
    return Load(false);
}

LONG RegistryHiveFile::Write(const std::string& text) {
    // One temporary name is enough: only the holder of the lock writes it, and
    // a leftover from a killed writer is simply replaced.
    std::string temporary = m_path + ".tmp";
    FileDescriptor file(OpenRetrying(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644));
    if (!file.IsValid())
        return LastErrno();
    if (!WriteAll(file.Get(), text) || ::fsync(file.Get()) != 0 || !file.Close()) {
        LONG error = LastErrno();
        ::unlink(temporary.c_str());
        return error;
    }
    if (::rename(temporary.c_str(), m_path.c_str()) != 0) {
        LONG error = LastErrno();
        ::unlink(temporary.c_str());
        return error;
    }
    // The rename itself must reach the disk before the change counts as made.
    FileDescriptor directory(OpenRetrying(DirectoryOf(m_path).c_str(), O_RDONLY | O_DIRECTORY));
    if (directory.IsValid())
        ::fsync(directory.Get());
    return ERROR_SUCCESS;
}

}  // namespace zqplatform
