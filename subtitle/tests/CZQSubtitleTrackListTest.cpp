#include "subtitle/CZQSubtitleTrackList.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "subrip/tests/ScratchFile.h"
#include "subtitle/CGrowableArray.h"
#include "subtitle/tests/FailingAllocations.h"
#include "subtitle/tests/TrackTestSupport.h"
#include "support/CStatusException.h"
#include "support/CZQSubtitleModule.h"
#include "tests/support/RecordingCueCallback.h"
#include "tests/support/RecordingMuxHost.h"

namespace {

using zqsubriptest::ScratchFile;
using zqtest::MuxHostCall;
using zqtest::MuxHostCallKind;
using zqtest::RecordingMuxHost;
using zqtracktest::NewTrack;

CComPtr<CZQSubtitleTrackList> NewList() {
    CComPtr<CZQSubtitleTrackList> list;
    EXPECT_OK(CZQSubtitleTrackList::Create(&list));
    return list;
}

/// The ids of the tracks in list order, as the interface reports them.
std::vector<LONG> Ids(CZQSubtitleTrackList& list) {
    std::vector<LONG> ids;
    LONG count = 0;
    EXPECT_OK(list.get_Count(&count));
    for (LONG i = 0; i < count; ++i) {
        CComPtr<IZQSubtitleTrack> track;
        EXPECT_OK(list.GetTrack(i, &track));
        LONG id = -1;
        EXPECT_OK(track->get_ID(&id));
        ids.push_back(id);
    }
    return ids;
}

/// GetTrackIndexByID as a pair of status and index.
std::pair<HRESULT, LONG> IndexOf(CZQSubtitleTrackList& list, LONG trackid) {
    LONG index = 77;
    const HRESULT hr = list.GetTrackIndexByID(trackid, &index);
    return {hr, index};
}

using IndexResult = std::pair<HRESULT, LONG>;

TEST(CGrowableArrayTest, GrowsByHalfItsCapacityOrByWhatIsNeeded) {
    CGrowableArray<LONG> array;
    std::vector<size_t> capacities;
    for (LONG i = 0; i < 28; ++i) {
        array.Add(i);
        if (capacities.empty() || capacities.back() != array.GetCapacity())
            capacities.push_back(array.GetCapacity());
    }
    EXPECT_EQ(capacities, (std::vector<size_t>{1, 2, 3, 4, 6, 9, 13, 19, 28}));
    EXPECT_EQ(CGrowableArray<LONG>::GrownCapacity(4, 20), 20u);
    array.RemoveAt(0);
    EXPECT_EQ(array[0], 1);
    EXPECT_EQ(array.GetCapacity(), 28u) << "never shrinks but through RemoveAll";
    array.RemoveAll();
    EXPECT_EQ(array.GetCapacity(), 0u);
}

class TrackListTest : public ::testing::Test {
protected:
    /// A live list of `count` new tracks, ids 1 to count.
    void AddTracks(int count) {
        for (int i = 0; i < count; ++i) {
            CComPtr<CZQSubtitleTrack> track = NewTrack();
            ASSERT_OK(m_list->AddTrack(track.Get()));
            m_tracks.push_back(track);
        }
    }

