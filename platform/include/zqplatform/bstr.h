// The one owning BSTR type.
#pragma once

#include <cstddef>
#include <string_view>
#include <utility>

#include "zqplatform/oleauto.h"

/// Owns one BSTR, or null (which reads as the empty string). Verbs are
/// explicit, as CComPtr's are: Attach takes over a string the caller owns,
/// Detach hands it back, operator& frees first and exposes the slot for an
/// out parameter, Copy makes a new string for the caller. Not synchronised.
class CComBSTR {
public:
    CComBSTR() noexcept = default;
    /// A copy of `text`; null when memory runs out (see IsAllocated).
    explicit CComBSTR(std::u16string_view text) noexcept
        : m_str(SysAllocStringLen(text.data(), static_cast<UINT>(text.size()))) {}
    CComBSTR(const CComBSTR&) = delete;
    CComBSTR& operator=(const CComBSTR&) = delete;
    CComBSTR(CComBSTR&& other) noexcept : m_str(std::exchange(other.m_str, nullptr)) {}
    CComBSTR& operator=(CComBSTR&& other) noexcept {
        Attach(other.Detach());
        return *this;
    }
    ~CComBSTR() { SysFreeString(m_str); }

    /// Takes over `str`, freeing the string held before.
    void Attach(BSTR str) noexcept {
        if (str == m_str)
            return;
        SysFreeString(m_str);
        m_str = str;
    }
    /// Hands the string to the caller, who frees it; null is left behind.
    [[nodiscard]] BSTR Detach() noexcept { return std::exchange(m_str, nullptr); }
    /// Frees the string and gives the slot for an out parameter.
    BSTR* operator&() noexcept {
        Attach(nullptr);
        return &m_str;
    }
    /// A new copy for the caller; null for a null string or without memory.
    [[nodiscard]] BSTR Copy() const noexcept { return m_str ? SysAllocStringLen(m_str, Length()) : nullptr; }

    BSTR Get() const noexcept { return m_str; }
    operator BSTR() const noexcept { return m_str; }
    /// Units of text, without the NUL; 0 for null.
    UINT Length() const noexcept { return SysStringLen(m_str); }
    std::u16string_view View() const noexcept { return {m_str ? m_str : u"", Length()}; }
    /// False when a copy made from text found no memory.
    bool IsAllocated() const noexcept { return m_str != nullptr; }

private:
    BSTR m_str = nullptr;
};
