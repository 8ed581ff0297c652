// The page and its dialog as a user meets them: the module's page object,
// activated in a widget of this program, driven with QTest under Qt's
// offscreen platform. Writes screenshots of both windows into the build folder.
#include <gtest/gtest.h>

#include <QApplication>
#include <QComboBox>
#include <QDialog>
#include <QDir>
#include <QDeadlineTimer>
#include <QFile>
#include <QHeaderView>
#include <QImage>
#include <QLineEdit>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <QTreeWidget>
#include <QUrl>

#include <cstdlib>
#include <functional>

#include "tests/support/HResultAssertions.h"
#include "tests/support/ModuleObjectsForTests.h"
#include "tests/support/RecordingPageSite.h"
#include "zqplatform/bstr.h"
#include "zqplatform/comptr.h"
#include "zqplatform/oleauto.h"
#include "zqsubtitle/ZQSubtitle.h"

#if defined(__SANITIZE_ADDRESS__)
// What Qt, fontconfig and the platform plugin keep for the process's life.
extern "C" const char* __lsan_default_options() {
    return "suppressions=" ZQ_QT_LEAK_SUPPRESSIONS;
}
#endif

namespace {

using namespace Qt::Literals::StringLiterals;

/// The one QApplication of the program, made when the tests start (not when
/// CTest lists them).
class QtEnvironment final : public ::testing::Environment {
public:
    void SetUp() override {
        ::setenv("QT_QPA_PLATFORM", "offscreen", 0);
        static int s_argc = 1;
        static char s_name[] = "ui_qt_tests";
        static char* s_argv[] = {s_name, nullptr};
        m_application = std::make_unique<QApplication>(s_argc, s_argv);
    }
    void TearDown() override { m_application.reset(); }

private:
    std::unique_ptr<QApplication> m_application;
};

[[maybe_unused]] ::testing::Environment* const g_qt = ::testing::AddGlobalTestEnvironment(new QtEnvironment);

QString SamplePath(const char* name) {
    const char* source = std::getenv("ZQ_SOURCE_DIR");
    return QString::fromUtf8(source != nullptr ? source : ".") + QStringLiteral("/samples/") +
           QString::fromLatin1(name) + QStringLiteral(".srt");
}

/// Runs `action` on the modal window named `name` once it shows, from inside
/// whatever modal loop is running then. A window that doesn't come within
/// ten seconds is a failure, and every modal window is rejected so that the
/// test ends.
void WhenModal(const QString& name, std::function<void(QWidget*)> action) {
    auto* timer = new QTimer();
    const QDeadlineTimer deadline(10000);
    QObject::connect(timer, &QTimer::timeout, [=] {
        QWidget* modal = QApplication::activeModalWidget();
        const bool shown = modal != nullptr && modal->objectName() == name && modal->isVisible();
        if (!shown && !deadline.hasExpired())
            return;
        timer->stop();
        timer->deleteLater();
        if (shown)
            return action(modal);
        ADD_FAILURE() << "no modal window " << name.toStdString() << " came";
        while (auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget()))
            dialog->done(QDialog::Rejected);
    });
    timer->start(10);
}

class QtPageTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_OK(zqtest::CreateFromModule(ZQ_SUBTITLE_MODULE, CLSID_ZQMuxSubtitle, IID_IZQMuxSubtitle,
                                           reinterpret_cast<void**>(&m_mux)));
        ASSERT_OK(zqtest::CreateFromModule(ZQ_SUBTITLE_MODULE, CLSID_ZQMuxSubtitlePropPage, IID_IPropertyPage,
                                           reinterpret_cast<void**>(&m_page)));
        m_provider.Serve(m_mux.Get());
    }

    void TearDown() override {
        if (m_page) {
            m_page->Deactivate();
            IUnknown* none[] = {nullptr};
            m_page->SetObjects(0, none);
            m_page->SetPageSite(nullptr);
        }
        m_page = nullptr;
        m_provider.Serve(nullptr);
    }

    /// Adds a sample as an application would, before the page shows.
    void AddSample(const char* sample, const char16_t* label, const char16_t* language = u"en") {
        const std::u16string path = SamplePath(sample).toStdU16String();
        ASSERT_OK(m_mux->AddTextTrackFromFile(CComBSTR(path), CComBSTR(label), CComBSTR(language), nullptr));
    }

    /// Binds the page and shows it in a window of this program, at the size
    /// it asks for.
    void ShowPage() {
        ASSERT_OK(m_page->SetPageSite(&m_site));
        IUnknown* objects[] = {&m_provider};
        ASSERT_OK(m_page->SetObjects(1, objects));
        PROPPAGEINFO info{};
        ASSERT_OK(m_page->GetPageInfo(&info));
        CoTaskMemFree(info.pszTitle);
        CoTaskMemFree(info.pszDocString);
        m_host.resize(info.size.cx, info.size.cy);
        const RECT rect = {0, 0, info.size.cx, info.size.cy};
        ASSERT_OK(m_page->Activate(reinterpret_cast<HWND>(&m_host), &rect, TRUE));
        ASSERT_OK(m_page->Show(SW_SHOW));
        m_host.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&m_host));
        m_list = m_host.findChild<QTreeWidget*>(QStringLiteral("trackList"));
        m_add = m_host.findChild<QPushButton*>(QStringLiteral("addButton"));
        m_remove = m_host.findChild<QPushButton*>(QStringLiteral("removeButton"));
        ASSERT_TRUE(m_list != nullptr && m_add != nullptr && m_remove != nullptr);
    }

    QStringList Column(int column) const {
        QStringList texts;
        for (int row = 0; row < m_list->topLevelItemCount(); ++row)
            texts << m_list->topLevelItem(row)->text(column);
        return texts;
    }
    int SelectedRow() const {
        const QList<QTreeWidgetItem*> selected = m_list->selectedItems();
        return selected.size() == 1 ? m_list->indexOfTopLevelItem(selected.front()) : -1;
    }
    void ClickHeader(int column) {
        QHeaderView* header = m_list->header();
        const QPoint middle(header->sectionViewportPosition(column) + header->sectionSize(column) / 2,
                            header->height() / 2);
        QTest::mouseClick(header->viewport(), Qt::LeftButton, Qt::NoModifier, middle);
    }
    void ClickRow(int row) {
        const QRect box = m_list->visualItemRect(m_list->topLevelItem(row));
        QTest::mouseClick(m_list->viewport(), Qt::LeftButton, Qt::NoModifier, box.center());
    }

    CComPtr<IZQMuxSubtitle> m_mux;
    CComPtr<IPropertyPage> m_page;
    zqtest::FakeServiceProvider m_provider;
    zqtest::RecordingPageSite m_site;
    QWidget m_host;
    QTreeWidget* m_list = nullptr;
    QPushButton* m_add = nullptr;
    QPushButton* m_remove = nullptr;
};

