// The table of the module's classes, in the order of registering, with a
// slot per class for its class object.
#pragma once

#include <atomic>
#include <span>

#include "shell/ZQClassCreation.h"
#include "zqplatform/sync.h"

/// One class of the module: its identifiers for the registry script and the
/// function that creates its objects.
struct ZQClassRow {
    const CLSID* m_clsid;
    /// Text of the class id as the registry holds it, braced upper case.
    const char16_t* m_clsidText;
    const char16_t* m_progId;
    const char16_t* m_versionIndependentProgId;
    const char16_t* m_name;
    ZQCreateObjectFunction m_create;
};

/// The rows ZQDmxSubtitle, ZQMuxSubtitle, ZQMuxSubtitlePropPage, in that
/// order. Constant data; any thread may read it.
std::span<const ZQClassRow> ZQClassRows() noexcept;

/// The class table of this copy of the module: a slot per row, filled with the
/// row's class object at the first demand and kept until the module ends.
/// Any thread may call it; the slots are filled under m_lock and read without
/// it once filled.
class CZQClassTable {
public:
    /// The module's one table, made at load.
    static CZQClassTable& Instance() noexcept;

    CZQClassTable(const CZQClassTable&) = delete;
    CZQClassTable& operator=(const CZQClassTable&) = delete;

    /// The class object of `clsid` asked for `iid`. E_POINTER for a null `out`
    /// (else `*out` is cleared); E_UNEXPECTED while the table is out of service
    /// (its lock couldn't be made, or it has been torn down);
    /// CLASS_E_CLASSNOTAVAILABLE for a class not in the table or a query that
    /// succeeds without a pointer; the failure of making the class object;
    /// otherwise the class object's QueryInterface.
    HRESULT GetClassObject(REFCLSID clsid, REFIID iid, void** out) noexcept;

private:
    static constexpr size_t kRowCount = 3;

    CZQClassTable() noexcept;
    /// Releases the class objects; no other object of the module exists then.
    ~CZQClassTable();

    /// The row's class object, made if its slot is empty; null on failure with
    /// the status in `hr`.
    IUnknown* SlotObject(size_t row, HRESULT& hr) noexcept;

    // Guards the filling of m_slots; taken after no other lock of the module.
    CRITICAL_SECTION m_lock;
    bool m_lockReady = false;
    std::atomic<bool> m_inService{false};
    // Each holds one reference to its row's class object, or null.
    std::atomic<IUnknown*> m_slots[kRowCount] = {};
};
