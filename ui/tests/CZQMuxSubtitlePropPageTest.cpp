// The property page's logic with fake windows, a recording site and a real
// multiplexer behind a recording stand-in: the edit bracket, the dirty
// state, the list, its sort and its selection.
#include <gtest/gtest.h>

#include "tests/support/CountingUnknown.h"
#include "tests/support/RecordingPageSite.h"
#include "ui/CZQMuxSubtitlePropPage.h"
#include "ui/tests/FakeViews.h"
#include "ui/tests/PageTestSupport.h"
#include "zqplatform/oleauto.h"
#include "zqsubtitle/ZQSubtitle.h"

namespace zquitest {
namespace {

using Texts = std::vector<std::u16string>;
using Calls = std::vector<std::string>;

class PropPageTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(m_mux.Inner() != nullptr);
        m_provider.Serve(&m_mux);
        ASSERT_OK(ZQCreateMuxSubtitlePropPage(nullptr, IID_IPropertyPage, reinterpret_cast<void**>(&m_page)));
        static_cast<CZQMuxSubtitlePropPage*>(m_page.Get())->SetViewFactory(&m_factory);
        ASSERT_OK(m_page->SetPageSite(&m_site));
    }

    void TearDown() override {
        m_page = nullptr;
        m_provider.Serve(nullptr);
        EXPECT_EQ(0u, m_site.References()) << "the page kept its site";
        EXPECT_EQ(0u, m_provider.References()) << "the page kept its object";
        EXPECT_EQ(0u, m_mux.References()) << "the page kept the multiplexer";
    }

    void Bind() {
        IUnknown* objects[] = {&m_provider};
        ASSERT_OK(m_page->SetObjects(1, objects));
    }
    void Unbind() {
        IUnknown* none[] = {nullptr};
        EXPECT_OK(m_page->SetObjects(0, none));
    }
    void Activate() {
        const RECT rect = {10, 20, 610, 320};
        ASSERT_OK(m_page->Activate(reinterpret_cast<HWND>(this), &rect, TRUE));
    }
    void BindAndActivate() {
        Bind();
        Activate();
    }
    FakePageView& View() const { return *m_factory.Page(); }

    /// Adds a sample through Add... and the dialog, as a user does.
    void AddThroughDialog(const char* sample, const std::u16string& label) {
        m_factory.QueueDialog([&, sample](FakeDialogView& dialog) {
            dialog.SetText(kZQPathEdit, SamplePath(sample));
            dialog.SetText(kZQLabelEdit, label);
            dialog.Events().OnOK();
        });
        View().Events().OnAddClicked();
    }
    Texts Labels() const { return View().Column(1); }
    Texts Positions() const { return View().Column(0); }
    std::vector<std::u16string> MuxLabels() const {
        std::vector<std::u16string> labels;
        for (const TrackRow& row : TextTracks(m_mux.Inner()))
            labels.push_back(row.label);
        return labels;
    }

    RecordingMux m_mux{CreateModuleMultiplexer()};
    zqtest::FakeServiceProvider m_provider;
    zqtest::RecordingPageSite m_site;
    FakeViewFactory m_factory;
    CComPtr<IPropertyPage> m_page;
};

TEST_F(PropPageTest, BindingOpensTheBracketAndUnbindingDiscardsEvenWithoutAChange) {
    Bind();
    Unbind();
    EXPECT_EQ((Calls{"EnterEdit", "LeaveEdit(-1)"}), m_mux.Calls());
    // A closed frame's null array is refused after the discard, and the
    // object stays held until the page goes.
    Bind();
    EXPECT_HR(E_POINTER, m_page->SetObjects(0, nullptr));
    EXPECT_EQ((Calls{"EnterEdit", "LeaveEdit(-1)", "EnterEdit", "LeaveEdit(-1)"}), m_mux.Calls());
    EXPECT_GT(m_provider.References(), 0u);
}

TEST_F(PropPageTest, ApplyKeepsWhatCameBeforeItAndClosingWithoutApplyLosesTheRest) {
    BindAndActivate();
    AddThroughDialog("english-utf8", u"First");
    ASSERT_OK(m_page->Apply());
    AddThroughDialog("german-cp1252", u"Second");
    EXPECT_EQ((Texts{u"First", u"Second"}), MuxLabels());
    ASSERT_OK(m_page->Deactivate());
    Unbind();
    EXPECT_EQ((Texts{u"First"}), MuxLabels());
    EXPECT_EQ((Calls{"EnterEdit", "AddTextTrackFromFile", "LeaveEdit(0)", "EnterEdit", "AddTextTrackFromFile",
                     "LeaveEdit(-1)"}),
              m_mux.Calls());
}