    CComPtr<CZQSubtitleTrackList> m_list = NewList();
    std::vector<CComPtr<CZQSubtitleTrack>> m_tracks;
};

TEST_F(TrackListTest, RemovalFreesTheIdAndTheLowestFreeIdIsReused) {
    AddTracks(3);
    ASSERT_OK(m_list->RemoveByID(2));
    EXPECT_EQ(m_tracks[1]->GetID(), 0);
    EXPECT_EQ(Ids(*m_list), (std::vector<LONG>{1, 3}));
    EXPECT_EQ(IndexOf(*m_list, 3), IndexResult(S_OK, 1));
    EXPECT_EQ(IndexOf(*m_list, 2), IndexResult(S_OK, -1)) << "a freed id inside the map";
    EXPECT_EQ(IndexOf(*m_list, 4), IndexResult(E_INVALIDARG, -1));
    EXPECT_HR(E_INVALIDARG, m_list->RemoveByID(2)) << "a second removal";

    CComPtr<CZQSubtitleTrack> added = NewTrack();
    ASSERT_OK(m_list->AddTrack(added.Get()));
    EXPECT_EQ(added->GetID(), 2);
    EXPECT_EQ(Ids(*m_list), (std::vector<LONG>{1, 3, 2})) << "a reused id stands at the end";
    EXPECT_EQ(IndexOf(*m_list, 2), IndexResult(S_OK, 2));
}

TEST_F(TrackListTest, IdsStartAgainAfterEveryTrackIsGone) {
    AddTracks(3);
    for (LONG id = 1; id <= 3; ++id)
        ASSERT_OK(m_list->RemoveByID(id));
    EXPECT_EQ(m_list->GetIdMapSize(), 3);
    AddTracks(3);
    EXPECT_EQ(Ids(*m_list), (std::vector<LONG>{1, 2, 3}));

    m_list->RemoveAll();
    EXPECT_EQ(m_list->GetCount(), 0);
    EXPECT_EQ(m_list->GetIdMapSize(), 0);
    EXPECT_EQ(m_tracks[5]->GetID(), 3) << "tracks keep the ids they bore";
    CComPtr<CZQSubtitleTrack> next = NewTrack();
    ASSERT_OK(m_list->AddTrack(next.Get()));
    EXPECT_EQ(next->GetID(), 1);
}

class UnknownIdTest : public TrackListTest, public ::testing::WithParamInterface<LONG> {};

TEST_P(UnknownIdTest, IsRefusedAndChangesNothing) {
    AddTracks(3);
    ASSERT_OK(m_list->RemoveByID(2));
    const LONG id = GetParam();
    const LONG locks = ZQModule().GetLockCount();

    IZQSubtitleTrack* track = reinterpret_cast<IZQSubtitleTrack*>(1);
    EXPECT_HR(E_INVALIDARG, m_list->GetTrackByID(id, &track));
    EXPECT_EQ(track, nullptr);
    CZQSubtitleTrack* found = reinterpret_cast<CZQSubtitleTrack*>(1);
    EXPECT_HR(E_INVALIDARG, m_list->FindByID(id, &found));
    EXPECT_EQ(found, nullptr);
    EXPECT_HR(E_INVALIDARG, m_list->RemoveByID(id));
    EXPECT_HR(E_INVALIDARG, m_list->SetTrackData(id, 5));
    LONGLONG data = 9;
    EXPECT_HR(E_INVALIDARG, m_list->GetTrackData(id, &data));
    EXPECT_EQ(data, 9);
    RecordingMuxHost host;
    EXPECT_HR(E_INVALIDARG, m_list->RemoveTrack(&host, id));
    ASSERT_EQ(host.Calls().size(), 1u) << "the host is asked first, even for an unknown id";
    EXPECT_EQ(host.Calls()[0].kind, MuxHostCallKind::RemoveTrack);
    EXPECT_EQ(host.Calls()[0].trackid, id);

    EXPECT_EQ(Ids(*m_list), (std::vector<LONG>{1, 3}));
    EXPECT_EQ(ZQModule().GetLockCount(), locks);
}

INSTANTIATE_TEST_SUITE_P(Ids, UnknownIdTest, ::testing::Values(0, -1, 2, 4, 0x7FFFFFFF),
                         [](const ::testing::TestParamInfo<LONG>& param) {
                             const LONG id = param.param;
                             return id < 0 ? "Minus" + std::to_string(-id) : "Id" + std::to_string(id);
                         });

TEST_F(TrackListTest, RefusesNullTracksAndNullOutPointers) {
    AddTracks(1);
    EXPECT_HR(E_POINTER, m_list->AddTrack(nullptr));
    EXPECT_HR(E_POINTER, m_list->AddExisting(nullptr));
    EXPECT_HR(E_POINTER, m_list->get_Count(nullptr));
    EXPECT_HR(E_POINTER, m_list->GetTrack(0, nullptr));
    EXPECT_HR(E_POINTER, m_list->GetTrackByID(1, nullptr));
    EXPECT_HR(E_POINTER, m_list->GetTrackIndexByID(1, nullptr));
    EXPECT_HR(E_POINTER, m_list->FindByID(1, nullptr));
    EXPECT_HR(E_POINTER, m_list->GetTrackData(1, nullptr));
    EXPECT_HR(E_POINTER, m_list->GetAllTracks(nullptr));
    EXPECT_HR(E_POINTER, m_list->Clone(nullptr));
    EXPECT_HR(E_POINTER, m_list->GetTextTracks(nullptr));
    EXPECT_HR(E_POINTER, m_list->GetSelectedTracks(nullptr));
    IZQSubtitleTrack* untouched = reinterpret_cast<IZQSubtitleTrack*>(1);
    EXPECT_HR(DISP_E_BADINDEX, m_list->GetTrack(1, &untouched));
    EXPECT_HR(DISP_E_BADINDEX, m_list->GetTrack(-1, &untouched));
    EXPECT_EQ(untouched, reinterpret_cast<IZQSubtitleTrack*>(1));
    EXPECT_EQ(Ids(*m_list), (std::vector<LONG>{1}));
}

TEST_F(TrackListTest, RefusesATrackThatAlreadyHasAnId) {
    CComPtr<CZQSubtitleTrackList> other = NewList();
    CComPtr<CZQSubtitleTrack> foreign = NewTrack();
    ASSERT_OK(other->AddTrack(foreign.Get()));
    AddTracks(2);
    EXPECT_HR(E_INVALIDARG, m_list->AddTrack(foreign.Get()));
    EXPECT_EQ(foreign->GetID(), 1);
    EXPECT_EQ(Ids(*m_list), (std::vector<LONG>{1, 2}));
    EXPECT_EQ(m_list->GetIdMapSize(), 3) << "the entry made for it stays, free";
    AddTracks(1);
    EXPECT_EQ(m_tracks[2]->GetID(), 3);
}

TEST_F(TrackListTest, AddExistingKeepsIdsAndRefusesTracksWithoutOne) {
    AddTracks(2);
    CComPtr<CZQSubtitleTrackList> snapshot = NewList();
    ASSERT_OK(snapshot->AddExisting(m_tracks[1].Get()));
    CComPtr<CZQSubtitleTrack> loose = NewTrack();
    EXPECT_HR(E_INVALIDARG, snapshot->AddExisting(loose.Get()));
    EXPECT_HR(E_INVALIDARG, snapshot->AddExisting(m_tracks[1].Get())) << "one entry per id";
    EXPECT_EQ(snapshot->GetCount(), 1);
    EXPECT_EQ(snapshot->GetIdMapSize(), 2);
    EXPECT_EQ(IndexOf(*snapshot, 2), IndexResult(S_OK, 0));
    EXPECT_EQ(loose->GetID(), 0);
}

TEST_F(TrackListTest, FilteredSnapshotsHavePositionsOfTheirOwnAndTheIdsOfTheSource) {
    AddTracks(5);
    for (int i : {1, 4}) {
        m_tracks[i]->SetKind(ZQSubtitle_Track_Kind_Text);
        m_tracks[i]->SetSelected(true);
    }
    m_tracks[0]->SetKind(ZQSubtitle_Track_Kind_Text);
    CComPtr<CZQSubtitleTrackList> selected;
    ASSERT_OK(m_list->GetSelectedTracks(&selected));
    EXPECT_EQ(Ids(*selected), (std::vector<LONG>{2, 5}));
    EXPECT_EQ(selected->GetIdMapSize(), 5);
    EXPECT_EQ(IndexOf(*selected, 5), IndexResult(S_OK, 1));
    EXPECT_EQ(IndexOf(*selected, 3), IndexResult(S_OK, -1));
    EXPECT_EQ(IndexOf(*selected, 6), IndexResult(E_INVALIDARG, -1));

    CComPtr<CZQSubtitleTrackList> text;
    ASSERT_OK(m_list->GetTextTracks(&text));
    EXPECT_EQ(Ids(*text), (std::vector<LONG>{1, 2, 5}));
    CComPtr<CZQSubtitleTrackList> all;
    ASSERT_OK(m_list->Clone(&all));
    EXPECT_EQ(Ids(*all), (std::vector<LONG>{1, 2, 3, 4, 5}));

    CComPtr<CZQSubtitleTrackList> textSelected;
    ASSERT_OK(text->GetSelectedTracks(&textSelected));
    EXPECT_EQ(Ids(*textSelected), (std::vector<LONG>{2, 5}));
    CComPtr<CZQSubtitleTrackList> none;
    m_tracks[1]->SetSelected(false);
    m_tracks[4]->SetSelected(false);
    ASSERT_OK(m_list->GetSelectedTracks(&none));
    EXPECT_EQ(none->GetCount(), 0);
    IZQSubtitleTrack* track = nullptr;
    EXPECT_HR(DISP_E_BADINDEX, none->GetTrack(0, &track));
}

TEST_F(TrackListTest, SnapshotsDontFollowTheLiveListAndRestoreIdsPutsThemBack) {
    AddTracks(3);
    CComPtr<CZQSubtitleTrackList> snapshot;
    ASSERT_OK(m_list->GetAllTracks(&snapshot));
    ASSERT_OK(m_list->RemoveByID(1));
    ASSERT_OK(m_list->RemoveByID(3));
    AddTracks(1);

    // The snapshot still finds the removed tracks, which now report id 0.
    EXPECT_EQ(snapshot->GetCount(), 3);
    CComPtr<IZQSubtitleTrack> first;
    ASSERT_OK(snapshot->GetTrackByID(1, &first));
    EXPECT_EQ(first.Get(), static_cast<IZQSubtitleTrack*>(m_tracks[0].Get()));
    EXPECT_EQ(Ids(*snapshot), (std::vector<LONG>{0, 2, 0}));
    EXPECT_EQ(m_tracks[3]->GetID(), 1);

    // A snapshot of the snapshot keeps the ids the first one recorded.
    CComPtr<CZQSubtitleTrackList> copy;
    ASSERT_OK(snapshot->Clone(&copy));
    EXPECT_EQ(IndexOf(*copy, 3), IndexResult(S_OK, 2));

    // Taking the snapshot back, as a discarded edit does.
    m_list = snapshot;
    m_list->RestoreIDs();
    EXPECT_EQ(Ids(*m_list), (std::vector<LONG>{1, 2, 3}));
}

TEST_F(TrackListTest, OutsideReferencesHoldTheModuleAndNothingElseDoes) {
    AddTracks(2);
    // The list's references alone: they don't hold the module.
    m_tracks.clear();
    const LONG locks = ZQModule().GetLockCount();
    {
        CComPtr<IZQSubtitleTrack> outside;
        ASSERT_OK(m_list->GetTrack(0, &outside));
        EXPECT_EQ(ZQModule().GetLockCount(), locks + 1);
        CComPtr<IZQSubtitleTrack> again;
        ASSERT_OK(m_list->GetTrackByID(1, &again));
        EXPECT_EQ(ZQModule().GetLockCount(), locks + 1);
        CComPtr<CZQSubtitleTrackList> snapshot;
        ASSERT_OK(m_list->GetAllTracks(&snapshot));
        EXPECT_EQ(ZQModule().GetLockCount(), locks + 2) << "the second track's second reference";
    }
    EXPECT_EQ(ZQModule().GetLockCount(), locks);
    // The list's going takes the tracks and the locks of their cue lists.
    m_list = nullptr;
    EXPECT_EQ(ZQModule().GetLockCount(), locks - 2);
}

TEST_F(TrackListTest, RunningOutOfMemoryLeavesTheListAndTheTrackAsTheyWere) {
    // Both arrays are full, so the next track needs new room in each.
    AddTracks(2);
    const LONG locks = ZQModule().GetLockCount();
    CComPtr<CZQSubtitleTrack> track = NewTrack();
    for (long n = 0;; ++n) {
        SCOPED_TRACE(n);
        HRESULT hr = S_OK;
        bool failed = false;
        {
            zqtest::FailNthAllocation failure(n);
            hr = ZQCallWithBarrier([&] { return m_list->AddTrack(track.Get()); });
            failed = failure.Triggered();
        }
        if (!failed) {
            EXPECT_OK(hr);
            break;
        }
        EXPECT_HR(E_OUTOFMEMORY, hr);
        EXPECT_EQ(track->GetID(), 0);
        EXPECT_EQ(m_list->GetIdMapSize(), 2);
        EXPECT_EQ(Ids(*m_list), (std::vector<LONG>{1, 2}));
    }
    for (long n = 0;; ++n) {
        SCOPED_TRACE(n);
        CZQSubtitleTrackList* snapshot = reinterpret_cast<CZQSubtitleTrackList*>(1);
        HRESULT hr = S_OK;
        bool failed = false;
        {
            zqtest::FailNthAllocation failure(n);
            hr = ZQCallWithBarrier([&] { return m_list->GetAllTracks(&snapshot); });
            failed = failure.Triggered();
        }
        if (!failed) {
            ASSERT_OK(hr);
            snapshot->Release();
            break;
        }
        EXPECT_HR(E_OUTOFMEMORY, hr);
        EXPECT_EQ(snapshot, nullptr);
        EXPECT_EQ(ZQModule().GetLockCount(), locks + 2) << "the new track and its cue list only";
    }
}

TEST_F(TrackListTest, ASnapshotIsReadOnAnotherThreadWhileTheLiveListChanges) {
    AddTracks(2);
    CComPtr<CZQSubtitleTrackList> snapshot;
    ASSERT_OK(m_list->GetAllTracks(&snapshot));
    std::atomic<bool> done{false};
    // The application's thread: no lock, only the snapshot and the tracks.
    std::thread reader([&] {
        while (!done.load()) {
            CComPtr<IZQSubtitleTrack> track;
            EXPECT_OK(snapshot->GetTrackByID(2, &track));
            LONG id = -1;
            VARIANT_BOOL selected = -1;
            EXPECT_OK(track->get_ID(&id));
            EXPECT_OK(track->get_Selected(&selected));
            EXPECT_TRUE(id == 0 || id == 2) << id;
            EXPECT_TRUE(selected == 0 || selected == 1) << selected;
        }
    });
    // The owner's thread: the track leaves and joins again, selection flips.
    for (int i = 0; i < 2000; ++i) {
        ASSERT_OK(m_list->RemoveByID(2));
        ASSERT_OK(m_list->AddTrack(m_tracks[1].Get()));
        m_tracks[1]->SetSelected(i % 2 == 0);
    }
    done.store(true);
    reader.join();
    EXPECT_EQ(m_tracks[1]->GetID(), 2);
}

// --- The multiplexer side: files, the host's calls, the pump.

class MuxTrackListTest : public TrackListTest {
protected:
    LONG AddFile(const char* label) {
        LONG id = -1;
        std::u16string wide(label, label + std::strlen(label));
        EXPECT_OK(m_list->AddTextTrackFromFile(&m_host, m_file.WidePath().c_str(), wide.c_str(), u"en", &id));
        return id;
    }

