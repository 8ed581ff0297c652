// The class object of one class of the module.
#pragma once

#include "shell/ZQClassCreation.h"
#include "support/CComObjectRoot.h"

ZQ_BEGIN_INTERFACE_CLASS

/// IClassFactory over one row of the class table. Made as a
/// CComObjectCached by the table, which holds it in the row's slot for the
/// module's life; only outside references keep the module loaded. Any thread
/// may call it: its one field is set before it is published.
class CZQClassFactory : public CComObjectRootEx, public IClassFactory {
public:
    /// Sets the row's creation; called once, before the object is shared.
    void SetCreation(ZQCreateObjectFunction create) noexcept { m_create = create; }

    void* GetInterface(REFIID iid) noexcept { return ZQFindInterface<IClassFactory>(this, iid); }

    /// E_POINTER for a null `out`; clears `*out`; CLASS_E_NOAGGREGATION for an
    /// outer unknown with an `iid` other than IID_IUnknown; otherwise the
    /// answer of the row's creation.
    HRESULT CreateInstance(IUnknown* outer, REFIID iid, void** out) noexcept override;
    /// Raises the module's lock count for a non-zero `lock`, else lowers it;
    /// always S_OK.
    HRESULT LockServer(BOOL lock) noexcept override;

protected:
    CZQClassFactory() = default;
    ~CZQClassFactory() = default;

private:
    ZQCreateObjectFunction m_create = nullptr;
};

ZQ_END_INTERFACE_CLASS
