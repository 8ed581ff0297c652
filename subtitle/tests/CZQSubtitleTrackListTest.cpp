#include "subtitle/CZQSubtitleTrackList.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "subrip/tests/ScratchFile.h"
#include "subtitle/tests/FailingAllocations.h"
#include "subtitle/tests/TrackTestSupport.h"
#include "support/CStatusException.h"
#include "support/CZQSubtitleModule.h"
#include "tests/support/RecordingCueCallback.h"

namespace {

using zqtest::MuxHostCall;
using K = zqtest::MuxHostCallKind;
using zqtest::RecordingMuxHost;
using zqtracktest::NewTrack;
using zqtracktest::Seen;
using Calls = std::vector<zqtracktest::SeenCall>;
using Ids = std::vector<LONG>;
using IndexResult = std::pair<HRESULT, LONG>;

CComPtr<CZQSubtitleTrackList> NewList() {
    CComPtr<CZQSubtitleTrackList> list;
    EXPECT_OK(CZQSubtitleTrackList::Create(&list));
    return list;
}

/// The ids of the tracks in list order, as the interface reports them.
Ids IdsOf(CZQSubtitleTrackList& list) {
    Ids ids;
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

IndexResult IndexOf(CZQSubtitleTrackList& list, LONG trackid) {
    LONG index = 77;
    const HRESULT hr = list.GetTrackIndexByID(trackid, &index);
    return {hr, index};
}

class TrackListTest : public ::testing::Test {
protected:
    void AddTracks(int count) {
        for (int i = 0; i < count; ++i) {
            m_tracks.push_back(NewTrack());
            ASSERT_OK(m_list->AddTrack(m_tracks.back().Get()));
        }
    }

    CComPtr<CZQSubtitleTrackList> m_list = NewList();
    std::vector<CComPtr<CZQSubtitleTrack>> m_tracks;
};

TEST_F(TrackListTest, RemovalFreesTheIdAndTheLowestFreeIdIsReused) {
    AddTracks(3);
    ASSERT_OK(m_list->RemoveByID(2));
    EXPECT_EQ(m_tracks[1]->GetID(), 0);
    EXPECT_EQ(IdsOf(*m_list), (Ids{1, 3}));
    EXPECT_EQ(IndexOf(*m_list, 3), IndexResult(S_OK, 1));
    EXPECT_EQ(IndexOf(*m_list, 2), IndexResult(S_OK, -1)) << "a freed id inside the map";
    EXPECT_EQ(IndexOf(*m_list, 4), IndexResult(E_INVALIDARG, -1));
    AddTracks(1);
    EXPECT_EQ(IdsOf(*m_list), (Ids{1, 3, 2})) << "a reused id stands at the end";
    EXPECT_EQ(IndexOf(*m_list, 2), IndexResult(S_OK, 2));

    for (LONG id = 1; id <= 3; ++id)
        ASSERT_OK(m_list->RemoveByID(id));
    EXPECT_EQ(m_list->GetIdMapSize(), 3);
    AddTracks(2);
    EXPECT_EQ(IdsOf(*m_list), (Ids{1, 2}));
    m_list->RemoveAll();
    EXPECT_EQ(m_list->GetIdMapSize(), 0);
    EXPECT_EQ(m_tracks[5]->GetID(), 2) << "tracks keep the ids they bore";
    AddTracks(1);
    EXPECT_EQ(m_tracks[6]->GetID(), 1);
}

class UnknownIdTest : public TrackListTest, public ::testing::WithParamInterface<LONG> {};

TEST_P(UnknownIdTest, IsRefusedAndChangesNothing) {
    AddTracks(3);
    ASSERT_OK(m_list->RemoveByID(2));
    const LONG id = GetParam();
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
    EXPECT_EQ(Seen(host), (Calls{{K::RemoveTrack, id, ""}})) << "the host is asked first";
    EXPECT_EQ(IdsOf(*m_list), (Ids{1, 3}));
}

INSTANTIATE_TEST_SUITE_P(Ids, UnknownIdTest, ::testing::Values(0, -1, 2, 4, 0x7FFFFFFF),
                         [](const ::testing::TestParamInfo<LONG>& param) {
                             return param.param < 0 ? "Negative" : "Id" + std::to_string(param.param);
                         });

TEST_F(TrackListTest, RefusesNullPointersAndBadIndexes) {
    AddTracks(1);
    EXPECT_HR(E_POINTER, m_list->AddTrack(nullptr));
    EXPECT_HR(E_POINTER, m_list->AddExisting(nullptr));
    EXPECT_HR(E_POINTER, m_list->get_Count(nullptr));
    EXPECT_HR(E_POINTER, m_list->GetTrack(0, nullptr));
    EXPECT_HR(E_POINTER, m_list->GetTrackByID(1, nullptr));
    EXPECT_HR(E_POINTER, m_list->GetTrackIndexByID(1, nullptr));
    EXPECT_HR(E_POINTER, m_list->FindByID(1, nullptr));
    EXPECT_HR(E_POINTER, m_list->GetTrackData(1, nullptr));
    EXPECT_HR(E_POINTER, m_list->Clone(nullptr));
    EXPECT_HR(E_POINTER, m_list->GetSelectedTracks(nullptr));
    IZQSubtitleTrack* untouched = reinterpret_cast<IZQSubtitleTrack*>(1);
    EXPECT_HR(DISP_E_BADINDEX, m_list->GetTrack(1, &untouched));
    EXPECT_HR(DISP_E_BADINDEX, m_list->GetTrack(-1, &untouched));
    EXPECT_EQ(untouched, reinterpret_cast<IZQSubtitleTrack*>(1));
    EXPECT_EQ(IdsOf(*m_list), (Ids{1}));
}

TEST_F(TrackListTest, RefusesTracksWhoseIdDoesntFit) {
    // A track of another live list keeps its id; the entry made for it stays free.
    CComPtr<CZQSubtitleTrackList> other = NewList();
    CComPtr<CZQSubtitleTrack> foreign = NewTrack();
    ASSERT_OK(other->AddTrack(foreign.Get()));
    AddTracks(2);
    EXPECT_HR(E_INVALIDARG, m_list->AddTrack(foreign.Get()));
    EXPECT_EQ(foreign->GetID(), 1);
    EXPECT_EQ(IdsOf(*m_list), (Ids{1, 2}));
    EXPECT_EQ(m_list->GetIdMapSize(), 3);
    AddTracks(1);
    EXPECT_EQ(m_tracks[2]->GetID(), 3);

    // AddExisting: neither a track without an id nor a second one under an id.
    CComPtr<CZQSubtitleTrackList> snapshot = NewList();
    ASSERT_OK(snapshot->AddExisting(m_tracks[1].Get()));
    CComPtr<CZQSubtitleTrack> loose = NewTrack();
    EXPECT_HR(E_INVALIDARG, snapshot->AddExisting(loose.Get()));
    EXPECT_HR(E_INVALIDARG, snapshot->AddExisting(m_tracks[1].Get()));
    EXPECT_EQ(snapshot->GetCount(), 1);
    EXPECT_EQ(snapshot->GetIdMapSize(), 2);
    EXPECT_EQ(IndexOf(*snapshot, 2), IndexResult(S_OK, 0));
}

TEST_F(TrackListTest, FilteredSnapshotsHavePositionsOfTheirOwnAndTheIdsOfTheSource) {
    AddTracks(5);
    for (int i : {0, 1, 4})
        m_tracks[i]->SetKind(ZQSubtitle_Track_Kind_Text);
    m_tracks[1]->SetSelected(true);
    m_tracks[4]->SetSelected(true);
    CComPtr<CZQSubtitleTrackList> selected, text, all, none;
    ASSERT_OK(m_list->GetSelectedTracks(&selected));
    EXPECT_EQ(IdsOf(*selected), (Ids{2, 5}));
    EXPECT_EQ(selected->GetIdMapSize(), 5);
    EXPECT_EQ(IndexOf(*selected, 5), IndexResult(S_OK, 1));
    EXPECT_EQ(IndexOf(*selected, 3), IndexResult(S_OK, -1));
    EXPECT_EQ(IndexOf(*selected, 6), IndexResult(E_INVALIDARG, -1));
    ASSERT_OK(m_list->GetTextTracks(&text));
    EXPECT_EQ(IdsOf(*text), (Ids{1, 2, 5}));
    ASSERT_OK(m_list->Clone(&all));
    EXPECT_EQ(IdsOf(*all), (Ids{1, 2, 3, 4, 5}));
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
    EXPECT_EQ(m_tracks[3]->GetID(), 1);

    // The removed tracks now report id 0, but the snapshot finds them by the ids it recorded.
    CComPtr<IZQSubtitleTrack> first;
    ASSERT_OK(snapshot->GetTrackByID(1, &first));
    EXPECT_EQ(first.Get(), static_cast<IZQSubtitleTrack*>(m_tracks[0].Get()));
    EXPECT_EQ(IdsOf(*snapshot), (Ids{0, 2, 0}));
    CComPtr<CZQSubtitleTrackList> copy;
    ASSERT_OK(snapshot->Clone(&copy));
    EXPECT_EQ(IndexOf(*copy, 3), IndexResult(S_OK, 2));

    // The snapshot takes the live list's place, as a discarded edit does.
    m_list = snapshot;
    m_list->RestoreIDs();
    EXPECT_EQ(IdsOf(*m_list), (Ids{1, 2, 3}));
}

TEST_F(TrackListTest, OutsideReferencesHoldTheModuleAndNothingElseDoes) {
    AddTracks(2);
    m_tracks.clear();
    const LONG locks = ZQModule().GetLockCount();
    {
        CComPtr<IZQSubtitleTrack> outside, again;
        ASSERT_OK(m_list->GetTrack(0, &outside));
        EXPECT_EQ(ZQModule().GetLockCount(), locks + 1);
        ASSERT_OK(m_list->GetTrackByID(1, &again));
        EXPECT_EQ(ZQModule().GetLockCount(), locks + 1);
        CComPtr<CZQSubtitleTrackList> snapshot;
        ASSERT_OK(m_list->GetAllTracks(&snapshot));
        EXPECT_EQ(ZQModule().GetLockCount(), locks + 2) << "the second track's second reference";
    }
    EXPECT_EQ(ZQModule().GetLockCount(), locks);
    // The list takes its tracks along, and with them their cue lists' locks.
    m_list = nullptr;
    EXPECT_EQ(ZQModule().GetLockCount(), locks - 2);
}

TEST_F(TrackListTest, RunningOutOfMemoryLeavesTheListAndTheTrackAsTheyWere) {
    AddTracks(2);  // both arrays full: the next track needs room in each
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
        EXPECT_EQ(IdsOf(*m_list), (Ids{1, 2}));
    }
}

TEST_F(TrackListTest, ASnapshotIsReadOnAnotherThreadWhileTheLiveListChanges) {
    AddTracks(2);
    CComPtr<CZQSubtitleTrackList> snapshot;
    ASSERT_OK(m_list->GetAllTracks(&snapshot));
    std::atomic<bool> done{false};
    // The application's thread: no lock, only the snapshot and its tracks.
    std::thread reader([&] {
        while (!done.load()) {
            CComPtr<IZQSubtitleTrack> track;
            EXPECT_OK(snapshot->GetTrackByID(2, &track));
            LONG id = -1;
            VARIANT_BOOL selected = -1;
            EXPECT_OK(track->get_ID(&id));
            EXPECT_OK(track->get_Selected(&selected));
            EXPECT_TRUE((id == 0 || id == 2) && (selected == 0 || selected == 1)) << id << " " << selected;
        }
    });
    for (int i = 0; i < 2000; ++i) {
        ASSERT_OK(m_list->RemoveByID(2));
        ASSERT_OK(m_list->AddTrack(m_tracks[1].Get()));
        m_tracks[1]->SetSelected(i % 2 == 0);
    }
    done.store(true);
    reader.join();
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

// The multiplexer side; the pump's order is the multiplexer tests' business.
class MuxTrackListTest : public TrackListTest {
protected:
    HRESULT AddFile(LONG* id = nullptr) {
        return m_list->AddTextTrackFromFile(&m_host, m_file.WidePath().c_str(), u"label", u"en", id);
    }
    void Refuse(HRESULT hr) {
        m_host.SetResponder([hr](const MuxHostCall&) { return hr; });
    }

    zqsubriptest::ScratchFile m_file{zqtracktest::kTwoCueSrt};
    RecordingMuxHost m_host;
};

TEST_F(MuxTrackListTest, AddTextTrackFromFileAnnouncesASelectedTextTrack) {
    LONG id = 0;
    ASSERT_OK(AddFile(&id));
    EXPECT_EQ(id, 1);
    ASSERT_EQ(Seen(m_host), (Calls{{K::AddTrack, 1, ""}}));
    EXPECT_EQ(m_host.Calls()[0].format.size(), 520u);
    CComPtr<CZQSubtitleTrack> track;
    ASSERT_OK(m_list->FindByID(1, &track));
    EXPECT_EQ(track->GetKind(), ZQSubtitle_Track_Kind_Text);
    EXPECT_TRUE(track->IsSelected());
}

TEST_F(MuxTrackListTest, ARefusingHostLeavesTheListUnchanged) {
    LONG id = 99;
    Refuse(E_ACCESSDENIED);
    EXPECT_HR(E_ACCESSDENIED, AddFile(&id));
    EXPECT_EQ(id, 99);
    EXPECT_EQ(m_list->GetCount(), 0);

    m_host.SetResponder(nullptr);
    ASSERT_OK(AddFile(&id));
    EXPECT_EQ(id, 1) << "the refused track's id is free";
    Refuse(E_FAIL);
    EXPECT_HR(E_FAIL, m_list->RemoveTrack(&m_host, 1));
    EXPECT_EQ(IdsOf(*m_list), (Ids{1})) << "a refused removal keeps the track";
    EXPECT_EQ(m_host.References(), 0);
}

TEST_F(MuxTrackListTest, AnnounceAllDropsTheTracksTheHostRefuses) {
    for (int i = 0; i < 3; ++i)
        ASSERT_OK(AddFile());
    m_host.ClearCalls();
    m_host.SetResponder([](const MuxHostCall& call) {
        return call.kind == K::AddTrack && call.trackid == 1 ? E_FAIL : S_OK;
    });
    EXPECT_OK(m_list->AnnounceAll(&m_host));
    EXPECT_EQ(Seen(m_host), (Calls{{K::RemoveAllTracks, 0, ""}, {K::AddTrack, 1, ""}, {K::AddTrack, 2, ""},
                                   {K::AddTrack, 3, ""}}));
    EXPECT_EQ(IdsOf(*m_list), (Ids{2, 3}));

    m_host.ClearCalls();
    Refuse(E_FAIL);
    EXPECT_HR(E_FAIL, m_list->AnnounceAll(&m_host));
    EXPECT_EQ(m_host.Calls().size(), 1u) << "nothing after a refused RemoveAllTracks";
    EXPECT_EQ(m_list->GetCount(), 2);
}

}  // namespace