    ScratchFile m_file{zqtracktest::kTwoCueSrt};
    RecordingMuxHost m_host;
};

TEST_F(MuxTrackListTest, AddTextTrackFromFileAnnouncesASelectedTextTrack) {
    EXPECT_EQ(AddFile("one"), 1);
    const std::vector<MuxHostCall> calls = m_host.Calls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].kind, MuxHostCallKind::AddTrack);
    EXPECT_EQ(calls[0].trackid, 1);
    EXPECT_EQ(calls[0].majortype, MEDIATYPE_Subtitle);
    EXPECT_EQ(calls[0].formattype, FORMAT_SubtitleInfo);
    ASSERT_EQ(calls[0].format.size(), 520u);
    EXPECT_EQ(zqtracktest::Decode(calls[0].format.data()).isoLang, std::string("eng\0", 4));

    CComPtr<CZQSubtitleTrack> track;
    ASSERT_OK(m_list->FindByID(1, &track));
    EXPECT_EQ(track->GetKind(), ZQSubtitle_Track_Kind_Text);
    EXPECT_TRUE(track->IsSelected());
    ASSERT_OK(m_list->SetTrackData(1, -42));
    LONGLONG data = 0;
    ASSERT_OK(m_list->GetTrackData(1, &data));
    EXPECT_EQ(data, -42);
}

