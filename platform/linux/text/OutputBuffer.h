// A counted output for conversions that may only be asked for their length.
#pragma once

#include <cstddef>

namespace zqplatform {

/// Counts every unit put and stores those that fit `capacity`; capacity 0
/// stores nothing, so one conversion routine serves length queries as well.
/// Used by one thread for one conversion.
template <class Unit>
class OutputBuffer {
public:
    OutputBuffer(Unit* out, size_t capacity) noexcept : m_out(out), m_capacity(out == nullptr ? 0 : capacity) {}

    void Put(Unit unit) noexcept {
        if (m_count < m_capacity)
            m_out[m_count] = unit;
        ++m_count;
    }

    void Put(const Unit* units, size_t count) noexcept {
        for (size_t i = 0; i < count; ++i)
            Put(units[i]);
    }

    size_t Count() const noexcept { return m_count; }
    bool Overflowed() const noexcept { return m_count > m_capacity; }

private:
    Unit* m_out;
    size_t m_capacity;
    size_t m_count = 0;
};

}  // namespace zqplatform
