// The Add Subtitle Track dialog's logic with a fake window and a real
// multiplexer: what it shows, what OK sends, what the user is told.
#include <gtest/gtest.h>

#include "subtitle/LanguageTable.h"
#include "ui/CZQMuxSubtitleAddTrackDlg.h"
#include "ui/tests/FakeViews.h"
#include "ui/tests/PageTestSupport.h"

namespace zquitest {
namespace {

constexpr int kGerman = 154;  // "German" is row 153 of the table, behind "< None >"

class AddTrackDlgTest : public ::testing::Test {
protected:
    /// Runs a dialog whose user is `script`; answers DoModal's result.
    int Run(CZQMuxSubtitleAddTrackDlg& dialog, FakeDialogView::Script script) {
        m_factory.QueueDialog(std::move(script));
        return dialog.DoModal(m_factory, nullptr);
    }
    FakeDialogView& View() const { return *m_factory.Dialog(); }

    CComPtr<IZQMuxSubtitle> m_mux = CreateModuleMultiplexer();
    FakeViewFactory m_factory;
};

TEST_F(AddTrackDlgTest, ShowsNoneAndEveryLanguagePreselectsTheGivenOneAndLimitsTheFields) {
    CZQMuxSubtitleAddTrackDlg dialog(m_mux.Get());
    dialog.m_language = u"ger";
    dialog.m_path = u"/films/a.srt";
    dialog.m_label = u"Deutsch";
    EXPECT_EQ(IDCANCEL, Run(dialog, [](FakeDialogView& view) { view.Events().OnCancel(); }));
    ASSERT_EQ(487u, View().m_languages.size());
    EXPECT_EQ(u"< None >", View().m_languages[0]);
    for (int row = 0; row < kLanguageRowCount; ++row)
        ASSERT_EQ(std::u16string(LanguageTable[row].EnglishName), View().m_languages[static_cast<size_t>(row) + 1]);
    EXPECT_EQ(kGerman, View().m_selection);
    EXPECT_EQ((std::map<int, int>{{kZQPathEdit, 259}, {kZQLabelEdit, 255}}), View().m_limits);
    EXPECT_EQ(u"/films/a.srt", View().m_texts[kZQPathEdit]);
    EXPECT_EQ(u"Deutsch", View().m_texts[kZQLabelEdit]);
    EXPECT_TRUE(View().m_destroyed);

    // Only the bibliographic code is a key here; anything else is no language.
    for (const char16_t* language : {u"", u"de", u"deu", u"xx"}) {
        CZQMuxSubtitleAddTrackDlg other(m_mux.Get());
        other.m_language = language;
        Run(other, [](FakeDialogView& view) { view.Events().OnCancel(); });
        EXPECT_EQ(0, View().m_selection) << std::string(language, language + std::char_traits<char16_t>::length(language));
    }
}

TEST_F(AddTrackDlgTest, OkTrimsPathAndLabelSendsTheBibliographicCodeAndCloses) {
    CZQMuxSubtitleAddTrackDlg dialog(m_mux.Get());
    const std::u16string typedPath = u" \t" + SamplePath("german-cp1252") + u"\u3000 ";
    const int result = Run(dialog, [&](FakeDialogView& view) {
        view.SetText(kZQPathEdit, typedPath);
        view.SetText(kZQLabelEdit, u"\u00A0 Deutsch ");
        view.SetLanguageSelection(view.LanguageIndex(u"German"));
        view.Events().OnOK();
    });
    EXPECT_EQ(IDOK, result);
    EXPECT_EQ(SamplePath("german-cp1252"), dialog.m_path);
    EXPECT_EQ(u"Deutsch", dialog.m_label);
    EXPECT_EQ(u"ger", dialog.m_language);
    // The field keeps what was typed; only the fields of the object are trimmed.
    EXPECT_EQ(typedPath, View().m_texts[kZQPathEdit]);
    EXPECT_TRUE(View().m_messages.empty());
    const std::vector<TrackRow> tracks = TextTracks(m_mux.Get());
    ASSERT_EQ(1u, tracks.size());
    EXPECT_EQ((TrackRow{dialog.m_trackid, u"Deutsch", u"ger"}), tracks[0]);
    EXPECT_NE(0, dialog.m_trackid);
}

TEST_F(AddTrackDlgTest, NoneSendsAnEmptyLanguageAndTheLabelIsOptional) {
    CZQMuxSubtitleAddTrackDlg dialog(m_mux.Get());
    dialog.m_language = u"rus";
    const int result = Run(dialog, [&](FakeDialogView& view) {
        view.SetText(kZQPathEdit, SamplePath("english-utf8"));
        view.SetLanguageSelection(0);
        view.Events().OnOK();
    });
    EXPECT_EQ(IDOK, result);
    EXPECT_EQ(u"", dialog.m_language);
    EXPECT_EQ((std::vector<TrackRow>{{dialog.m_trackid, u"", u""}}), TextTracks(m_mux.Get()));
}

TEST_F(AddTrackDlgTest, EmptyOrBlankPathIsRefusedWithAMessageAndTheDialogStaysOpen) {
    CZQMuxSubtitleAddTrackDlg dialog(m_mux.Get());
    const int result = Run(dialog, [](FakeDialogView& view) {
        view.Events().OnOK();
        view.SetText(kZQPathEdit, u" \u2003 ");
        view.SetText(kZQLabelEdit, u"kept");
        view.SetFocus(kZQLabelEdit);
        view.Events().OnOK();
        ASSERT_FALSE(view.Ended());
        EXPECT_EQ(kZQPathEdit, view.m_focus);
        view.Events().OnCancel();
    });
    EXPECT_EQ(IDCANCEL, result);
    ASSERT_EQ(2u, View().m_messages.size());
    for (const FakeMessage& message : View().m_messages) {
        EXPECT_EQ(u"You must specify a subtitle file path.", message.text);
        EXPECT_EQ(u"Error", message.caption);
        EXPECT_EQ(0x30u, message.flags);
    }
    EXPECT_EQ(u"kept", View().m_texts[kZQLabelEdit]);
    EXPECT_TRUE(TextTracks(m_mux.Get()).empty());
}

TEST_F(AddTrackDlgTest, FailedAddShowsTheStatusTextKeepsWhatWasTypedAndCancelAddsNothing) {
    CZQMuxSubtitleAddTrackDlg dialog(m_mux.Get());
    const int result = Run(dialog, [](FakeDialogView& view) {
        view.SetText(kZQPathEdit, MissingPath());
        view.SetText(kZQLabelEdit, u"Label");
        view.Events().OnOK();
        EXPECT_FALSE(view.Ended());
        EXPECT_EQ(kZQPathEdit, view.m_focus);
        view.Events().OnCancel();
    });
    EXPECT_EQ(IDCANCEL, result);
    ASSERT_EQ(1u, View().m_messages.size());
    EXPECT_EQ(u"The system cannot find the file specified.", View().m_messages[0].text);
    EXPECT_EQ(u"Error", View().m_messages[0].caption);
    EXPECT_EQ(MissingPath(), View().m_texts[kZQPathEdit]);
    EXPECT_EQ(u"Label", View().m_texts[kZQLabelEdit]);
    EXPECT_EQ(0, dialog.m_trackid);
    EXPECT_TRUE(TextTracks(m_mux.Get()).empty());
}

TEST_F(AddTrackDlgTest, BrowseStartsFromThePathLastReadWithSubRipFilesShown) {
    CZQMuxSubtitleAddTrackDlg dialog(m_mux.Get());
    dialog.m_path = u"/films/seed.srt";
    m_factory.SetChooser([](ZQOpenFileRequest& request) {
        if (request.file != u"/films/seed.srt")
            return false;
        request.file = u"/films/chosen.srt";
        return true;
    });
    Run(dialog, [](FakeDialogView& view) {
        view.SetText(kZQPathEdit, u"/typed/but/not/read.srt");
        view.Events().OnBrowse();
        EXPECT_EQ(u"/films/chosen.srt", view.m_texts[kZQPathEdit]);
        // The chooser now starts from the chosen file and is cancelled.
        view.Events().OnBrowse();
        EXPECT_EQ(u"/films/chosen.srt", view.m_texts[kZQPathEdit]);
        view.Events().OnCancel();
    });
    ASSERT_EQ(2u, View().m_chooserRequests.size());
    const ZQOpenFileRequest& request = View().m_chooserRequests[0];
    EXPECT_EQ(u"/films/seed.srt", request.file);
    ASSERT_EQ(2u, request.filters.size());
    EXPECT_EQ(u"All", request.filters[0].name);
    EXPECT_EQ(u"*.*", request.filters[0].pattern);
    EXPECT_EQ(u"SubRip", request.filters[1].name);
    EXPECT_EQ(u"*.srt", request.filters[1].pattern);
    EXPECT_EQ(2, request.filterIndex);
    EXPECT_EQ(260, request.maxFile);
    EXPECT_TRUE(request.fileMustExist);
    EXPECT_EQ(u"/films/chosen.srt", View().m_chooserRequests[1].file);
    EXPECT_EQ(u"/films/chosen.srt", dialog.m_path);
}

}  // namespace
}  // namespace zquitest