TEST_F(PropPageTest, BindingRefusesWhatCantServeAMultiplexerAndKeepsNothing) {
    IUnknown* two[] = {&m_provider, &m_provider};
    EXPECT_HR(E_INVALIDARG, m_page->SetObjects(2, two));
    IUnknown* null[] = {nullptr};
    EXPECT_HR(E_INVALIDARG, m_page->SetObjects(1, null));
    EXPECT_HR(E_INVALIDARG, m_page->SetObjects(1, nullptr));
    zqtest::CountingUnknown plain;
    IUnknown* withoutProvider[] = {&plain};
    EXPECT_HR(E_INVALIDARG, m_page->SetObjects(1, withoutProvider));
    EXPECT_EQ(0, plain.References());

    zqtest::FakeServiceProvider empty;
    IUnknown* servesNothing[] = {&empty};
    EXPECT_HR(E_NOINTERFACE, m_page->SetObjects(1, servesNothing));
    EXPECT_EQ(0u, empty.References());

    // While the multiplexer runs its bracket can't open, and the page can't bind.
    CComPtr<IZQMuxSubtitleControl> control;
    ASSERT_OK(ZQQueryInterface(m_mux.Inner(), &control));
    ASSERT_OK(control->Run());
    IUnknown* running[] = {&m_provider};
    EXPECT_HR(VFW_E_WRONG_STATE, m_page->SetObjects(1, running));
    EXPECT_OK(control->Stop());
    EXPECT_EQ(0u, m_provider.References()) << "the page keeps nothing";
    const RECT rect = {0, 0, 100, 100};
    EXPECT_HR(E_UNEXPECTED, m_page->Activate(nullptr, &rect, FALSE));
    EXPECT_EQ(nullptr, m_factory.Page());
}

TEST_F(PropPageTest, SiteHearsOnlyTheChangeToDirtyAndApplyMakesItClean) {
    BindAndActivate();
    EXPECT_HR(S_FALSE, m_page->IsPageDirty());
    AddThroughDialog("english-utf8", u"One");
    AddThroughDialog("english-utf8", u"Two");
    EXPECT_EQ((std::vector<DWORD>{PROPPAGESTATUS_DIRTY}), m_site.StatusChanges());
    EXPECT_OK(m_page->IsPageDirty());
    ASSERT_OK(m_page->Apply());
    EXPECT_EQ((std::vector<DWORD>{PROPPAGESTATUS_DIRTY, PROPPAGESTATUS_CLEAN}), m_site.StatusChanges());
    EXPECT_HR(S_FALSE, m_page->IsPageDirty());
}

TEST_F(PropPageTest, ApplyOnACleanPageCallsNothing) {
    BindAndActivate();
    m_mux.ClearCalls();
    const int questions = m_provider.QueryServiceCalls();
    EXPECT_OK(m_page->Apply());
    EXPECT_TRUE(m_mux.Calls().empty());
    EXPECT_EQ(questions, m_provider.QueryServiceCalls());
    EXPECT_TRUE(m_site.StatusChanges().empty());
}

TEST_F(PropPageTest, FailedApplyAnswersTheStatusAndTheChangesStayPending) {
    EXPECT_HR(E_UNEXPECTED, m_page->Apply());
    BindAndActivate();
    AddThroughDialog("english-utf8", u"One");
    m_mux.Fail("LeaveEdit(0)", E_OUTOFMEMORY);
    EXPECT_HR(E_OUTOFMEMORY, m_page->Apply());
    EXPECT_OK(m_page->IsPageDirty());
    EXPECT_EQ((std::vector<DWORD>{PROPPAGESTATUS_DIRTY}), m_site.StatusChanges());

    m_provider.Serve(nullptr);
    EXPECT_HR(E_UNEXPECTED, m_page->Apply());
    EXPECT_OK(m_page->IsPageDirty());
}

TEST_F(PropPageTest, AsksForTheMultiplexerEveryTimeAndNeverKeepsIt) {
    BindAndActivate();
    // The one reference is the host object's.
    EXPECT_EQ(1u, m_mux.References());
    const int questions = m_provider.QueryServiceCalls();
    AddThroughDialog("english-utf8", u"One");
    View().Events().OnColumnClicked(1);
    View().Events().OnRemoveClicked();
    EXPECT_GE(m_provider.QueryServiceCalls(), questions + 3);
    EXPECT_EQ(1u, m_mux.References());
}

