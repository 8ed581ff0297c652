// The counted base of the objects that aren't public interfaces.
#pragma once

#include <atomic>

#include "support/CZQSubtitleModule.h"
#include "zqplatform/types.h"

/// Base of a counted object that has no QueryInterface, such as a cue list or
/// a queued event. T is the class that derives from it; the template only
/// keeps the bases of unrelated classes apart. The count starts at 0 and the
/// maker takes the first reference; at 0 the object deletes itself through
/// its virtual destructor. Each object holds one module lock from
/// construction to destruction. AddRef and Release may be called from any
/// thread with no lock held.
template <class T>
class CRefObject {
public:
    CRefObject(const CRefObject&) = delete;
    CRefObject& operator=(const CRefObject&) = delete;

    virtual ~CRefObject() { ZQModule().Unlock(); }

    /// Answers the new count.
    virtual ULONG AddRef() noexcept {
        return static_cast<ULONG>(m_cRef.fetch_add(1, std::memory_order_relaxed) + 1);
    }

    /// Answers the new count; at 0 the object is gone and nothing of it is
    /// touched after the delete.
    virtual ULONG Release() noexcept {
        // Release ordering publishes this thread's writes to whichever thread
        // deletes; acquire makes the deleting thread see all of them.
        LONG count = m_cRef.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if (count == 0)
            delete this;
        return static_cast<ULONG>(count);
    }

protected:
    CRefObject() noexcept { ZQModule().Lock(); }

private:
    std::atomic<LONG> m_cRef{0};
};