TEST_F(QtPageTest, AddWithTheKeyboardShowsTheNewTrackSelected) {
    ShowPage();
    EXPECT_FALSE(m_remove->isEnabled());
    QString comboText;
    WhenModal(u"addTrackDialog"_s, [&](QWidget* dialog) {
        EXPECT_EQ(u"Add Subtitle Track"_s, dialog->windowTitle());
        auto* path = dialog->findChild<QLineEdit*>(u"pathEdit"_s);
        auto* label = dialog->findChild<QLineEdit*>(u"labelEdit"_s);
        auto* language = dialog->findChild<QComboBox*>(u"languageCombo"_s);
        ASSERT_TRUE(path && label && language);
        EXPECT_EQ(487, language->count());
        EXPECT_EQ(u"< None >"_s, language->currentText());
        QTest::keyClicks(path, SamplePath("german-cp1252"));
        QTest::keyClick(path, Qt::Key_Tab);
        QTest::keyClicks(label, u"Deutsch"_s);
        // Typing a name finds the language.
        QTest::keyClicks(language, u"Germ"_s);
        comboText = language->currentText();
        QTest::keyClick(path, Qt::Key_Return);
    });
    QTest::mouseClick(m_add, Qt::LeftButton);
    EXPECT_EQ(u"German"_s, comboText);
    EXPECT_EQ((QStringList{u"Deutsch"_s}), Column(1));
    EXPECT_EQ((QStringList{u"German"_s}), Column(2));
    EXPECT_EQ(0, SelectedRow());
    EXPECT_TRUE(m_remove->isEnabled());
    EXPECT_EQ((std::vector<DWORD>{PROPPAGESTATUS_DIRTY}), m_site.StatusChanges());
}

TEST_F(QtPageTest, MissingFileIsExplainedAndTheDialogKeepsWhatWasTyped) {
    ShowPage();
    QString message;
    QString caption;
    QString keptPath;
    QString keptLabel;
    bool pathHasFocus = false;
    WhenModal(u"addTrackDialog"_s, [&](QWidget* dialog) {
        auto* path = dialog->findChild<QLineEdit*>(u"pathEdit"_s);
        auto* label = dialog->findChild<QLineEdit*>(u"labelEdit"_s);
        path->setText(u"/no/such/folder/film.srt"_s);
        label->setText(u"Mine"_s);
        WhenModal(u"errorMessage"_s, [&](QWidget* box) {
            auto* messageBox = qobject_cast<QMessageBox*>(box);
            ASSERT_NE(nullptr, messageBox);
            message = messageBox->text();
            caption = messageBox->windowTitle();
            EXPECT_EQ(QMessageBox::Warning, messageBox->icon());
            messageBox->button(QMessageBox::Ok)->click();
        });
        QTest::mouseClick(dialog->findChild<QPushButton*>(u"okButton"_s), Qt::LeftButton);
        EXPECT_TRUE(dialog->isVisible());
        keptPath = path->text();
        keptLabel = label->text();
        pathHasFocus = dialog->focusWidget() == path;
        QTest::keyClick(dialog, Qt::Key_Escape);
    });
    QTest::mouseClick(m_add, Qt::LeftButton);
    EXPECT_EQ(u"The system cannot find the path specified."_s, message);
    EXPECT_EQ(u"Error"_s, caption);
    EXPECT_EQ(u"/no/such/folder/film.srt"_s, keptPath);
    EXPECT_EQ(u"Mine"_s, keptLabel);
    EXPECT_TRUE(pathHasFocus);
    EXPECT_EQ(0, m_list->topLevelItemCount());
    EXPECT_TRUE(m_site.StatusChanges().empty());
}