TEST_F(PropPageTest, ActivateNeedsAnObjectARectAndAMultiplexer) {
    const RECT rect = {0, 0, 300, 200};
    EXPECT_HR(E_UNEXPECTED, m_page->Activate(nullptr, &rect, TRUE));
    Bind();
    EXPECT_HR(E_POINTER, m_page->Activate(nullptr, nullptr, TRUE));
    m_factory.m_pageFailure = HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND);
    EXPECT_HR(HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND), m_page->Activate(nullptr, &rect, TRUE));
    EXPECT_EQ(nullptr, m_factory.Page());

    // The window stays when the multiplexer is gone.
    m_factory.m_pageFailure = S_OK;
    m_provider.Serve(nullptr);
    EXPECT_HR(E_UNEXPECTED, m_page->Activate(nullptr, &rect, TRUE));
    ASSERT_NE(nullptr, m_factory.Page());
    EXPECT_FALSE(View().m_destroyed);
    EXPECT_OK(m_page->Deactivate());
    EXPECT_TRUE(View().m_destroyed);
}

TEST_F(PropPageTest, WindowIsPlacedShownMovedAndEndedByItsOperations) {
    const RECT rect = {1, 2, 3, 4};
    EXPECT_HR(E_UNEXPECTED, m_page->Show(SW_SHOW));
    EXPECT_HR(E_UNEXPECTED, m_page->Move(&rect));
    BindAndActivate();
    EXPECT_EQ(reinterpret_cast<HWND>(this), View().m_parent);
    EXPECT_EQ(610, View().m_rect.right);
    EXPECT_FALSE(View().m_visible);
    EXPECT_OK(m_page->Show(SW_SHOW));
    EXPECT_TRUE(View().m_visible);
    EXPECT_OK(m_page->Show(SW_HIDE));
    EXPECT_FALSE(View().m_visible);
    EXPECT_HR(E_POINTER, m_page->Move(nullptr));
    EXPECT_OK(m_page->Move(&rect));
    EXPECT_EQ(4, View().m_rect.bottom);
    EXPECT_HR(E_UNEXPECTED, m_page->Activate(nullptr, &rect, TRUE)) << "a second window while one exists";
    EXPECT_OK(m_page->Deactivate());
    EXPECT_TRUE(View().m_destroyed);
    EXPECT_OK(m_page->Deactivate());
    EXPECT_HR(E_UNEXPECTED, m_page->Show(SW_SHOW));
}

TEST_F(PropPageTest, PageInfoHasTitleDescriptionNoHelpAndTheTemplatesSize) {
    EXPECT_HR(E_POINTER, m_page->GetPageInfo(nullptr));
    for (bool canMeasure : {true, false}) {
        SCOPED_TRACE(canMeasure ? "measured font" : "no font yet");
        m_factory.m_canMeasure = canMeasure;
        PROPPAGEINFO info{};
        ASSERT_OK(m_page->GetPageInfo(&info));
        EXPECT_EQ(sizeof(PROPPAGEINFO), info.cb);
        EXPECT_EQ(std::u16string(u"Subtitles"), info.pszTitle);
        EXPECT_EQ(std::u16string(u"Multiplexer Subtitle Properties"), info.pszDocString);
        EXPECT_EQ(nullptr, info.pszHelpFile);
        EXPECT_EQ(0u, info.dwHelpContext);
        // 345 by 146 dialog units in the fake's font, or 6 by 13 pixels per
        // pair of base units without one.
        EXPECT_EQ(canMeasure ? 345 * kFakeBaseUnitX / 4 : 345 * 6 / 4, info.size.cx);
        EXPECT_EQ(canMeasure ? 146 * kFakeBaseUnitY / 8 : 146 * 13 / 8, info.size.cy);
        CoTaskMemFree(info.pszTitle);
        CoTaskMemFree(info.pszDocString);
    }
}

