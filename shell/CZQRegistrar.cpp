#include "shell/CZQRegistrar.h"

#include "support/CStatusException.h"

namespace {

using Key = CZQRegistrar::Key;

constexpr HRESULT kScriptError = E_INVALIDARG;
constexpr const char16_t* kClassesPath = u"Software\\Classes";

std::u16string Fold(std::u16string_view text) {
    std::u16string folded(text);
    for (char16_t& c : folded)
        if (c >= u'A' && c <= u'Z')
            c = static_cast<char16_t>(c - u'A' + u'a');
    return folded;
}

bool SameWord(std::u16string_view a, std::u16string_view b) {
    return Fold(a) == Fold(b);
}

HRESULT FromRegistry(LSTATUS status) {
    return status == ERROR_SUCCESS ? S_OK : HRESULT_FROM_WIN32(static_cast<uint32_t>(status));
}

/// A key opened for the length of a scope.
class ScopedKey {
public:
    ScopedKey() = default;
    ~ScopedKey() {
        if (m_key != nullptr)
            RegCloseKey(m_key);
    }
    ScopedKey(const ScopedKey&) = delete;
    ScopedKey& operator=(const ScopedKey&) = delete;
    HKEY* Receive() noexcept { return &m_key; }
    HKEY Get() const noexcept { return m_key; }

private:
    HKEY m_key = nullptr;
};

struct Token {
    enum class Kind { Word, String, Open, Close, Equals, End };
    Kind m_kind;
    std::u16string m_text;
};

bool IsSpace(char16_t c) {
    return c == u' ' || c == u'\t' || c == u'\r' || c == u'\n' || c == u'\f' || c == u'\v';
}

/// Splits the replaced script into tokens; false for an unterminated string.
bool Tokenize(std::u16string_view text, std::vector<Token>& tokens) {
    size_t pos = 0;
    while (true) {
        while (pos < text.size() && IsSpace(text[pos]))
            ++pos;
        if (pos == text.size()) {
            tokens.push_back({Token::Kind::End, {}});
            return true;
        }
        if (text[pos] == u'\'') {
            std::u16string content;
            ++pos;
            while (true) {
                if (pos == text.size())
                    return false;
                if (text[pos] == u'\'') {
                    // Two apostrophes are one apostrophe of the text.
                    if (pos + 1 < text.size() && text[pos + 1] == u'\'') {
                        content += u'\'';
                        pos += 2;
                        continue;
                    }
                    ++pos;
                    break;
                }
                content += text[pos++];
            }
            tokens.push_back({Token::Kind::String, std::move(content)});
            continue;
        }
        // Words run to the next white space, so a class id in braces is one
        // word; a brace or equals sign alone is punctuation.
        size_t start = pos;
        while (pos < text.size() && !IsSpace(text[pos]))
            ++pos;
        std::u16string_view word = text.substr(start, pos - start);
        Token::Kind kind = word == u"{"   ? Token::Kind::Open
                           : word == u"}" ? Token::Kind::Close
                           : word == u"=" ? Token::Kind::Equals
                                          : Token::Kind::Word;
        tokens.push_back({kind, kind == Token::Kind::Word ? std::u16string(word) : std::u16string()});
    }
}

/// A recursive-descent parser over the tokens; every method answers false
/// on a syntax error.
class ScriptParser {
public:
    explicit ScriptParser(const std::vector<Token>& tokens) : m_tokens(tokens) {}

    bool ParseRoots(std::vector<CZQRegistrar::Root>& roots) {
        while (Peek().m_kind != Token::Kind::End) {
            const Token& name = Next();
            CZQRegistrar::Root root{};
            if (name.m_kind != Token::Kind::Word || !RootOf(name.m_text, root))
                return false;
            if (Next().m_kind != Token::Kind::Open || !ParseBody(root.m_subkeys, nullptr))
                return false;
            roots.push_back(std::move(root));
        }
        return true;
    }

private:
    static bool RootOf(const std::u16string& word, CZQRegistrar::Root& root) {
        if (SameWord(word, u"HKCR") || SameWord(word, u"HKEY_CLASSES_ROOT")) {
            root = {HKEY_CLASSES_ROOT, true, {}};
            return true;
        }
        if (SameWord(word, u"HKCU") || SameWord(word, u"HKEY_CURRENT_USER")) {
            root = {HKEY_CURRENT_USER, false, {}};
            return true;
        }
        if (SameWord(word, u"HKLM") || SameWord(word, u"HKEY_LOCAL_MACHINE")) {
            root = {HKEY_LOCAL_MACHINE, false, {}};
            return true;
        }
        return false;
    }

    const Token& Peek() const { return m_tokens[m_pos]; }
    const Token& Next() {
        const Token& token = m_tokens[m_pos];
        if (token.m_kind != Token::Kind::End)
            ++m_pos;
        return token;
    }

