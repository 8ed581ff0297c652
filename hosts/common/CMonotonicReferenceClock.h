// A reference clock over the platform's monotonic counter, optionally running
// faster or slower than real time.
#pragma once

#include "zqplatform/strmif.h"
#include "zqplatform/unknownimpl.h"

/// The clock that a host without a graph of its own gives a demultiplexer:
/// GetTime reads the platform's performance counter, counted from the clock's
/// creation and multiplied by a speed (1 is real time). Made by Create and
/// immutable after it, so any thread may call it. Only GetTime has a
/// behaviour; the advise methods answer E_NOTIMPL, as nothing here needs them.
class CMonotonicReferenceClock final : public CUnknownImpl<ZQLifetime::Counted, IReferenceClock> {
public:
    /// A clock reading 0 now and advancing `speed` times as fast as real time.
    /// E_POINTER for a null `out`; E_INVALIDARG for a speed that isn't a
    /// positive finite number; E_OUTOFMEMORY. `*out` holds the caller's reference.
    static HRESULT Create(double speed, IReferenceClock** out) noexcept;

    /// E_POINTER for a null `pTime`; never fails otherwise.
    HRESULT GetTime(REFERENCE_TIME* pTime) noexcept override;
    HRESULT AdviseTime(REFERENCE_TIME, REFERENCE_TIME, HEVENT, DWORD_PTR*) noexcept override { return E_NOTIMPL; }
    HRESULT AdvisePeriodic(REFERENCE_TIME, REFERENCE_TIME, HSEMAPHORE, DWORD_PTR*) noexcept override {
        return E_NOTIMPL;
    }
    HRESULT Unadvise(DWORD_PTR) noexcept override { return E_NOTIMPL; }

private:
    CMonotonicReferenceClock(LONGLONG origin, double unitsPerTick) noexcept
        : m_origin(origin), m_unitsPerTick(unitsPerTick) {}
    ~CMonotonicReferenceClock() override = default;

    // The counter's reading at creation.
    const LONGLONG m_origin;
    // 100 ns units per counter tick, speed included.
    const double m_unitsPerTick;
};
