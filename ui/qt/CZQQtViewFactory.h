// The Qt presentation's factory of windows, and the library's entry point.
#pragma once

#include "ui/ZQSubtitleViews.h"

/// Makes the page's and the dialog's Qt windows for the module's logic. One
/// for the process, without state; GUI thread only, since it makes widgets.
class CZQQtViewFactory final : public IZQViewFactory {
public:
    /// E_UNEXPECTED when the process has no QApplication.
    HRESULT CreatePageView(HWND parent, IZQPageViewEvents* events, IZQPageView** view) override;
    /// The dialog is modal over the page's widget (`owner` is a view of this
    /// factory), or a window of its own for null. E_UNEXPECTED without a
    /// QApplication.
    HRESULT CreateAddTrackDialogView(IZQPageView* owner, IZQAddTrackDialogEvents* events,
                                     IZQAddTrackDialogView** view) override;
    /// In the application's font; false without a QApplication.
    bool DialogUnitsToPixels(SIZE& size) override;
};

/// Whether the process has a QApplication, which every widget needs.
bool ZQHasWidgetApplication();