TEST_F(QtPageTest, HeaderClicksSortAndMarkTheColumnAndDeleteRemoves) {
    AddSample("english-utf8", u"b");
    AddSample("english-utf8", u"A");
    AddSample("english-utf8", u"c");
    ShowPage();
    EXPECT_EQ(0, m_list->header()->sortIndicatorSection());
    ClickHeader(1);
    EXPECT_EQ((QStringList{u"A"_s, u"b"_s, u"c"_s}), Column(1));
    EXPECT_EQ(1, m_list->header()->sortIndicatorSection());
    EXPECT_EQ(Qt::AscendingOrder, m_list->header()->sortIndicatorOrder());
    ClickHeader(1);
    EXPECT_EQ((QStringList{u"c"_s, u"b"_s, u"A"_s}), Column(1));
    EXPECT_EQ(Qt::DescendingOrder, m_list->header()->sortIndicatorOrder());

    ClickRow(1);
    EXPECT_EQ(1, SelectedRow());
    EXPECT_TRUE(m_remove->isEnabled());
    QTest::keyClick(m_list, Qt::Key_Delete);
    EXPECT_EQ((QStringList{u"c"_s, u"A"_s}), Column(1));
    EXPECT_EQ(1, SelectedRow());
    EXPECT_EQ((std::vector<DWORD>{PROPPAGESTATUS_DIRTY}), m_site.StatusChanges());
}

TEST_F(QtPageTest, DroppedFileOpensTheDialogWithItsPath) {
    ShowPage();
    QString shownPath;
    WhenModal(u"addTrackDialog"_s, [&](QWidget* dialog) {
        shownPath = dialog->findChild<QLineEdit*>(u"pathEdit"_s)->text();
        dialog->findChild<QPushButton*>(u"okButton"_s)->click();
    });
    QWidget* page = m_host.findChild<QWidget*>(u"subtitlePage"_s);
    ASSERT_NE(nullptr, page);
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile(SamplePath("russian-cp1251"))});
    QDragEnterEvent enter(QPoint(5, 5), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(page, &enter);
    EXPECT_TRUE(enter.isAccepted());
    QDropEvent drop(QPointF(5, 5), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(page, &drop);
    EXPECT_TRUE(drop.isAccepted());
    // The dialog opens once the drop has ended.
    EXPECT_TRUE(QTest::qWaitFor([&] { return m_list->topLevelItemCount() == 1; }, 10000));
    EXPECT_EQ(SamplePath("russian-cp1251"), shownPath);
}

/// Every button shows its whole text: none is narrower than it asks to be.
void ExpectNoButtonCutOff(const QWidget* window) {
    for (const QPushButton* button : window->findChildren<QPushButton*>()) {
        if (!button->isVisible())
            continue;
        EXPECT_GE(button->width(), button->sizeHint().width()) << button->text().toStdString();
        EXPECT_GE(button->height(), button->sizeHint().height()) << button->text().toStdString();
    }
}

TEST_F(QtPageTest, ScreenshotsOfThePageWithThreeTracksAndOfTheDialog) {
    AddSample("english-utf8", u"English");
    AddSample("german-cp1252", u"Deutsch (forced)", u"ger");
    AddSample("russian-cp1251", u"Русский", u"ru");
    ShowPage();
    ClickRow(1);
    QDir().mkpath(QStringLiteral(ZQ_SCREENSHOT_DIR));
    const QString pagePicture = QStringLiteral(ZQ_SCREENSHOT_DIR "/page.png");
    const QString dialogPicture = QStringLiteral(ZQ_SCREENSHOT_DIR "/add-track-dialog.png");
    QFile::remove(pagePicture);
    QFile::remove(dialogPicture);
    ExpectNoButtonCutOff(&m_host);
    EXPECT_TRUE(m_host.grab().save(pagePicture, "PNG"));

    WhenModal(u"addTrackDialog"_s, [&](QWidget* dialog) {
        dialog->findChild<QLineEdit*>(u"pathEdit"_s)->setText(SamplePath("japanese-utf16le-bom"));
        dialog->findChild<QLineEdit*>(u"labelEdit"_s)->setText(u"Japanese"_s);
        auto* language = dialog->findChild<QComboBox*>(u"languageCombo"_s);
        language->setCurrentIndex(language->findText(u"Japanese"_s));
        ExpectNoButtonCutOff(dialog);
        EXPECT_GE(dialog->width(), dialog->sizeHint().width());
        EXPECT_TRUE(dialog->grab().save(dialogPicture, "PNG"));
        QTest::keyClick(dialog, Qt::Key_Escape);
    });
    QTest::mouseClick(m_add, Qt::LeftButton);
    EXPECT_FALSE(QImage(pagePicture).isNull());
    EXPECT_FALSE(QImage(dialogPicture).isNull());
}

}  // namespace
