#include "ui/qt/CZQQtPropertyFrame.h"

#include <QApplication>
#include <QDialog>
#include <QDialogButtonBox>
#include <QMessageBox>
#include <QPushButton>
#include <QTabWidget>
#include <QTimer>
#include <QVBoxLayout>

#include <memory>
#include <new>

#include "ui/qt/CZQQtViewFactory.h"
#include "zqplatform/errors.h"
#include "zqplatform/oleauto.h"

namespace {

QString FromOle(LPCOLESTR text) {
    return text != nullptr ? QString::fromUtf16(text) : QString();
}

QString StatusText(HRESULT hr) {
    WCHAR text[512];
    const DWORD length = AMGetErrorTextW(hr, text, 512);
    return QString::fromUtf16(text, static_cast<qsizetype>(length)) +
           QStringLiteral(" (0x%1)").arg(static_cast<uint>(hr), 8, 16, QLatin1Char('0'));
}

/// Whether Qt can reach a display: a platform named outright, an X server
/// or a Wayland compositor. Without one Qt would end the process.
bool HasDisplay() {
    return !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") || !qEnvironmentVariableIsEmpty("DISPLAY") ||
           !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

/// Keeps the page's window the size of the tab it lives in.
class CResizeFollower final : public QObject {
public:
    CResizeFollower(QWidget* container, IPropertyPage* page) : QObject(container), m_page(page) {
        container->installEventFilter(this);
    }
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Resize) {
            const QSize size = static_cast<QWidget*>(watched)->size();
            const RECT rect = {0, 0, size.width(), size.height()};
            m_page->Move(&rect);
        }
        return false;
    }

private:
    IPropertyPage* m_page;
};

}  // namespace

HRESULT CZQQtPropertyFrame::OnStatusChange(DWORD flags) {
    if ((flags & PROPPAGESTATUS_DIRTY) != 0)
        m_dirty = true;
    if ((flags & PROPPAGESTATUS_CLEAN) != 0)
        m_dirty = false;
    if (m_applyButton != nullptr)
        m_applyButton->setEnabled(m_dirty);
    return S_OK;
}

HRESULT CZQQtPropertyFrame::Run(const ZQPROPERTYFRAMEPARAMS* params, LONG* result) {
    if (params == nullptr || result == nullptr)
        return E_POINTER;
    *result = IDCANCEL;
    if (params->cbStruct < sizeof(ZQPROPERTYFRAMEPARAMS) || params->page == nullptr)
        return E_INVALIDARG;
    try {
        std::unique_ptr<QApplication> ownApplication;
        if (QCoreApplication::instance() == nullptr) {
            if (!HasDisplay())
                return E_UNEXPECTED;
            static int s_argc = 1;
            static char s_name[] = "zqsubtitle";
            static char* s_argv[] = {s_name, nullptr};
            ownApplication = std::make_unique<QApplication>(s_argc, s_argv);
        }
        if (!ZQHasWidgetApplication())
            return E_UNEXPECTED;
        return RunWindow(*params, result);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_UNEXPECTED;
    }
}

HRESULT CZQQtPropertyFrame::RunWindow(const ZQPROPERTYFRAMEPARAMS& params, LONG* result) {
    IPropertyPage* page = params.page;
    PROPPAGEINFO info{};
    HRESULT hr = page->GetPageInfo(&info);
    if (FAILED(hr))
        return hr;
    const QString title = FromOle(info.pszTitle);
    CoTaskMemFree(info.pszTitle);
    CoTaskMemFree(info.pszDocString);
    CoTaskMemFree(info.pszHelpFile);

    QDialog window(reinterpret_cast<QWidget*>(params.hwndOwner));
    window.setObjectName(QStringLiteral("propertyFrame"));
    window.setWindowTitle(FromOle(params.lpszCaption));
    auto* tabs = new QTabWidget(&window);
    auto* container = new QWidget();
    container->setMinimumSize(info.size.cx, info.size.cy);
    tabs->addTab(container, title);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel | QDialogButtonBox::Apply,
                                         &window);
    auto* layout = new QVBoxLayout(&window);
    layout->addWidget(tabs, 1);
    layout->addWidget(buttons);

    const RECT rect = {0, 0, info.size.cx, info.size.cy};
    hr = page->Activate(reinterpret_cast<HWND>(container), &rect, TRUE);
    if (FAILED(hr)) {
        page->Deactivate();
        return hr;
    }
    page->Show(SW_SHOW);
    new CResizeFollower(container, page);

    QPushButton* ok = buttons->button(QDialogButtonBox::Ok);
    QPushButton* cancel = buttons->button(QDialogButtonBox::Cancel);
    m_applyButton = buttons->button(QDialogButtonBox::Apply);
    m_applyButton->setEnabled(page->IsPageDirty() == S_OK);
    auto apply = [&]() {
        const HRESULT applied = page->Apply();
        if (SUCCEEDED(applied))
            return true;
        QMessageBox::warning(&window, window.windowTitle(),
                             QStringLiteral("The changes could not be applied: ") + StatusText(applied));
        return false;
    };
    QObject::connect(m_applyButton, &QPushButton::clicked, &window, [&] { apply(); });
    QObject::connect(ok, &QPushButton::clicked, &window, [&] {
        if (page->IsPageDirty() != S_OK || apply())
            window.done(IDOK);
    });
    QObject::connect(cancel, &QPushButton::clicked, &window, [&] { window.done(IDCANCEL); });

    // Scripts: a picture of the window, then the button they asked for.
    const QString screenshot = FromOle(params.lpszScreenshot);
    QTimer::singleShot(0, &window, [&, screenshot, closeWith = params.closeWith] {
        if (!screenshot.isEmpty() && !window.grab().save(screenshot, "PNG"))
            qWarning("zqsubtitle: can't write the screenshot %s", qPrintable(screenshot));
        if (closeWith == IDOK)
            ok->click();
        else if (closeWith == IDCANCEL)
            cancel->click();
    });

    const int code = window.exec();
    m_applyButton = nullptr;
    page->Deactivate();
    *result = code == IDOK ? IDOK : IDCANCEL;
    return S_OK;
}

extern "C" __attribute__((visibility("default"))) HRESULT ZQCreatePropertyFrame(IZQPropertyFrame** frame) {
    if (frame == nullptr)
        return E_POINTER;
    *frame = new (std::nothrow) CZQQtPropertyFrame();
    return *frame != nullptr ? S_OK : E_OUTOFMEMORY;
}