TEST_F(MuxTrackListTest, AFailedFileOrARefusingHostLeavesTheListUnchanged) {
    LONG id = 99;
    const std::u16string missing = m_file.WidePath() + u".missing";
    EXPECT_HR(HRESULT_FROM_WIN32(2), m_list->AddTextTrackFromFile(&m_host, missing.c_str(), u"x", u"en", &id));
    EXPECT_TRUE(m_host.Calls().empty());

    m_host.SetResponder([](const MuxHostCall&) { return E_ACCESSDENIED; });
    EXPECT_HR(E_ACCESSDENIED, m_list->AddTextTrackFromFile(&m_host, m_file.WidePath().c_str(), u"x", u"en", &id));
    EXPECT_EQ(id, 99);
    EXPECT_EQ(m_list->GetCount(), 0);
    EXPECT_EQ(m_host.Calls().size(), 1u);

    m_host.SetResponder(nullptr);
    EXPECT_EQ(AddFile("again"), 1) << "the refused track's id is free";
    m_host.SetResponder([](const MuxHostCall&) { return E_FAIL; });
    EXPECT_HR(E_FAIL, m_list->RemoveTrack(&m_host, 1));
    EXPECT_EQ(Ids(*m_list), (std::vector<LONG>{1})) << "a refused removal keeps the track";
    EXPECT_EQ(m_host.References(), 0);
}