TEST_F(PropPageTest, HelpShowsNothingAndOnlyInputMessagesReachTheWindow) {
    EXPECT_HR(E_OUTOFMEMORY, m_page->Help(u"/usr/share/doc"));
    EXPECT_HR(E_POINTER, m_page->TranslateAccelerator(nullptr));
    MSG message{};
    message.message = 0x0100;  // a key goes down
    EXPECT_HR(S_FALSE, m_page->TranslateAccelerator(&message)) << "no window";
    BindAndActivate();
    View().m_takesDialogMessages = true;
    EXPECT_OK(m_page->TranslateAccelerator(&message));
    message.message = 0x020E;  // the last mouse message
    EXPECT_OK(m_page->TranslateAccelerator(&message));
    message.message = 0x000F;  // a paint is no input
    EXPECT_HR(S_FALSE, m_page->TranslateAccelerator(&message));
    EXPECT_EQ(2, View().m_dialogMessages);
    View().m_takesDialogMessages = false;
    message.message = 0x0109;
    EXPECT_HR(S_FALSE, m_page->TranslateAccelerator(&message));
}

TEST_F(PropPageTest, ListShowsEachTextTrackWithItsPositionLabelLanguageAndId) {
    const LONG english = AddSample(m_mux.Inner(), "english-utf8", u"English subtitles", u"en");
    const LONG russian = AddSample(m_mux.Inner(), "russian-cp1251", u"Russian", u"rus");
    const LONG none = AddSample(m_mux.Inner(), "english-utf8", u"", u"");
    BindAndActivate();
    // W is 64 dialog units: 112 pixels in the fake's font.
    EXPECT_EQ((std::vector<std::pair<std::u16string, int>>{{u"#", 28}, {u"Label", 112}, {u"Language", 280}}),
              View().m_columns);
    EXPECT_EQ((Texts{u"1", u"2", u"3"}), Positions());
    EXPECT_EQ((Texts{u"English subtitles", u"Russian", u""}), Labels());
    EXPECT_EQ((Texts{u"English", u"Russian", u""}), View().Column(2));
    EXPECT_EQ(english, View().GetItemData(0));
    EXPECT_EQ(russian, View().GetItemData(1));
    EXPECT_EQ(none, View().GetItemData(2));
    EXPECT_EQ(-1, View().GetSelectedItem());
    EXPECT_FALSE(View().m_removeEnabled);
    EXPECT_EQ(0, View().m_sortColumn);
    EXPECT_TRUE(View().m_sortAscending);
    EXPECT_TRUE(View().m_focusSet);
}

/// Eleven tracks, so that positions 10 and 11 follow 9, with labels equal
/// but for case.
class PropPageSortTest : public PropPageTest {
protected:
    void SetUp() override {
        PropPageTest::SetUp();
        const char16_t* labels[] = {u"beta", u"ABC", u"alpha", u"abc", u"Beta", u"c", u"B", u"a", u"abc", u"z", u"Abc"};
        for (const char16_t* label : labels)
            AddSample(m_mux.Inner(), "english-utf8", label);
        BindAndActivate();
    }
};

TEST_F(PropPageSortTest, PositionsCompareAsNumbersInBothDirections) {
    const Texts ascending = {u"1", u"2", u"3", u"4", u"5", u"6", u"7", u"8", u"9", u"10", u"11"};
    EXPECT_EQ(ascending, Positions());
    View().Events().OnColumnClicked(0);
    EXPECT_EQ(Texts(ascending.rbegin(), ascending.rend()), Positions());
    EXPECT_EQ(0, View().m_sortColumn);
    EXPECT_FALSE(View().m_sortAscending);
    View().Events().OnColumnClicked(0);
    EXPECT_EQ(ascending, Positions());
}

TEST_F(PropPageSortTest, LabelsCompareWithoutCaseAndEqualOnesKeepTheirPositionInTheSortsDirection) {
    View().Events().OnColumnClicked(1);
    EXPECT_EQ(1, View().m_sortColumn);
    EXPECT_TRUE(View().m_sortAscending);
    EXPECT_EQ((Texts{u"a", u"ABC", u"abc", u"abc", u"Abc", u"alpha", u"B", u"beta", u"Beta", u"c", u"z"}), Labels());
    EXPECT_EQ((Texts{u"8", u"2", u"4", u"9", u"11", u"3", u"7", u"1", u"5", u"6", u"10"}), Positions());

    View().Events().OnColumnClicked(1);
    EXPECT_FALSE(View().m_sortAscending);
    EXPECT_EQ((Texts{u"z", u"c", u"Beta", u"beta", u"B", u"alpha", u"Abc", u"abc", u"abc", u"ABC", u"a"}), Labels());
    EXPECT_EQ((Texts{u"10", u"6", u"5", u"1", u"7", u"3", u"11", u"9", u"4", u"2", u"8"}), Positions());

    // Another column starts ascending again, and the sort outlives a rebuild.
    View().Events().OnColumnClicked(2);
    EXPECT_TRUE(View().m_sortAscending);
    EXPECT_EQ(Texts(Positions().size(), u"English"), View().Column(2));
    View().Events().OnColumnClicked(1);
    EXPECT_TRUE(View().m_sortAscending);
    AddThroughDialog("english-utf8", u"Abd");
    EXPECT_EQ(u"Abd", Labels()[5]);
}

