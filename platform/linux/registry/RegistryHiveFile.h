// One hive: its file on disk and the tree last read from it.
#pragma once

#include <functional>
#include <string>

#include "registry/RegistryNode.h"

namespace zqplatform {

/// A hive file and its cached tree. The registry owns one per hive path and
/// calls it only under the registry's own lock; processes share the file
/// through an exclusive lock on "<file>.lock" for every change.
class RegistryHiveFile {
public:
    explicit RegistryHiveFile(std::string path) : m_path(std::move(path)) {}

    RegistryHiveFile(const RegistryHiveFile&) = delete;
    RegistryHiveFile& operator=(const RegistryHiveFile&) = delete;

    const std::string& Path() const noexcept { return m_path; }

    /// Brings the tree up to date if the file changed since it was read; a
    /// missing file is an empty hive. ERROR_BADDB for a file that isn't a
    /// whole hive, or the error of reading it.
    LONG Refresh();
    /// The tree as of the last Refresh or Modify.
    const RegistryNode& Root() const noexcept { return m_root; }

    /// Runs `change` on the file's present tree under the exclusive lock and,
    /// if it answers ERROR_SUCCESS, writes the result to a temporary file,
    /// flushes it and renames it over the hive. The answer of `change`, or the
    /// error of the lock or the write (the hive file then stays as it was).
    LONG Modify(const std::function<LONG(RegistryNode&)>& change);

private:
    /// What identifies one version of the file: a rename always gives a new
    /// inode, and the times and size tell a reused inode apart.
    struct Stamp {
        bool m_exists = false;
        unsigned long long m_device = 0;
        unsigned long long m_inode = 0;
        long long m_size = 0;
        long long m_modifiedSeconds = 0;
        long m_modifiedNanoseconds = 0;
        long long m_changedSeconds = 0;
        long m_changedNanoseconds = 0;
        bool operator==(const Stamp&) const = default;
    };

    LONG Load(bool force);
    LONG Write(const std::string& text);

    const std::string m_path;
    RegistryNode m_root;
    Stamp m_stamp;
    bool m_loaded = false;
};

}  // namespace zqplatform
