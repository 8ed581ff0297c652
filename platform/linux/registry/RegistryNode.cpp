#include "registry/RegistryNode.h"

#include <cstdio>

#include "files/NativePath.h"
#include "text/HexDigit.h"
#include "zqplatform/registry.h"

namespace zqplatform {

namespace {

constexpr std::string_view kHeaderLine = "; ZQPlatform registry hive 1 (written whole by the runtime)";
constexpr std::string_view kEndLine = "; end";
constexpr char16_t kEscape = u'%';

bool IsHighSurrogate(char16_t c) { return c >= 0xD800 && c <= 0xDBFF; }
bool IsLowSurrogate(char16_t c) { return c >= 0xDC00 && c <= 0xDFFF; }

void AppendEscapedUnit(std::string& out, char16_t c) {
    char text[8];
    std::snprintf(text, sizeof text, "%%%04X", static_cast<unsigned>(c));
    out += text;
}

/// UTF-8 of `text` in which the escape character, control characters, lone
/// surrogates and `delimiter` are written as %XXXX, so that every line of the
/// file is plain printable text and every string ends at its delimiter.
std::string Escape(std::u16string_view text, char16_t delimiter) {
    std::string out;
    std::u16string run;
    auto flush = [&] {
        out += NativePath(run.c_str());
        run.clear();
    };
    for (size_t i = 0; i < text.size(); ++i) {
        char16_t c = text[i];
        if (IsHighSurrogate(c) && i + 1 < text.size() && IsLowSurrogate(text[i + 1])) {
            run += c;
            run += text[++i];
            continue;
        }
        if (c < 0x20 || c == 0x7F || c == kEscape || c == delimiter || IsHighSurrogate(c) || IsLowSurrogate(c)) {
            flush();
            AppendEscapedUnit(out, c);
            continue;
        }
        run += c;
    }
    flush();
    return out;
}

/// Reads `digits` hex digits at `pos`; -1 if they aren't there.
long ReadHex(std::u16string_view text, size_t pos, size_t digits) {
    if (pos + digits > text.size())
        return -1;
    long value = 0;
    for (size_t k = 0; k < digits; ++k) {
        int digit = HexDigit(text[pos + k]);
        if (digit < 0)
            return -1;
        value = value * 16 + digit;
    }
    return value;
}

/// Undoes Escape on `text` up to (not including) `delimiter`, starting at
/// `pos` and leaving `pos` on the delimiter. False if there is none or an
/// escape is malformed.
bool Unescape(std::u16string_view text, size_t& pos, char16_t delimiter, std::u16string& out) {
    out.clear();
    while (pos < text.size() && text[pos] != delimiter) {
        if (text[pos] != kEscape) {
            out += text[pos++];
            continue;
        }
        long unit = ReadHex(text, pos + 1, 4);
        if (unit < 0)
            return false;
        out += static_cast<char16_t>(unit);
        pos += 5;
    }
    return pos < text.size();
}

bool IsWellFormedText(const std::vector<BYTE>& data) {
    if (data.size() < 2 || data.size() % 2 != 0)
        return false;
    size_t units = data.size() / 2;
    for (size_t i = 0; i < units; ++i) {
        char16_t c = static_cast<char16_t>(data[2 * i] | (data[2 * i + 1] << 8));
        if ((c == 0) != (i + 1 == units))
            return false;
    }
    return true;
}

std::u16string TextOf(const std::vector<BYTE>& data) {
    std::u16string text;
    for (size_t i = 0; i + 1 < data.size(); i += 2)
        text += static_cast<char16_t>(data[i] | (data[i + 1] << 8));
    if (!text.empty() && text.back() == 0)
        text.pop_back();
    return text;
}

std::vector<BYTE> BytesOf(const std::u16string& text) {
    std::vector<BYTE> data;
    data.reserve((text.size() + 1) * 2);
    for (char16_t c : text) {
        data.push_back(static_cast<BYTE>(c & 0xFF));
        data.push_back(static_cast<BYTE>(c >> 8));
    }
    data.push_back(0);
    data.push_back(0);
    return data;
}

void SerializeValue(std::string& out, const RegistryValue& value) {
    out += value.m_name.empty() ? std::string("@") : "\"" + Escape(value.m_name, u'"') + "\"";
    out += '=';
    if (value.m_type == REG_SZ && IsWellFormedText(value.m_data)) {
        out += "\"" + Escape(TextOf(value.m_data), u'"') + "\"\n";
        return;
    }
    char text[32];
    if (value.m_type == REG_DWORD && value.m_data.size() == 4) {
        uint32_t number = value.m_data[0] | (value.m_data[1] << 8) | (value.m_data[2] << 16) |
                          (static_cast<uint32_t>(value.m_data[3]) << 24);
        std::snprintf(text, sizeof text, "dword:%08x\n", number);
        out += text;
        return;
    }
    std::snprintf(text, sizeof text, "hex(%u):", value.m_type);
    out += text;
    for (size_t i = 0; i < value.m_data.size(); ++i) {
        std::snprintf(text, sizeof text, i == 0 ? "%02x" : ",%02x", value.m_data[i]);
        out += text;
    }
    out += '\n';
}

/// Parses the part after '=' of a value line.
bool ParseValueData(std::u16string_view text, RegistryValue& value) {
    if (!text.empty() && text[0] == u'"') {
        size_t pos = 1;
        std::u16string content;
        if (!Unescape(text, pos, u'"', content) || pos + 1 != text.size())
            return false;
        value.m_type = REG_SZ;
        value.m_data = BytesOf(content);
        return true;
    }
    if (text.starts_with(u"dword:")) {
        long digits = ReadHex(text, 6, 8);
        if (digits < 0 || text.size() != 14)
            return false;
        auto number = static_cast<uint32_t>(digits);
        value.m_type = REG_DWORD;
        value.m_data = {static_cast<BYTE>(number), static_cast<BYTE>(number >> 8), static_cast<BYTE>(number >> 16),
                        static_cast<BYTE>(number >> 24)};
        return true;
    }
    if (!text.starts_with(u"hex("))
        return false;
    size_t pos = 4;
    uint64_t type = 0;
    while (pos < text.size() && text[pos] >= u'0' && text[pos] <= u'9' && type <= 0xFFFFFFFFu)
        type = type * 10 + (text[pos++] - u'0');
    if (pos == 4 || type > 0xFFFFFFFFu || !text.substr(pos).starts_with(u"):"))
        return false;
    pos += 2;
    value.m_type = static_cast<DWORD>(type);
    value.m_data.clear();
    while (pos < text.size()) {
        long byte = ReadHex(text, pos, 2);
        if (byte < 0)
            return false;
        value.m_data.push_back(static_cast<BYTE>(byte));
        pos += 2;
        if (pos < text.size() && text[pos++] != u',')
            return false;
    }
    return true;
}

bool ParseValueLine(std::u16string_view line, RegistryNode& key) {
    RegistryValue value;
    size_t pos = 0;
    if (line.starts_with(u"@=")) {
        pos = 1;
    } else {
        if (line.empty() || line[0] != u'"')
            return false;
        pos = 1;
        if (!Unescape(line, pos, u'"', value.m_name) || value.m_name.empty())
            return false;
        ++pos;
        if (pos >= line.size() || line[pos] != u'=')
            return false;
    }
    if (!ParseValueData(line.substr(pos + 1), value))
        return false;
    key.SetValue(std::move(value));
    return true;
}

/// Parses "[a\b\c]" into its parts; "[]" can't occur, as the root has no line.
bool ParseKeyLine(std::u16string_view line, std::vector<std::u16string>& path) {
    path.clear();
    size_t pos = 1;
    std::u16string whole;
    if (!Unescape(line, pos, u']', whole) || pos + 1 != line.size())
        return false;
    // The escaped form keeps backslashes literal: they can't occur in a name.
    size_t start = 0;
    while (start <= whole.size()) {
        size_t end = whole.find(u'\\', start);
        if (end == std::u16string::npos)
            end = whole.size();
        if (end == start)
            return false;
        path.emplace_back(whole.substr(start, end - start));
        start = end + 1;
    }
    return true;
}

}  // namespace

std::u16string FoldRegistryName(std::u16string_view name) {
    std::u16string folded(name);
    for (char16_t& c : folded)
        if (c >= u'A' && c <= u'Z')
            c = static_cast<char16_t>(c - u'A' + u'a');
    return folded;
}

bool SplitRegistryPath(const WCHAR* path, std::vector<std::u16string>& parts) {
    parts.clear();
    if (path == nullptr || path[0] == 0)
        return true;
    std::u16string_view text(path);
    size_t start = 0;
    while (true) {
        size_t end = text.find(u'\\', start);
        std::u16string_view part = text.substr(start, end == std::u16string_view::npos ? end : end - start);
        if (part.empty() || part.size() > kZQMaxRegistryKeyName)
            return false;
        parts.emplace_back(part);
        if (end == std::u16string_view::npos)
            return true;
        start = end + 1;
    }
}

RegistryNode* RegistryNode::Find(const std::vector<std::u16string>& path) noexcept {
    return const_cast<RegistryNode*>(static_cast<const RegistryNode*>(this)->Find(path));
}

const RegistryNode* RegistryNode::Find(const std::vector<std::u16string>& path) const noexcept {
    const RegistryNode* node = this;
    for (const std::u16string& part : path) {
        auto it = node->m_children.find(FoldRegistryName(part));
        if (it == node->m_children.end())
            return nullptr;
        node = it->second.get();
    }
    return node;
}

RegistryNode& RegistryNode::Create(const std::vector<std::u16string>& path, bool* created) {
    RegistryNode* node = this;
    bool made = false;
    for (const std::u16string& part : path) {
        std::unique_ptr<RegistryNode>& child = node->m_children[FoldRegistryName(part)];
        made = !child;
        if (made)
            child = std::make_unique<RegistryNode>(part);
        node = child.get();
    }
    if (created)
        *created = made;
    return *node;
}

bool RegistryNode::RemoveChild(std::u16string_view name) {
    return m_children.erase(FoldRegistryName(name)) != 0;
}

void RegistryNode::Clear() {
    m_children.clear();
    m_values.clear();
}

const RegistryValue* RegistryNode::FindValue(std::u16string_view name) const noexcept {
    auto it = m_values.find(FoldRegistryName(name));
    return it == m_values.end() ? nullptr : &it->second;
}

void RegistryNode::SetValue(RegistryValue value) {
    std::u16string folded = FoldRegistryName(value.m_name);
    m_values[folded] = std::move(value);
}

bool RegistryNode::RemoveValue(std::u16string_view name) {
    return m_values.erase(FoldRegistryName(name)) != 0;
}

std::vector<const RegistryNode*> RegistryNode::Children() const {
    std::vector<const RegistryNode*> children;
    children.reserve(m_children.size());
    for (const auto& [folded, child] : m_children)
        children.push_back(child.get());
    return children;
}

std::vector<const RegistryValue*> RegistryNode::Values() const {
    std::vector<const RegistryValue*> values;
    values.reserve(m_values.size());
    for (const auto& [folded, value] : m_values)
        values.push_back(&value);
    return values;
}

std::string RegistryNode::Serialize() const {
    std::string out(kHeaderLine);
    out += '\n';
    for (const auto& [folded, child] : m_children)
        child->SerializeInto(out, child->m_name);
    out += kEndLine;
    out += '\n';
    return out;
}

void RegistryNode::SerializeInto(std::string& out, const std::u16string& path) const {
    out += "\n[" + Escape(path, u']') + "]\n";
    for (const auto& [folded, value] : m_values)
        SerializeValue(out, value);
    for (const auto& [folded, child] : m_children)
        child->SerializeInto(out, path + u'\\' + child->m_name);
}

bool RegistryNode::Parse(std::string_view text) {
    Clear();
    std::vector<std::u16string> lines;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string_view::npos)
            return false;  // every line of a whole file ends in a line end
        lines.push_back(WidePath(std::string(text.substr(start, end - start))));
        start = end + 1;
    }
    if (lines.size() < 2 || lines.front() != WidePath(std::string(kHeaderLine)) ||
        lines.back() != WidePath(std::string(kEndLine)))
        return false;
    RegistryNode* key = nullptr;
    std::vector<std::u16string> path;
    for (size_t i = 1; i + 1 < lines.size(); ++i) {
        std::u16string_view line = lines[i];
        if (line.empty())
            continue;
        bool ok = false;
        if (line[0] == u'[') {
            ok = ParseKeyLine(line, path);
            if (ok)
                key = &Create(path, nullptr);
        } else {
            ok = key != nullptr && ParseValueLine(line, *key);
        }
        if (!ok) {
            Clear();
            return false;
        }
    }
    return true;
}

}  // namespace zqplatform