    /// Keys and values up to the closing brace. `values` is null at a root,
    /// where no value can stand.
    bool ParseBody(std::vector<Key>& subkeys, std::vector<Key::Value>* values) {
        while (true) {
            const Token& token = Peek();
            if (token.m_kind == Token::Kind::Close) {
                Next();
                return true;
            }
            if (token.m_kind == Token::Kind::Word && SameWord(token.m_text, u"val")) {
                Next();
                if (values == nullptr || !ParseValue(*values))
                    return false;
                continue;
            }
            Key key;
            if (!ParseKey(key))
                return false;
            subkeys.push_back(std::move(key));
        }
    }

    bool ParseName(std::u16string& name) {
        const Token& token = Next();
        if (token.m_kind != Token::Kind::Word && token.m_kind != Token::Kind::String)
            return false;
        name = token.m_text;
        return !name.empty();
    }

    /// "= s 'text'" or "= d 'number'" after the name.
    bool ParseData(DWORD& type, std::u16string& text) {
        if (Next().m_kind != Token::Kind::Equals)
            return false;
        const Token& kind = Next();
        if (kind.m_kind != Token::Kind::Word)
            return false;
        if (SameWord(kind.m_text, u"s"))
            type = REG_SZ;
        else if (SameWord(kind.m_text, u"d"))
            type = REG_DWORD;
        else
            return false;
        const Token& value = Next();
        if (value.m_kind != Token::Kind::String)
            return false;
        text = value.m_text;
        return type == REG_SZ || IsNumber(text);
    }

    static bool IsNumber(const std::u16string& text) {
        if (text.empty() || text.size() > 10)
            return false;
        uint64_t number = 0;
        for (char16_t c : text) {
            if (c < u'0' || c > u'9')
                return false;
            number = number * 10 + static_cast<uint64_t>(c - u'0');
        }
        return number <= 0xFFFFFFFFu;
    }

    bool ParseValue(std::vector<Key::Value>& values) {
        Key::Value value{};
        if (!ParseName(value.m_name) || !ParseData(value.m_type, value.m_text))
            return false;
        values.push_back(std::move(value));
        return true;
    }

    bool ParseKey(Key& key) {
        const Token& first = Peek();
        if (first.m_kind == Token::Kind::Word) {
            if (SameWord(first.m_text, u"NoRemove"))
                key.m_kind = Key::Kind::NoRemove;
            else if (SameWord(first.m_text, u"ForceRemove"))
                key.m_kind = Key::Kind::ForceRemove;
            else if (SameWord(first.m_text, u"Delete"))
                key.m_kind = Key::Kind::Delete;
            if (key.m_kind != Key::Kind::Normal)
                Next();
        }
        if (!ParseName(key.m_name) || key.m_name.find(u'\\') != std::u16string::npos)
            return false;
        if (Peek().m_kind == Token::Kind::Equals) {
            key.m_hasDefault = true;
            if (!ParseData(key.m_defaultType, key.m_default))
                return false;
        }
        if (Peek().m_kind != Token::Kind::Open)
            return true;
        Next();
        return ParseBody(key.m_subkeys, &key.m_values);
    }

    const std::vector<Token>& m_tokens;
    size_t m_pos = 0;
};

LSTATUS SetData(HKEY key, const std::u16string& name, DWORD type, const std::u16string& text) {
    const WCHAR* valueName = name.empty() ? nullptr : name.c_str();
    if (type == REG_DWORD) {
        DWORD number = static_cast<DWORD>(std::stoul(std::string(text.begin(), text.end())));
        return RegSetValueExW(key, valueName, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), sizeof number);
    }
    return RegSetValueExW(key, valueName, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                          static_cast<DWORD>((text.size() + 1) * sizeof(WCHAR)));
}

LSTATUS DeleteTreeIfThere(HKEY parent, const std::u16string& name) {
    LSTATUS status = RegDeleteTreeW(parent, name.c_str());
    return status == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : status;
}

HRESULT RegisterKey(HKEY parent, const Key& key) {
    if (key.m_kind == Key::Kind::Delete)
        return FromRegistry(DeleteTreeIfThere(parent, key.m_name));
    if (key.m_kind == Key::Kind::ForceRemove) {
        HRESULT hr = FromRegistry(DeleteTreeIfThere(parent, key.m_name));
        if (FAILED(hr))
            return hr;
    }
    ScopedKey opened;
    HRESULT hr = FromRegistry(RegCreateKeyExW(parent, key.m_name.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                              KEY_ALL_ACCESS, nullptr, opened.Receive(), nullptr));
    if (FAILED(hr))
        return hr;
    if (key.m_hasDefault) {
        hr = FromRegistry(SetData(opened.Get(), u"", key.m_defaultType, key.m_default));
        if (FAILED(hr))
            return hr;
    }
    for (const Key::Value& value : key.m_values) {
        hr = FromRegistry(SetData(opened.Get(), value.m_name, value.m_type, value.m_text));
        if (FAILED(hr))
            return hr;
    }
    for (const Key& subkey : key.m_subkeys) {
        hr = RegisterKey(opened.Get(), subkey);
        if (FAILED(hr))
            return hr;
    }
    return S_OK;
}

