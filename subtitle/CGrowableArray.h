// A growable array of plain values with the growth rule of the track list.
#pragma once

#include <cassert>
#include <cstddef>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

#include "support/CStatusException.h"

/// An array of trivially copyable values that owns its storage. It grows by
/// a fixed rule and never shrinks but through RemoveAll: an empty array gets
/// room for exactly what is needed; a full one of capacity c that must hold n
/// gets max(n, c + max(c / 2, n - c)). Growth raises the status exception
/// E_OUTOFMEMORY and then leaves the array as it was. Not synchronised: its
/// owner's lock guards it.
template <class T>
class CGrowableArray {
    static_assert(std::is_trivially_copyable_v<T>, "elements are moved with memcpy");

public:
    CGrowableArray() noexcept = default;
    ~CGrowableArray() { delete[] m_data; }
    CGrowableArray(const CGrowableArray&) = delete;
    CGrowableArray& operator=(const CGrowableArray&) = delete;

    size_t GetCount() const noexcept { return m_count; }
    size_t GetCapacity() const noexcept { return m_capacity; }
    bool IsEmpty() const noexcept { return m_count == 0; }

    T& operator[](size_t index) noexcept {
        assert(index < m_count);
        return m_data[index];
    }
    const T& operator[](size_t index) const noexcept {
        assert(index < m_count);
        return m_data[index];
    }

    /// Makes room for `count` elements in all, so that the Adds up to that
    /// count can't fail. Raises E_OUTOFMEMORY.
    void EnsureRoom(size_t count) {
        if (count <= m_capacity)
            return;
        Reallocate(GrownCapacity(m_capacity, count));
    }

    /// Appends `value`. Raises E_OUTOFMEMORY, and the array is as it was.
    void Add(T value) {
        EnsureRoom(m_count + 1);
        m_data[m_count++] = value;
    }

    /// Takes out the element at `index`; the ones behind it move down.
    void RemoveAt(size_t index) noexcept {
        assert(index < m_count);
        std::memmove(m_data + index, m_data + index + 1, (m_count - index - 1) * sizeof(T));
        --m_count;
    }

    /// Empties the array and gives its storage back.
    void RemoveAll() noexcept {
        delete[] std::exchange(m_data, nullptr);
        m_count = 0;
        m_capacity = 0;
    }

    /// The capacity that the growth rule gives an array of `capacity` that
    /// must hold `needed` elements.
    static constexpr size_t GrownCapacity(size_t capacity, size_t needed) noexcept {
        if (capacity == 0)
            return needed;
        const size_t half = capacity / 2;
        const size_t step = half > needed - capacity ? half : needed - capacity;
        return needed > capacity + step ? needed : capacity + step;
    }

private:
    void Reallocate(size_t capacity) {
        T* data = new (std::nothrow) T[capacity];
        if (data == nullptr)
            ZQThrowStatus(E_OUTOFMEMORY);
        if (m_count != 0)
            std::memcpy(data, m_data, m_count * sizeof(T));
        delete[] std::exchange(m_data, data);
        m_capacity = capacity;
    }

    T* m_data = nullptr;
    size_t m_count = 0;
    size_t m_capacity = 0;
};