TEST_F(PropPageSortTest, SelectionMovesWithItsRowWhenSorted) {
    View().Click(1);  // ABC
    View().Events().OnColumnClicked(0);
    EXPECT_EQ(9, View().GetSelectedItem());
    EXPECT_EQ(u"ABC", Labels()[9]);
}

TEST_F(PropPageTest, AddSelectsTheNewTrackWhereverTheSortPutsIt) {
    AddSample(m_mux.Inner(), "english-utf8", u"a");
    AddSample(m_mux.Inner(), "english-utf8", u"c");
    BindAndActivate();
    View().Events().OnColumnClicked(1);
    AddThroughDialog("german-cp1252", u"b");
    EXPECT_EQ((Texts{u"a", u"b", u"c"}), Labels());
    EXPECT_EQ(1, View().GetSelectedItem());
    EXPECT_EQ(1, View().m_visibleItem);
    EXPECT_TRUE(View().m_removeEnabled);
    EXPECT_EQ(&View(), m_factory.m_lastOwner) << "the dialog belongs to the page's window";
}

TEST_F(PropPageTest, CancelledDialogChangesNothing) {
    BindAndActivate();
    m_factory.QueueDialog([](FakeDialogView& dialog) { dialog.Events().OnCancel(); });
    View().Events().OnAddClicked();
    EXPECT_EQ(1u, m_factory.DialogCount());
    EXPECT_TRUE(m_factory.Dialog()->m_destroyed);
    EXPECT_TRUE(Labels().empty());
    EXPECT_HR(S_FALSE, m_page->IsPageDirty());
    EXPECT_TRUE(m_site.StatusChanges().empty());
}

TEST_F(PropPageTest, DroppedFileOpensTheDialogWithItsPath) {
    BindAndActivate();
    std::u16string shown;
    m_factory.QueueDialog([&](FakeDialogView& dialog) {
        shown = dialog.GetText(kZQPathEdit);
        dialog.Events().OnOK();
    });
    View().Events().OnFileDropped(SamplePath("japanese-utf16le-bom"));
    EXPECT_EQ(SamplePath("japanese-utf16le-bom"), shown);
    EXPECT_EQ(1u, Labels().size());
    EXPECT_EQ(0, View().GetSelectedItem());
}

TEST_F(PropPageTest, RemoveKeepsTheSelectionInPlaceThenOnTheNewLastThenNone) {
    for (const char16_t* label : {u"one", u"two", u"three"})
        AddSample(m_mux.Inner(), "english-utf8", label);
    BindAndActivate();
    View().Events().OnRemoveClicked();
    EXPECT_EQ((Calls{"EnterEdit"}), m_mux.Calls()) << "nothing is removed without a selection";
    EXPECT_HR(S_FALSE, m_page->IsPageDirty());

    View().Click(1);
    EXPECT_TRUE(View().m_removeEnabled);
    View().Events().OnRemoveClicked();
    EXPECT_EQ((Texts{u"one", u"three"}), Labels());
    EXPECT_EQ(1, View().GetSelectedItem());
    View().Events().OnRemoveClicked();
    EXPECT_EQ((Texts{u"one"}), Labels());
    EXPECT_EQ(0, View().GetSelectedItem());
    View().Events().OnRemoveClicked();
    EXPECT_TRUE(Labels().empty());
    EXPECT_EQ(-1, View().GetSelectedItem());
    EXPECT_FALSE(View().m_removeEnabled);
    EXPECT_EQ((Calls{"EnterEdit", "RemoveTrack(2)", "RemoveTrack(3)", "RemoveTrack(1)"}), m_mux.Calls());
    EXPECT_EQ((std::vector<DWORD>{PROPPAGESTATUS_DIRTY}), m_site.StatusChanges());
}

}  // namespace
}  // namespace zquitest