TEST_F(MuxTrackListTest, AnnounceAllDropsTheTracksTheHostRefuses) {
    AddFile("one");
    AddFile("two");
    AddFile("three");
    m_host.ClearCalls();
    m_host.SetResponder([](const MuxHostCall& call) {
        return call.kind == MuxHostCallKind::AddTrack && call.trackid == 1 ? E_FAIL : S_OK;
    });
    EXPECT_OK(m_list->AnnounceAll(&m_host));
    const std::vector<MuxHostCall> calls = m_host.Calls();
    ASSERT_EQ(calls.size(), 4u);
    EXPECT_EQ(calls[0].kind, MuxHostCallKind::RemoveAllTracks);
    for (size_t i = 1; i < 4; ++i) {
        EXPECT_EQ(calls[i].kind, MuxHostCallKind::AddTrack);
        EXPECT_EQ(calls[i].trackid, static_cast<LONG>(i));
    }
    EXPECT_EQ(Ids(*m_list), (std::vector<LONG>{2, 3}));

    m_host.ClearCalls();
    m_host.SetResponder([](const MuxHostCall&) { return E_FAIL; });
    EXPECT_HR(E_FAIL, m_list->AnnounceAll(&m_host));
    EXPECT_EQ(m_host.Calls().size(), 1u) << "nothing after a refused RemoveAllTracks";
    EXPECT_OK(m_list->AnnounceAll(nullptr));
    EXPECT_EQ(m_list->GetCount(), 2);
}

