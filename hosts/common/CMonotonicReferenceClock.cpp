#include "hosts/common/CMonotonicReferenceClock.h"

#include <cmath>
#include <new>

#include "zqplatform/debugapi.h"

namespace {

constexpr double kUnitsPerSecond = 10000000.0;

}  // namespace

HRESULT CMonotonicReferenceClock::Create(double speed, IReferenceClock** out) noexcept {
    if (out == nullptr)
        return E_POINTER;
    *out = nullptr;
    if (!std::isfinite(speed) || speed <= 0)
        return E_INVALIDARG;
    LARGE_INTEGER frequency{};
    LARGE_INTEGER now{};
    QueryPerformanceFrequency(&frequency);
    QueryPerformanceCounter(&now);
    const double unitsPerTick = kUnitsPerSecond * speed / static_cast<double>(frequency.QuadPart);
    auto* clock = new (std::nothrow) CMonotonicReferenceClock(now.QuadPart, unitsPerTick);
    if (clock == nullptr)
        return E_OUTOFMEMORY;
    *out = clock;
    return S_OK;
}

HRESULT CMonotonicReferenceClock::GetTime(REFERENCE_TIME* pTime) noexcept {
    if (pTime == nullptr)
        return E_POINTER;
    LARGE_INTEGER now{};
    QueryPerformanceCounter(&now);
    *pTime = static_cast<REFERENCE_TIME>(std::llround(static_cast<double>(now.QuadPart - m_origin) * m_unitsPerTick));
    return S_OK;
}
