// A reference clock over the platform's monotonic counter, optionally running
// faster or slower than real time.
#pragma once

#include "support/CComObjectRoot.h"
#include "zqplatform/strmif.h"

ZQ_BEGIN_INTERFACE_CLASS

/// The clock that a host without a graph of its own gives a demultiplexer:
/// GetTime reads the platform's performance counter, counted from the clock's
/// creation and multiplied by a speed (1 is real time). Made as CComObject by
/// Create; immutable after it, so any thread may call it. Only GetTime has a
/// behaviour; the advise methods answer E_NOTIMPL, as nothing here needs them.
class CMonotonicReferenceClock : public CComObjectRootEx, public IReferenceClock {
public:
    /// A clock reading 0 now and advancing `speed` times as fast as real time.
    /// E_POINTER for a null `out`; E_INVALIDARG for a speed that isn't a
    /// positive finite number; E_OUTOFMEMORY. `*out` holds the caller's reference.
    static HRESULT Create(double speed, IReferenceClock** out) noexcept;

    /// Identity table: IUnknown and IReferenceClock.
    void* GetInterface(REFIID iid) noexcept;

    /// E_POINTER for a null `pTime`; never fails otherwise.
    HRESULT GetTime(REFERENCE_TIME* pTime) noexcept override;
    HRESULT AdviseTime(REFERENCE_TIME, REFERENCE_TIME, HEVENT, DWORD_PTR*) noexcept override { return E_NOTIMPL; }
    HRESULT AdvisePeriodic(REFERENCE_TIME, REFERENCE_TIME, HSEMAPHORE, DWORD_PTR*) noexcept override {
        return E_NOTIMPL;
    }
    HRESULT Unadvise(DWORD_PTR) noexcept override { return E_NOTIMPL; }

protected:
    CMonotonicReferenceClock() noexcept = default;
    ~CMonotonicReferenceClock() = default;

private:
    // Set once by Create, before the clock is handed out.
    LONGLONG m_origin = 0;
    // 100 ns units per counter tick, speed included.
    double m_unitsPerTick = 0;
};

ZQ_END_INTERFACE_CLASS
