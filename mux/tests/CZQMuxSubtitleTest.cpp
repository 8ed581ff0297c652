#include "mux/CZQMuxSubtitle.h"

#include <gtest/gtest.h>

#include <random>

#include "mux/tests/MuxTestSupport.h"
#include "tests/support/CountingUnknown.h"
#include "zqsubtitle/ZQSubtitleMediaType.h"

namespace {

using namespace zqmuxtest;

class MuxSubtitleTest : public MuxTest {
protected:
    /// The host set, with its announcement of the present list forgotten.
    void ConnectHost() {
        ASSERT_OK(Control()->SetCallback(&m_host));
        m_host.ClearCalls();
    }

    /// Run until every one of `tracks` tracks has ended, then Stop.
    void RunToTheEnd(size_t tracks) {
        const size_t ends = m_host.CountCalls(MuxHostCallKind::EndOfStream);
        ASSERT_OK(Control()->Run());
        ASSERT_TRUE(m_host.WaitForCalls(MuxHostCallKind::EndOfStream, ends + tracks));
        ASSERT_OK(Control()->Stop());
    }
};

MuxHostCall ReceiveCall(LONG trackid, const std::string& prefix, int index) {
    return MuxHostCall{MuxHostCallKind::Receive, trackid, CueStart(index), CueStop(index), CueText(prefix, index)};
}

MuxHostCall EndCall(LONG trackid) {
    return MuxHostCall{MuxHostCallKind::EndOfStream, trackid};
}

/// Each call, readable in a failure; the line ends left behind a cue's text are the parser's business.
std::vector<std::string> Describe(const std::vector<MuxHostCall>& calls) {
    static const char* const kNames[] = {"Receive", "EndOfStream", "AddTrack", "RemoveAllTracks", "RemoveTrack"};
    std::vector<std::string> lines;
    for (const MuxHostCall& call : calls) {
        lines.push_back(std::string(kNames[static_cast<int>(call.kind)]) + " " + std::to_string(call.trackid) + " " +
                        std::to_string(call.start) + "-" + std::to_string(call.stop) + " '" +
                        WithoutLineEnds(call.data) + "'");
    }
    return lines;
}

TEST(MuxSubtitleCreation, ServesItsThreeInterfacesAndAggregatesOnlyForIUnknown) {
    const LONG baseLocks = ZQModule().GetLockCount();
    {
        CComPtr<IZQMuxSubtitle> mux;
        ASSERT_OK(ZQCreateMuxSubtitle(nullptr, IID_IZQMuxSubtitle, reinterpret_cast<void**>(&mux)));
        CComPtr<IUnknown> unknown;
        CComPtr<IDispatch> dispatch;
        ASSERT_OK(mux.QueryInterface(&unknown));
        ASSERT_OK(mux.QueryInterface(&dispatch));
        EXPECT_EQ(static_cast<void*>(unknown.Get()), static_cast<void*>(mux.Get()));
        EXPECT_EQ(static_cast<void*>(dispatch.Get()), static_cast<void*>(mux.Get()));
        CComPtr<IZQSubtitleTrackList> notServed;
        EXPECT_HR(E_NOINTERFACE, mux.QueryInterface(&notServed));
    }
    zqtest::CountingUnknown outer;
    void* out = reinterpret_cast<void*>(1);
    EXPECT_HR(CLASS_E_NOAGGREGATION, ZQCreateMuxSubtitle(&outer, IID_IZQMuxSubtitle, &out));
    EXPECT_EQ(nullptr, out);
    EXPECT_HR(E_POINTER, ZQCreateMuxSubtitle(nullptr, IID_IUnknown, nullptr));

    IUnknown* inner = nullptr;
    ASSERT_OK(ZQCreateMuxSubtitle(&outer, IID_IUnknown, reinterpret_cast<void**>(&inner)));
    IZQMuxSubtitleControl* control = nullptr;
    ASSERT_OK(inner->QueryInterface(IID_IZQMuxSubtitleControl, reinterpret_cast<void**>(&control)));
    EXPECT_EQ(1, outer.References()) << "an aggregated interface counts on its outer object";
    EXPECT_OK(control->Run());
    EXPECT_OK(control->Stop());
    control->Release();
    inner->Release();
    EXPECT_EQ(0, outer.References());
    EXPECT_EQ(baseLocks, ZQModule().GetLockCount());
}

TEST_F(MuxSubtitleTest, AnnouncesEachTrackAndTheWholeListOnSetCallbackButNothingOfACallThatFails) {
    ConnectHost();
    EXPECT_HR(E_POINTER, Mux()->get_Tracks(nullptr));
    EXPECT_HR(E_POINTER, Mux()->get_TextTracks(nullptr));
    EXPECT_HR(E_POINTER, Control()->GetTrackData(1, nullptr));
    LONGLONG data = 3;
    EXPECT_HR(E_INVALIDARG, Control()->GetTrackData(1, &data));
    EXPECT_EQ(3, data);
    EXPECT_HR(E_INVALIDARG, Control()->SetTrackData(0, 1));
    const Bstr missing(m_files.Missing());
    const Bstr broken(m_files.WriteRaw("broken.srt", "1\nthis is no time line\nText\n"));
    LONG id = 77;
    EXPECT_HR(HRESULT_FROM_WIN32(2), Mux()->AddTextTrackFromFile(missing, nullptr, nullptr, &id));
    EXPECT_HR(VFW_E_INVALID_FILE_FORMAT, Mux()->AddTextTrackFromFile(broken, nullptr, nullptr, &id));
    EXPECT_FALSE(SUCCEEDED(Mux()->AddTextTrackFromFile(nullptr, nullptr, nullptr, &id)));
    EXPECT_EQ(77, id);
    EXPECT_TRUE(m_host.Calls().empty());
    EXPECT_TRUE(ListView(Mux()).empty());

    const Bstr path(m_files.Write("a.srt", 2));
    ASSERT_OK(Mux()->AddTextTrackFromFile(path, Bstr(u"Director's comments"), Bstr(u"de"), &id));
    EXPECT_EQ(1, id);
    ASSERT_OK(Mux()->AddTextTrackFromFile(path, nullptr, nullptr, nullptr));
    const std::vector<MuxHostCall> calls = m_host.Calls();
    ASSERT_EQ(2u, calls.size());
    EXPECT_EQ(MuxHostCallKind::AddTrack, calls[0].kind);
    EXPECT_EQ(MEDIATYPE_Subtitle, calls[0].majortype);
    EXPECT_EQ(MEDIASUBTYPE_UTF8, calls[0].subtype);
    EXPECT_EQ(FORMAT_SubtitleInfo, calls[0].formattype);
    EXPECT_EQ((TrackView{{1, u"Director's comments"}, {2, u""}}), HostView(calls));
    EXPECT_EQ(HostView(calls), ListView(Mux()));

    // SetCallback announces the whole list again, every time.
    ASSERT_OK(Control()->SetCallback(&m_host));
    ASSERT_EQ(5u, m_host.Calls().size());
    EXPECT_EQ(MuxHostCallKind::RemoveAllTracks, m_host.Calls()[2].kind);
    EXPECT_EQ(HostView(calls), HostView(m_host.Calls()));
    EXPECT_EQ(1, m_host.References());

    // A failed RemoveAllTracks is the answer, and the new callback stays set.
    zqtest::RecordingMuxHost other;
    other.SetResponder([](const MuxHostCall& call) { return call.kind == MuxHostCallKind::RemoveAllTracks ? E_FAIL : S_OK; });
    EXPECT_HR(E_FAIL, Control()->SetCallback(&other));
    EXPECT_EQ(1u, other.Calls().size());
    EXPECT_EQ(0, m_host.References()) << "the old callback was let go";
    m_host.ClearCalls();
    AddTrack(Mux(), m_files.Write("c.srt", 1));
    EXPECT_EQ(1u, other.CountCalls(MuxHostCallKind::AddTrack));
    EXPECT_TRUE(m_host.Calls().empty()) << "the old callback hears nothing more";

    EXPECT_OK(Control()->SetCallback(nullptr));
    EXPECT_EQ(0, other.References());
    AddTrack(Mux(), m_files.Write("d.srt", 1));
    EXPECT_EQ(4u, ListView(Mux()).size());
}

TEST_F(MuxSubtitleTest, DiscardPutsRemovedTracksBackUnderTheirOldIds) {
    ConnectHost();
    AddTrack(Mux(), m_files.Write("a.srt", 2, "A"), u"A");
    AddTrack(Mux(), m_files.Write("b.srt", 1, "B"), u"B");
    ASSERT_OK(Control()->SetTrackData(1, 42));
    ASSERT_OK(Mux()->EnterEdit());
    ASSERT_OK(Mux()->RemoveTrack(1));
    ASSERT_EQ(1, AddTrack(Mux(), m_files.Write("c.srt", 1, "C"), u"C")) << "the lowest free id is reused";
    ASSERT_OK(Control()->SetTrackData(2, 7));
    CComPtr<IZQSubtitleTrackList> duringEdit;
    ASSERT_OK(Mux()->get_Tracks(&duringEdit));
    CComPtr<IZQSubtitleTrack> added;
    ASSERT_OK(duringEdit->GetTrackByID(1, &added));
    duringEdit.Release();

    ASSERT_OK(Mux()->LeaveEdit(VARIANT_TRUE));
    EXPECT_EQ((TrackView{{1, u"A"}, {2, u"B"}}), ListView(Mux()));

    // The dropped track stays readable for whoever holds it, without an id.
    LONG addedId = -1;
    EXPECT_OK(added->get_ID(&addedId));
    EXPECT_EQ(0, addedId);

    // Host data lives in the tracks, so the edit doesn't undo it.
    LONGLONG data = 0;
    EXPECT_OK(Control()->GetTrackData(1, &data));
    EXPECT_EQ(42, data);
    EXPECT_OK(Control()->GetTrackData(2, &data));
    EXPECT_EQ(7, data);

    // The restored track's cues go out under its old id.
    m_host.ClearCalls();
    RunToTheEnd(2);
    const std::vector<MuxHostCall> received = m_host.Calls(MuxHostCallKind::Receive);
    ASSERT_EQ(3u, received.size());
    EXPECT_EQ(1, received[0].trackid);
    EXPECT_EQ(CueText("A", 1), WithoutLineEnds(received[0].data));
}

// Random nested edits, adds and removes: after each step the list and the host's view match a model.
TEST_F(MuxSubtitleTest, EditBracketKeepsTheHostInStepWithTheList) {
    const std::u16string file = m_files.Write("a.srt", 1);
    ConnectHost();
    for (unsigned seed = 1; seed <= 4; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        TrackView model = ListView(Mux());
        std::vector<TrackView> saved;
        for (int step = 0; step < 60; ++step) {
            SCOPED_TRACE("step " + std::to_string(step));
            const int choice = static_cast<int>(random() % 10);
            if (choice < 3) {
                const std::u16string label = u"t" + std::u16string(1, static_cast<char16_t>(u'a' + step % 26));
                LONG id = 1;
                while (std::any_of(model.begin(), model.end(), [&](const auto& entry) { return entry.first == id; }))
                    ++id;
                ASSERT_EQ(id, AddTrack(Mux(), file, label));
                model.emplace_back(id, label);
            } else if (choice < 5 && !model.empty()) {
                const auto victim = model.begin() + static_cast<long>(random() % model.size());
                ASSERT_OK(Mux()->RemoveTrack(victim->first));
                model.erase(victim);
            } else if (choice < 7) {
                ASSERT_OK(Mux()->EnterEdit());
                saved.push_back(model);
            } else {
                const bool discard = choice == 9;
                ASSERT_OK(Mux()->LeaveEdit(discard ? VARIANT_TRUE : VARIANT_FALSE));
                if (!saved.empty() && discard)
                    model = saved.back();
                if (!saved.empty())
                    saved.pop_back();
            }
            ASSERT_EQ(model, ListView(Mux()));
            ASSERT_EQ(model, HostView(m_host.Calls()));
        }
        while (!saved.empty()) {
            ASSERT_OK(Mux()->LeaveEdit(VARIANT_FALSE));
            saved.pop_back();
        }
    }
}

struct RefusedOperation {
    const char* name;
    std::function<HRESULT(IZQMuxSubtitle*, IZQMuxSubtitleControl*, BSTR file)> call;
};

class MuxRefusedWhileRunningTest : public MuxSubtitleTest, public ::testing::WithParamInterface<RefusedOperation> {};

TEST_P(MuxRefusedWhileRunningTest, AnswersWrongStateAndChangesNothing) {
    ConnectHost();
    const Bstr file(m_files.Write("a.srt", 3));
    AddTrack(Mux(), m_files.Write("b.srt", 3), u"B");
    ASSERT_OK(Control()->SetTrackData(1, 5));
    ASSERT_OK(Control()->Run());
    ASSERT_TRUE(m_host.WaitForCalls(MuxHostCallKind::EndOfStream, 1));
    const size_t calls = m_host.Calls().size();

    EXPECT_HR(VFW_E_WRONG_STATE, GetParam().call(Mux(), Control(), file));
    EXPECT_EQ(calls, m_host.Calls().size());
    EXPECT_EQ((TrackView{{1, u"B"}}), ListView(Mux()));
    LONGLONG data = 0;
    EXPECT_OK(Control()->GetTrackData(1, &data));
    EXPECT_EQ(5, data);

    // Once stopped, the same call is carried out.
    ASSERT_OK(Control()->Stop());
    EXPECT_OK(GetParam().call(Mux(), Control(), file));
}

INSTANTIATE_TEST_SUITE_P(
    EveryEditingOperation, MuxRefusedWhileRunningTest,
    ::testing::Values(
        RefusedOperation{"AddTextTrackFromFile",
                         [](IZQMuxSubtitle* mux, IZQMuxSubtitleControl*, BSTR file) {
                             return mux->AddTextTrackFromFile(file, nullptr, nullptr, nullptr);
                         }},
        RefusedOperation{"RemoveTrack", [](IZQMuxSubtitle* mux, IZQMuxSubtitleControl*, BSTR) { return mux->RemoveTrack(1); }},
        RefusedOperation{"EnterEdit", [](IZQMuxSubtitle* mux, IZQMuxSubtitleControl*, BSTR) { return mux->EnterEdit(); }},
        RefusedOperation{"LeaveEdit",
                         [](IZQMuxSubtitle* mux, IZQMuxSubtitleControl*, BSTR) { return mux->LeaveEdit(VARIANT_TRUE); }},
        RefusedOperation{"SetCallback",
                         [](IZQMuxSubtitle*, IZQMuxSubtitleControl* control, BSTR) { return control->SetCallback(nullptr); }},
        RefusedOperation{"SetTrackData",
                         [](IZQMuxSubtitle*, IZQMuxSubtitleControl* control, BSTR) { return control->SetTrackData(1, 6); }}),
    [](const ::testing::TestParamInfo<RefusedOperation>& param) { return std::string(param.param.name); });

TEST_F(MuxSubtitleTest, EachPassSendsOneCueOfEveryUnfinishedTrack) {
    ConnectHost();
    ASSERT_OK(Control()->Run());
    ASSERT_OK(Control()->Stop());
    EXPECT_TRUE(m_host.Calls().empty()) << "an empty list makes no call";

    AddTrack(Mux(), m_files.Write("a.srt", 3, "A"));
    AddTrack(Mux(), m_files.Write("b.srt", 1, "B"));
    m_host.ClearCalls();
    ASSERT_OK(Mux()->EnterEdit());
    EXPECT_HR(VFW_E_WRONG_STATE, Control()->Run()) << "Run waits for the edit to close";
    EXPECT_OK(Control()->Stop());
    ASSERT_OK(Mux()->LeaveEdit(VARIANT_FALSE));
    ASSERT_OK(Control()->Run());
    EXPECT_OK(Control()->Run()) << "a second Run doesn't rewind";
    ASSERT_TRUE(m_host.WaitForCalls(MuxHostCallKind::EndOfStream, 2));
    EXPECT_OK(Control()->Stop());
    EXPECT_OK(Control()->Stop());
    const std::vector<MuxHostCall> expected{ReceiveCall(1, "A", 1), ReceiveCall(2, "B", 1), ReceiveCall(1, "A", 2),
                                            EndCall(2),             ReceiveCall(1, "A", 3), EndCall(1)};
    EXPECT_EQ(Describe(expected), Describe(m_host.Calls()));

    // Every run sends everything again, from the first cue; any success keeps the pump going.
    m_host.ClearCalls();
    m_host.SetResponder([](const MuxHostCall&) { return S_FALSE; });
    RunToTheEnd(2);
    EXPECT_EQ(Describe(expected), Describe(m_host.Calls()));
}

struct HostFailure {
    const char* name;
    MuxHostCallKind failing;
    int cuesOfFirstTrack;
    size_t callsBeforeStop;
};

class MuxHostFailureTest : public MuxSubtitleTest, public ::testing::WithParamInterface<HostFailure> {};

// A failure of track 1 ends the pass (nothing for track 2) and the pump rests until Stop and Run.
TEST_P(MuxHostFailureTest, EndsThePumpSilentlyUntilTheNextRun) {
    const HostFailure& failure = GetParam();
    AddTrack(Mux(), m_files.Write("a.srt", failure.cuesOfFirstTrack, "A"));
    AddTrack(Mux(), m_files.Write("b.srt", 30, "B"));
    ConnectHost();
    std::atomic<bool> failed{false};
    m_host.SetResponder([&](const MuxHostCall& call) {
        if (call.kind != failure.failing || call.trackid != 1 || failed.exchange(true))
            return S_OK;
        return E_FAIL;
    });
    ASSERT_OK(Control()->Run());
    ASSERT_TRUE(WaitUntil([&] { return failed.load(); }));
    // A pump that went on would have sent more by the time Stop gets in.
    CComPtr<IZQSubtitleTrackList> list;
    EXPECT_OK(Mux()->get_Tracks(&list));
    ASSERT_OK(Control()->Stop());
    EXPECT_EQ(failure.callsBeforeStop, m_host.Calls().size()) << ::testing::PrintToString(Describe(m_host.Calls()));

    m_host.ClearCalls();
    RunToTheEnd(2);
    EXPECT_EQ(static_cast<size_t>(failure.cuesOfFirstTrack + 30), m_host.CountCalls(MuxHostCallKind::Receive));
}

INSTANTIATE_TEST_SUITE_P(Calls, MuxHostFailureTest,
                         ::testing::Values(HostFailure{"Receive", MuxHostCallKind::Receive, 30, 1},
                                           HostFailure{"EndOfStream", MuxHostCallKind::EndOfStream, 1, 3}),
                         [](const ::testing::TestParamInfo<HostFailure>& param) { return std::string(param.param.name); });

TEST_F(MuxSubtitleTest, StopWaitsForAReceiveThatBlocksAndNothingFollowsIt) {
    AddTrack(Mux(), m_files.Write("a.srt", 5));
    ConnectHost();
    Gate gate(false);
    std::atomic<bool> receiveReturned{false};
    m_host.SetResponder([&](const MuxHostCall&) {
        gate.Pass();
        receiveReturned = true;
        return E_FAIL;  // so that exactly one Receive comes
    });
    ASSERT_OK(Control()->Run());
    ASSERT_TRUE(m_host.WaitForCalls(MuxHostCallKind::Receive, 1));
    bool returnedBeforeReceive = false;
    std::thread stopper([&] {
        EXPECT_OK(Control()->Stop());
        returnedBeforeReceive = !receiveReturned;
    });
    gate.Set(true);
    stopper.join();
    EXPECT_FALSE(returnedBeforeReceive);
    EXPECT_EQ(1u, m_host.Calls().size());
}

TEST_F(MuxSubtitleTest, HostMayCallBackFromItsCallbacksButNotStartThePumpFromTrackCallbacks) {
    ConnectHost();
    const Bstr file(m_files.Write("a.srt", 2));
    std::vector<HRESULT> fromAddTrack;
    std::vector<HRESULT> fromReceive;
    LONG seenCount = 0;
    m_host.SetResponder([&](const MuxHostCall& call) {
        CComPtr<IZQSubtitleTrackList> list;
        LONGLONG data = 0;
        if (call.kind == MuxHostCallKind::AddTrack) {
            fromAddTrack = {Mux()->get_Tracks(&list), Control()->GetTrackData(call.trackid, &data), Control()->Run(),
                            Control()->Stop()};
            list->get_Count(&seenCount);
        } else if (call.kind == MuxHostCallKind::Receive && fromReceive.empty()) {
            fromReceive = {Mux()->get_Tracks(&list), Control()->GetTrackData(1, &data), Control()->Run(),
                           Control()->Stop(), Mux()->AddTextTrackFromFile(file, nullptr, nullptr, nullptr)};
        }
        return S_OK;
    });
    const std::vector<HRESULT> trackAnswers{S_OK, S_OK, VFW_E_WRONG_STATE, S_OK};
    AddTrack(Mux(), m_files.Write("b.srt", 2));
    EXPECT_EQ(trackAnswers, fromAddTrack);
    EXPECT_EQ(1, seenCount) << "the new track is in the list while the host hears of it";
    fromAddTrack.clear();
    EXPECT_OK(Control()->SetCallback(&m_host));
    EXPECT_EQ(trackAnswers, fromAddTrack) << "the announcement of SetCallback";

    RunToTheEnd(1);
    EXPECT_EQ((std::vector<HRESULT>{S_OK, S_OK, S_OK, VFW_E_WRONG_STATE, VFW_E_WRONG_STATE}), fromReceive);
    EXPECT_EQ(2u, m_host.CountCalls(MuxHostCallKind::Receive));
}

TEST_F(MuxSubtitleTest, ReleasingARunningObjectEndsItsWorkerFirst) {
    ConnectHost();
    AddTrack(Mux(), m_files.Write("a.srt", 200));
    std::atomic<bool> released{false};
    std::atomic<int> lateCalls{0};
    m_host.SetResponder([&](const MuxHostCall&) {
        if (released)
            ++lateCalls;
        return S_OK;
    });
    ASSERT_OK(Control()->Run());
    ASSERT_TRUE(m_host.WaitForCalls(MuxHostCallKind::Receive, 1));
    m_mux = nullptr;
    m_control = nullptr;
    released = true;
    EXPECT_EQ(0, lateCalls.load());
    EXPECT_EQ(0, m_host.References());
}

TEST_F(MuxSubtitleTest, LastReferenceReleasedInsideReceiveLetsThePumpLeaveCleanly) {
    ConnectHost();
    AddTrack(Mux(), m_files.Write("a.srt", 50));
    IZQMuxSubtitle* raw = Mux();
    Gate holding(false);
    Gate letGo(false);
    std::atomic<int> receives{0};
    m_host.SetResponder([&](const MuxHostCall& call) {
        if (call.kind != MuxHostCallKind::Receive || receives.fetch_add(1) > 0)
            return S_OK;
        raw->AddRef();
        holding.Set(true);
        letGo.Pass();
        raw->Release();  // the last reference: the object dies on its own worker
        return S_OK;
    });
    ASSERT_OK(Control()->Run());
    holding.Pass();
    m_mux = nullptr;
    m_control = nullptr;
    letGo.Set(true);
    EXPECT_TRUE(WaitUntil([&] { return m_host.References() == 0 && ZQModule().GetLockCount() == m_baseLocks; }))
        << "the pump's references outlived its pass";
    EXPECT_EQ(1, receives.load()) << "one track: the pass ended with the Receive that dropped the object";
}

}  // namespace
