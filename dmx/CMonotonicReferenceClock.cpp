#include "dmx/CMonotonicReferenceClock.h"

#include <cmath>

#include "support/CComObject.h"
#include "zqplatform/diag.h"

namespace {

constexpr double kUnitsPerSecond = 10000000.0;

}  // namespace

HRESULT CMonotonicReferenceClock::Create(double speed, IReferenceClock** out) noexcept {
    if (out == nullptr)
        return E_POINTER;
    *out = nullptr;
    if (!std::isfinite(speed) || speed <= 0)
        return E_INVALIDARG;
    CComObject<CMonotonicReferenceClock>* clock = nullptr;
    const HRESULT hr = CComObject<CMonotonicReferenceClock>::CreateInstance(&clock);
    if (FAILED(hr))
        return hr;
    LARGE_INTEGER frequency{};
    LARGE_INTEGER now{};
    QueryPerformanceFrequency(&frequency);
    QueryPerformanceCounter(&now);
    clock->m_origin = now.QuadPart;
    clock->m_unitsPerTick = kUnitsPerSecond * speed / static_cast<double>(frequency.QuadPart);
    clock->AddRef();
    *out = clock;
    return S_OK;
}

void* CMonotonicReferenceClock::GetInterface(REFIID iid) noexcept {
    return ZQFindInterface<IReferenceClock>(this, iid);
}

HRESULT CMonotonicReferenceClock::GetTime(REFERENCE_TIME* pTime) noexcept {
    if (pTime == nullptr)
        return E_POINTER;
    LARGE_INTEGER now{};
    QueryPerformanceCounter(&now);
    *pTime = static_cast<REFERENCE_TIME>(std::llround(static_cast<double>(now.QuadPart - m_origin) * m_unitsPerTick));
    return S_OK;
}
