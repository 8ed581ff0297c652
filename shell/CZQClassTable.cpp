#include "shell/CZQClassTable.h"

#include "shell/CZQClassFactory.h"
#include "support/CComObjectCached.h"
#include "support/CZQSubtitleModule.h"
#include "zqsubtitle/ZQSubtitle.h"

namespace {

constexpr ZQClassRow kRows[] = {
    {&CLSID_ZQDmxSubtitle, u"{7C41A0F0-5D2B-4E6F-9A13-2F6D8B04C7E1}", u"ZQSubtitle.ZQDmxSubtitle.1",
     u"ZQSubtitle.ZQDmxSubtitle", u"ZQDmxSubtitle Class", &ZQCreateDmxSubtitle},
    {&CLSID_ZQMuxSubtitle, u"{7C41A0EF-5D2B-4E6F-9A13-2F6D8B04C7E1}", u"ZQSubtitle.ZQMuxSubtitle.1",
     u"ZQSubtitle.ZQMuxSubtitle", u"ZQMuxSubtitle Class", &ZQCreateMuxSubtitle},
    {&CLSID_ZQMuxSubtitlePropPage, u"{7C41A0F1-5D2B-4E6F-9A13-2F6D8B04C7E1}",
     u"ZQSubtitle.ZQMuxSubtitlePropPage.1", u"ZQSubtitle.ZQMuxSubtitlePropPage", u"ZQMuxSubtitlePropPage Class",
     &ZQCreateMuxSubtitlePropPage},
};

// Made at load, so that the module object exists before the first entry
// point runs and the table is in service from then on.
[[maybe_unused]] CZQClassTable& g_classTableAtLoad = CZQClassTable::Instance();

}  // namespace

std::span<const ZQClassRow> ZQClassRows() noexcept {
    return kRows;
}

CZQClassTable& CZQClassTable::Instance() noexcept {
    // The module object is made first, so it is destroyed after the table,
    // whose teardown releases cached objects that still count on it.
    ZQModule();
    static CZQClassTable s_table;
    return s_table;
}

CZQClassTable::CZQClassTable() noexcept {
    static_assert(std::size(kRows) == kRowCount);
    m_lockReady = InitializeCriticalSectionEx(&m_lock, 0, 0) != FALSE;
    m_inService.store(m_lockReady && SUCCEEDED(ZQModule().GetInitStatus()), std::memory_order_release);
}

CZQClassTable::~CZQClassTable() {
    m_inService.store(false, std::memory_order_release);
    for (std::atomic<IUnknown*>& slot : m_slots) {
        IUnknown* object = slot.exchange(nullptr, std::memory_order_acq_rel);
        if (object != nullptr)
            object->Release();
    }
    if (m_lockReady)
        DeleteCriticalSection(&m_lock);
}

HRESULT CZQClassTable::GetClassObject(REFCLSID clsid, REFIID iid, void** out) noexcept {
    if (out == nullptr)
        return E_POINTER;
    *out = nullptr;
    if (!m_inService.load(std::memory_order_acquire))
        return E_UNEXPECTED;
    for (size_t row = 0; row < kRowCount; ++row) {
        if (*kRows[row].m_clsid != clsid)
            continue;
        HRESULT hr = S_OK;
        IUnknown* object = SlotObject(row, hr);
        if (object == nullptr)
            return hr;
        hr = object->QueryInterface(iid, out);
        if (SUCCEEDED(hr) && *out == nullptr)
            return CLASS_E_CLASSNOTAVAILABLE;
        return hr;
    }
    return CLASS_E_CLASSNOTAVAILABLE;
}

IUnknown* CZQClassTable::SlotObject(size_t row, HRESULT& hr) noexcept {
    IUnknown* object = m_slots[row].load(std::memory_order_acquire);
    if (object != nullptr)
        return object;
    EnterCriticalSection(&m_lock);
    // Another thread may have filled the slot while this one waited.
    object = m_slots[row].load(std::memory_order_acquire);
    if (object == nullptr) {
        CComObjectCached<CZQClassFactory>* factory = nullptr;
        hr = CComObjectCached<CZQClassFactory>::CreateInstance(&factory);
        if (SUCCEEDED(hr)) {
            factory->SetCreation(kRows[row].m_create);
            // The slot's reference: at a count of 1 a cached object holds no
            // module lock, so an unused class object doesn't keep the module.
            factory->AddRef();
            object = static_cast<IClassFactory*>(factory);
            m_slots[row].store(object, std::memory_order_release);
        }
    }
    LeaveCriticalSection(&m_lock);
    return object;
}
