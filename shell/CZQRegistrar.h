// Runs a registry script: the text language in which the module describes
// its registry entries, in register or unregister mode.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "zqplatform/registry.h"

/// A registrar for one run of one script, owned by its caller on one thread.
/// Tokens are separated by white space: a word, a brace, an equals sign, or
/// an apostrophe string (which may hold white space).
///
/// The language: a script is a list of root keys (HKCR, HKCU, HKLM or their
/// long names), each followed by a braced list of keys. A key is
///     [NoRemove | ForceRemove | Delete] name [= s 'default'] [{ ... }]
/// and inside a key's braces `val name = s 'text'` sets a named value. Names
/// are bare words or apostrophe strings; in a string two apostrophes stand for
/// one. `d 'number'` sets a number instead of text. Every %NAME% of the text
/// is replaced before parsing by the value given to AddReplacement, without
/// regard to case; %% is a single percent sign.
///
/// Register mode deletes a ForceRemove key first (with all below it) and a
/// Delete key only, then creates the keys and sets the values. Unregister mode
/// deletes every key that the script names with all below it, except NoRemove
/// keys, whose named values and subkeys it handles one by one; a key with a
/// NoRemove key below it stays, too. HKCR stands for HKCU\Software\Classes
/// with per-user registration and for HKLM\Software\Classes otherwise.
class CZQRegistrar {
public:
    CZQRegistrar() = default;

    /// Replaces %name% by `value`, as it stands (a value that may hold an
    /// apostrophe and is used inside a string must have it doubled).
    void AddReplacement(std::u16string_view name, std::u16string_view value);
    void SetPerUser(bool perUser) noexcept { m_perUser = perUser; }

    /// Parses the whole script first: E_INVALIDARG for a syntax error or an
    /// unknown replacement, with nothing changed. Then applies it: the
    /// registry's first failure as HRESULT_FROM_WIN32, ending the run with
    /// what was done before it left in place.
    HRESULT Register(std::u16string_view script);
    HRESULT Unregister(std::u16string_view script);

    /// One key of a parsed script.
    struct Key {
        enum class Kind { Normal, NoRemove, ForceRemove, Delete };
        Kind m_kind = Kind::Normal;
        std::u16string m_name;
        bool m_hasDefault = false;
        DWORD m_defaultType = REG_SZ;
        std::u16string m_default;
        struct Value {
            std::u16string m_name;
            DWORD m_type;
            std::u16string m_text;
        };
        std::vector<Value> m_values;
        std::vector<Key> m_subkeys;
    };
    struct Root {
        HKEY m_key;
        bool m_classes;
        std::vector<Key> m_subkeys;
    };

    /// The parse of `script` after replacement; E_INVALIDARG on any error.
    HRESULT Parse(std::u16string_view script, std::vector<Root>& roots) const;

private:
    HRESULT Run(std::u16string_view script, bool install);
    HRESULT OpenRoot(const Root& root, bool install, HKEY& key, bool& missing) const;

    // Folded name -> value.
    std::map<std::u16string, std::u16string> m_replacements;
    bool m_perUser = false;
};