TEST_F(MuxTrackListTest, SendNextGivesEachTrackOneTurnPerPass) {
    AddFile("one");
    AddFile("two");
    m_host.ClearCalls();
    ASSERT_OK(m_list->Rewind());
    std::vector<HRESULT> passes;
    for (int pass = 0; pass < 5; ++pass)
        passes.push_back(m_list->SendNext(&m_host));
    EXPECT_EQ(passes, (std::vector<HRESULT>{S_OK, S_OK, S_FALSE, S_FALSE, S_FALSE}));

    std::vector<std::pair<MuxHostCallKind, LONG>> seen;
    for (const MuxHostCall& call : m_host.Calls())
        seen.emplace_back(call.kind, call.trackid);
    using K = MuxHostCallKind;
    EXPECT_EQ(seen, (std::vector<std::pair<K, LONG>>{{K::Receive, 1}, {K::Receive, 2}, {K::Receive, 1},
                                                    {K::Receive, 2}, {K::EndOfStream, 1}, {K::EndOfStream, 2}}));

    // A finished track beside an unfinished one: one host call, and 0.
    CComPtr<CZQSubtitleTrack> second;
    ASSERT_OK(m_list->FindByID(2, &second));
    second->Rewind();
    m_host.ClearCalls();
    EXPECT_OK(m_list->SendNext(&m_host));
    EXPECT_EQ(m_host.Calls().size(), 1u);

    m_host.SetResponder([](const MuxHostCall&) { return E_FAIL; });
    ASSERT_OK(m_list->Rewind());
    m_host.ClearCalls();
    EXPECT_HR(E_FAIL, m_list->SendNext(&m_host));
    EXPECT_EQ(m_host.Calls().size(), 1u) << "the failure ends the pass";
    EXPECT_HR(S_FALSE, NewList()->SendNext(&m_host)) << "an empty list is finished";
}

TEST_F(TrackListTest, TimingLoopsStopAtTheFirstFailureAndCollectActivity) {
    AddTracks(2);
    for (auto& track : m_tracks) {
        zqtracktest::HostMediaType type;
        ASSERT_OK(track->InitFromMediaType(&type.type));
        track->SetSelected(true);
        ASSERT_OK(track->AddSample(0, 10, "cue", 3));
    }
    zqtest::RecordingCueCallback callback;
    callback.SetResponder([](const zqtest::CueEventRecord&) { return E_FAIL; });
    EXPECT_HR(E_FAIL, m_list->UpdateActive(&callback, 5));
    EXPECT_EQ(callback.EventCount(), 1u) << "the second track is left out of the pass";
    bool wasActive = false;
    EXPECT_OK(m_list->DeactivateAll(&wasActive));
    EXPECT_TRUE(wasActive);
}

}  // namespace
