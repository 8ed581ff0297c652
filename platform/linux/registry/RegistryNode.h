// A hive's keys and values in memory, and their text form on disk.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "zqplatform/types.h"

namespace zqplatform {

/// A value of a key: its name as given (empty for the default value), its
/// type and its bytes.
struct RegistryValue {
    std::u16string m_name;
    DWORD m_type = 0;
    std::vector<BYTE> m_data;
};

/// One key of a hive, owning its subkeys. Names are kept as given and found
/// without regard to ASCII case, so the maps are keyed by the folded name.
/// Not thread-safe: the hive that owns the tree guards it.
class RegistryNode {
public:
    RegistryNode() = default;
    explicit RegistryNode(std::u16string name) : m_name(std::move(name)) {}

    RegistryNode(const RegistryNode&) = delete;
    RegistryNode& operator=(const RegistryNode&) = delete;

    const std::u16string& Name() const noexcept { return m_name; }

    /// The key at `path` below this one (this one for an empty path), or null.
    RegistryNode* Find(const std::vector<std::u16string>& path) noexcept;
    const RegistryNode* Find(const std::vector<std::u16string>& path) const noexcept;
    /// The key at `path`, made with the keys on its way if missing; `*created`
    /// tells whether the last one was new.
    RegistryNode& Create(const std::vector<std::u16string>& path, bool* created);

    /// Removes the direct subkey `name` with all below it; false if absent.
    bool RemoveChild(std::u16string_view name);
    void Clear();

    const RegistryValue* FindValue(std::u16string_view name) const noexcept;
    void SetValue(RegistryValue value);
    bool RemoveValue(std::u16string_view name);

    bool HasChildren() const noexcept { return !m_children.empty(); }
    /// Subkeys in the order of their folded names.
    std::vector<const RegistryNode*> Children() const;
    std::vector<const RegistryValue*> Values() const;

    /// The text form of the tree below this key (this key's own name is not
    /// part of it): a header line, one "[path]" line per key followed by its
    /// values, and an end line, so that a cut file is recognised.
    std::string Serialize() const;
    /// Replaces this tree with the one described by `text`; false (and this
    /// tree left empty) if the text is not a whole hive.
    bool Parse(std::string_view text);

private:
    void SerializeInto(std::string& out, const std::u16string& path) const;

    std::u16string m_name;
    std::map<std::u16string, std::unique_ptr<RegistryNode>> m_children;
    std::map<std::u16string, RegistryValue> m_values;
};

/// A name folded for comparison without regard to ASCII case.
std::u16string FoldRegistryName(std::u16string_view name);

/// Splits a key path at its backslashes. False for a path that starts or ends
/// with one, has an empty part or a part over 255 characters. Null or empty
/// gives no parts.
bool SplitRegistryPath(const WCHAR* path, std::vector<std::u16string>& parts);

}  // namespace zqplatform
