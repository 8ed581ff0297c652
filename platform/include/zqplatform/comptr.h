// The one smart pointer for interfaces, and the free query helper.
#pragma once

#include <cassert>
#include <cstddef>
#include <memory>
#include <type_traits>
#include <utility>

#include "zqplatform/unknwn.h"

/// Holds one reference to an interface pointer, or null. Verbs are explicit:
/// Attach takes over a reference the caller already owns, Detach hands it
/// back, operator& releases first and exposes the slot for an out parameter.
/// Not synchronised: one CComPtr is used by one thread at a time, like any
/// value; the object it points to counts atomically.
template <class T>
class CComPtr {
public:
    CComPtr() noexcept = default;
    CComPtr(std::nullptr_t) noexcept {}

    /// Borrows `p` and takes a reference of its own.
    CComPtr(T* p) noexcept : m_p(p) {
        if (m_p)
            m_p->AddRef();
    }

    CComPtr(const CComPtr& other) noexcept : CComPtr(other.m_p) {}

    CComPtr(CComPtr&& other) noexcept : m_p(std::exchange(other.m_p, nullptr)) {}

    /// From a pointer to a derived interface (or class): one more reference.
    template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    CComPtr(const CComPtr<U>& other) noexcept : CComPtr(static_cast<T*>(other.Get())) {}

    template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    CComPtr(CComPtr<U>&& other) noexcept : m_p(other.Detach()) {}

    ~CComPtr() { Release(); }

    /// Stores `p`: the new reference is taken before the old one goes, so that
    /// assigning a pointer that only the old object kept alive is safe.
    /// Assigning the pointer already held does nothing.
    CComPtr& operator=(T* p) noexcept {
        if (p == m_p)
            return *this;
        if (p)
            p->AddRef();
        T* old = std::exchange(m_p, p);
        if (old)
            old->Release();
        return *this;
    }

    CComPtr& operator=(std::nullptr_t) noexcept {
        Release();
        return *this;
    }

    CComPtr& operator=(const CComPtr& other) noexcept { return *this = other.m_p; }

    CComPtr& operator=(CComPtr&& other) noexcept {
        if (this == std::addressof(other))
            return *this;
        T* old = std::exchange(m_p, std::exchange(other.m_p, nullptr));
        if (old)
            old->Release();
        return *this;
    }

    template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    CComPtr& operator=(const CComPtr<U>& other) noexcept {
        return *this = static_cast<T*>(other.Get());
    }

    /// Takes over a reference the caller owns; releases the one held before.
    void Attach(T* p) noexcept {
        T* old = std::exchange(m_p, p);
        if (old)
            old->Release();
    }

    /// Hands the held reference to the caller and becomes null.
    [[nodiscard]] T* Detach() noexcept { return std::exchange(m_p, nullptr); }

    /// Releases the held reference, if any, and becomes null. The pointer is
    /// cleared before the release, so a destructor that reaches back into
    /// this CComPtr sees null.
    void Release() noexcept {
        T* old = std::exchange(m_p, nullptr);
        if (old)
            old->Release();
    }

    /// The slot for an out parameter: whatever was held is released first, so
    /// reusing a CComPtr for a second call can't leak.
    T** operator&() noexcept {
        Release();
        return &m_p;
    }

    /// Gives the caller its own reference. E_POINTER for a null `out`; a null
    /// CComPtr gives null and S_OK.
    HRESULT CopyTo(T** out) const noexcept {
        if (!out)
            return E_POINTER;
        *out = m_p;
        if (m_p)
            m_p->AddRef();
        return S_OK;
    }

    /// Asks the held object for the interface Q. E_POINTER for a null `out`
    /// or a null CComPtr; `*out` is null on every failure.
    template <class Q>
    HRESULT QueryInterface(Q** out) const noexcept {
        if (!out)
            return E_POINTER;
        *out = nullptr;
        if (!m_p)
            return E_POINTER;
        return m_p->QueryInterface(ZQIidOf<Q>(), reinterpret_cast<void**>(out));
    }

    T* Get() const noexcept { return m_p; }

    T* operator->() const noexcept {
        assert(m_p && "dereferencing a null CComPtr");
        return m_p;
    }

    T& operator*() const noexcept {
        assert(m_p && "dereferencing a null CComPtr");
        return *m_p;
    }

    explicit operator bool() const noexcept { return m_p != nullptr; }

    friend bool operator==(const CComPtr& a, const CComPtr& b) noexcept { return a.m_p == b.m_p; }
    friend bool operator==(const CComPtr& a, const T* b) noexcept { return a.m_p == b; }
    friend bool operator==(const CComPtr& a, std::nullptr_t) noexcept { return a.m_p == nullptr; }

private:
    T* m_p = nullptr;
};

/// Asks `p` for the interface Q. E_POINTER for a null `out` or a null `p`;
/// `*out` is null on every failure and holds one reference on success.
template <class Q>
HRESULT ZQQueryInterface(IUnknown* p, Q** out) noexcept {
    if (!out)
        return E_POINTER;
    *out = nullptr;
    if (!p)
        return E_POINTER;
    return p->QueryInterface(ZQIidOf<Q>(), reinterpret_cast<void**>(out));
}
