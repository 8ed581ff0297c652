// A property frame in Qt Widgets for programs without a frame of their own.
#pragma once

#include <QPointer>

#include "zqplatform/unknownimpl.h"
#include "zqsubtitle/ZQSubtitlePropertyFrame.h"

class QPushButton;

/// IZQPropertyFrame: one page in a tab of a modal window with OK, Cancel and
/// Apply, as a property frame shows it. Made by ZQCreatePropertyFrame for a
/// program, which holds it and passes its page site's status changes on.
/// Run makes a QApplication for its own duration if the process has none.
/// GUI thread only.
class CZQQtPropertyFrame final : public CUnknownImpl<ZQLifetime::Counted, IZQPropertyFrame> {
public:
    HRESULT OnStatusChange(DWORD flags) override;
    HRESULT Run(const ZQPROPERTYFRAMEPARAMS* params, LONG* result) override;

private:
    ~CZQQtPropertyFrame() override = default;
    HRESULT RunWindow(const ZQPROPERTYFRAMEPARAMS& params, LONG* result);

    // The Apply button while a window is shown; null otherwise.
    QPointer<QPushButton> m_applyButton;
    // Whether the page said it has changes since Apply.
    bool m_dirty = false;
};