bool HoldsNoRemove(const Key& key) {
    for (const Key& subkey : key.m_subkeys)
        if (subkey.m_kind == Key::Kind::NoRemove || HoldsNoRemove(subkey))
            return true;
    return false;
}

HRESULT UnregisterKey(HKEY parent, const Key& key);

/// Unregisters what the script names inside `key`, which stays.
HRESULT UnregisterInside(HKEY parent, const Key& key) {
    ScopedKey opened;
    LSTATUS status = RegOpenKeyExW(parent, key.m_name.c_str(), 0, KEY_ALL_ACCESS, opened.Receive());
    if (status == ERROR_FILE_NOT_FOUND)
        return S_OK;
    if (status != ERROR_SUCCESS)
        return FromRegistry(status);
    for (const Key::Value& value : key.m_values) {
        status = RegDeleteValueW(opened.Get(), value.m_name.c_str());
        if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND)
            return FromRegistry(status);
    }
    for (const Key& subkey : key.m_subkeys) {
        HRESULT hr = UnregisterKey(opened.Get(), subkey);
        if (FAILED(hr))
            return hr;
    }
    return S_OK;
}

HRESULT UnregisterKey(HKEY parent, const Key& key) {
    // A shared key, or one that holds a shared key, stays; the rest of what
    // the script names goes with everything below it.
    if (key.m_kind == Key::Kind::NoRemove || HoldsNoRemove(key))
        return UnregisterInside(parent, key);
    return FromRegistry(DeleteTreeIfThere(parent, key.m_name));
}

}  // namespace

void CZQRegistrar::AddReplacement(std::u16string_view name, std::u16string_view value) {
    m_replacements[Fold(name)] = std::u16string(value);
}

HRESULT CZQRegistrar::Parse(std::u16string_view script, std::vector<Root>& roots) const {
    roots.clear();
    return ZQCallWithBarrier([&]() -> HRESULT {
        std::u16string replaced;
        for (size_t pos = 0; pos < script.size();) {
            if (script[pos] != u'%') {
                replaced += script[pos++];
                continue;
            }
            size_t end = script.find(u'%', pos + 1);
            if (end == std::u16string_view::npos)
                return kScriptError;
            if (end == pos + 1) {
                replaced += u'%';
            } else {
                auto found = m_replacements.find(Fold(script.substr(pos + 1, end - pos - 1)));
                if (found == m_replacements.end())
                    return kScriptError;
                replaced += found->second;
            }
            pos = end + 1;
        }
        std::vector<Token> tokens;
        if (!Tokenize(replaced, tokens))
            return kScriptError;
        ScriptParser parser(tokens);
        if (!parser.ParseRoots(roots)) {
            roots.clear();
            return kScriptError;
        }
        return S_OK;
    });
}

HRESULT CZQRegistrar::Register(std::u16string_view script) {
    return Run(script, true);
}

HRESULT CZQRegistrar::Unregister(std::u16string_view script) {
    return Run(script, false);
}

HRESULT CZQRegistrar::OpenRoot(const Root& root, bool install, HKEY& key, bool& missing) const {
    key = nullptr;
    missing = false;
    if (!root.m_classes) {
        key = root.m_key;
        return S_OK;
    }
    // The classes of one registration go to one hive: the user's for a
    // per-user registration, else the machine's, never split by the merged view.
    HKEY hive = m_perUser ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE;
    LSTATUS status = install ? RegCreateKeyExW(hive, kClassesPath, 0, nullptr, REG_OPTION_NON_VOLATILE,
                                               KEY_ALL_ACCESS, nullptr, &key, nullptr)
                             : RegOpenKeyExW(hive, kClassesPath, 0, KEY_ALL_ACCESS, &key);
    if (!install && status == ERROR_FILE_NOT_FOUND) {
        missing = true;
        return S_OK;
    }
    return FromRegistry(status);
}

HRESULT CZQRegistrar::Run(std::u16string_view script, bool install) {
    std::vector<Root> roots;
    HRESULT hr = Parse(script, roots);
    if (FAILED(hr))
        return hr;
    return ZQCallWithBarrier([&]() -> HRESULT {
        for (const Root& root : roots) {
            HKEY key = nullptr;
            bool missing = false;
            HRESULT opened = OpenRoot(root, install, key, missing);
            if (FAILED(opened))
                return opened;
            if (missing)
                continue;
            HRESULT result = S_OK;
            for (const Key& subkey : root.m_subkeys) {
                result = install ? RegisterKey(key, subkey) : UnregisterKey(key, subkey);
                if (FAILED(result))
                    break;
            }
            if (key != root.m_key)
                RegCloseKey(key);
            if (FAILED(result))
                return result;
        }
        return S_OK;
    });
}
