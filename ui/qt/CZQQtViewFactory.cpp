#include "ui/qt/CZQQtViewFactory.h"

#include <QApplication>

#include <new>

#include "ui/qt/CZQQtAddTrackDialogView.h"
#include "ui/qt/CZQQtPageView.h"
#include "ui/qt/ZQDialogUnits.h"

bool ZQHasWidgetApplication() {
    return qobject_cast<QApplication*>(QCoreApplication::instance()) != nullptr;
}

HRESULT CZQQtViewFactory::CreatePageView(HWND parent, IZQPageViewEvents* events, IZQPageView** view) {
    if (view == nullptr || events == nullptr)
        return E_POINTER;
    *view = nullptr;
    if (!ZQHasWidgetApplication())
        return E_UNEXPECTED;
    *view = new (std::nothrow) CZQQtPageView(reinterpret_cast<QWidget*>(parent), events);
    return *view != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT CZQQtViewFactory::CreateAddTrackDialogView(IZQPageView* owner, IZQAddTrackDialogEvents* events,
                                                   IZQAddTrackDialogView** view) {
    if (view == nullptr || events == nullptr)
        return E_POINTER;
    *view = nullptr;
    if (!ZQHasWidgetApplication())
        return E_UNEXPECTED;
    QWidget* ownerWidget = owner != nullptr ? static_cast<CZQQtPageView*>(owner)->Widget() : nullptr;
    *view = new (std::nothrow) CZQQtAddTrackDialogView(ownerWidget, events);
    return *view != nullptr ? S_OK : E_OUTOFMEMORY;
}

bool CZQQtViewFactory::DialogUnitsToPixels(SIZE& size) {
    if (!ZQHasWidgetApplication())
        return false;
    const QSize pixels = ZQDialogUnitsToPixels(QApplication::font(), size.cx, size.cy);
    size = {pixels.width(), pixels.height()};
    return true;
}

extern "C" __attribute__((visibility("default"))) IZQViewFactory* ZQGetViewFactory(DWORD version) {
    static CZQQtViewFactory s_factory;
    return version == kZQViewContractVersion ? &s_factory : nullptr;
}
