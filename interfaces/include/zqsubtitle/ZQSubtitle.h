// The public declarations of the module ZQSubtitle: identifiers, enumerations
// and the nine interfaces, exactly as the binary interface lays them out.
//
// A client needs nothing but this header, the platform headers and dlopen.
// Interfaces are pure virtual functions in their documented order, with single
// inheritance from IUnknown or IDispatch and no virtual destructor, so their
// vtables are the contract.
#pragma once

#include "zqplatform/oaidl.h"
#include "zqplatform/strmif.h"

// Type library and classes.
inline constexpr GUID LIBID_ZQSubtitleLib = {
    0x7C41A0EE, 0x5D2B, 0x4E6F, {0x9A, 0x13, 0x2F, 0x6D, 0x8B, 0x04, 0xC7, 0xE1}};
inline constexpr CLSID CLSID_ZQMuxSubtitle = {
    0x7C41A0EF, 0x5D2B, 0x4E6F, {0x9A, 0x13, 0x2F, 0x6D, 0x8B, 0x04, 0xC7, 0xE1}};
inline constexpr CLSID CLSID_ZQDmxSubtitle = {
    0x7C41A0F0, 0x5D2B, 0x4E6F, {0x9A, 0x13, 0x2F, 0x6D, 0x8B, 0x04, 0xC7, 0xE1}};
inline constexpr CLSID CLSID_ZQMuxSubtitlePropPage = {
    0x7C41A0F1, 0x5D2B, 0x4E6F, {0x9A, 0x13, 0x2F, 0x6D, 0x8B, 0x04, 0xC7, 0xE1}};

// Interfaces, in ascending order of their identifiers.
ZQ_DECLARE_INTERFACE_IID(IZQMuxSubtitleControlCallback, 0x7C41A0F2, 0x5D2B, 0x4E6F, 0x9A, 0x13, 0x2F, 0x6D, 0x8B,
                         0x04, 0xC7, 0xE1);
ZQ_DECLARE_INTERFACE_IID(IZQMuxSubtitleControl, 0x7C41A0F3, 0x5D2B, 0x4E6F, 0x9A, 0x13, 0x2F, 0x6D, 0x8B, 0x04, 0xC7,
                         0xE1);
ZQ_DECLARE_INTERFACE_IID(IZQDmxSubtitleControl, 0x7C41A0F4, 0x5D2B, 0x4E6F, 0x9A, 0x13, 0x2F, 0x6D, 0x8B, 0x04, 0xC7,
                         0xE1);
ZQ_DECLARE_INTERFACE_IID(IZQSubtitleCue, 0x7C41A0F5, 0x5D2B, 0x4E6F, 0x9A, 0x13, 0x2F, 0x6D, 0x8B, 0x04, 0xC7, 0xE1);
ZQ_DECLARE_INTERFACE_IID(IZQDmxSubtitleCallback, 0x7C41A0F6, 0x5D2B, 0x4E6F, 0x9A, 0x13, 0x2F, 0x6D, 0x8B, 0x04, 0xC7,
                         0xE1);
ZQ_DECLARE_INTERFACE_IID(IZQSubtitleTrack, 0x7C41A0F7, 0x5D2B, 0x4E6F, 0x9A, 0x13, 0x2F, 0x6D, 0x8B, 0x04, 0xC7, 0xE1);
ZQ_DECLARE_INTERFACE_IID(IZQSubtitleTrackList, 0x7C41A0F8, 0x5D2B, 0x4E6F, 0x9A, 0x13, 0x2F, 0x6D, 0x8B, 0x04, 0xC7,
                         0xE1);
ZQ_DECLARE_INTERFACE_IID(IZQDmxSubtitle, 0x7C41A0F9, 0x5D2B, 0x4E6F, 0x9A, 0x13, 0x2F, 0x6D, 0x8B, 0x04, 0xC7, 0xE1);
ZQ_DECLARE_INTERFACE_IID(IZQMuxSubtitle, 0x7C41A0FA, 0x5D2B, 0x4E6F, 0x9A, 0x13, 0x2F, 0x6D, 0x8B, 0x04, 0xC7, 0xE1);

/// The kind of a track; 32 bits in memory.
enum ZQSubtitle_Track_Kind : int32_t {
    ZQSubtitle_Track_Kind_Unknown = 0,
    ZQSubtitle_Track_Kind_Text = 1,
};

/// What happened to a cue, as told to IZQDmxSubtitleCallback::Cue; 32 bits in memory.
enum ZQSubtitle_Cue_Event : int32_t {
    ZQSubtitle_Cue_Event_Active = 0,
    ZQSubtitle_Cue_Event_Inactive = 1,
    ZQSubtitle_Cue_Event_Clear = 2,
};

#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#endif

/// Implemented by the host multiplexer: receives track announcements and samples.
struct IZQMuxSubtitleControlCallback : IUnknown {
    virtual HRESULT Receive(LONG trackid, REFERENCE_TIME start, REFERENCE_TIME stop, BYTE* data, LONG length) = 0;
    virtual HRESULT EndOfStream(LONG trackid) = 0;
    virtual HRESULT AddTrack(const AM_MEDIA_TYPE* mediatype, LONG trackid) = 0;
    virtual HRESULT RemoveAllTracks() = 0;
    virtual HRESULT RemoveTrack(LONG trackid) = 0;
};

/// Implemented by the multiplexer object for its host filter.
struct IZQMuxSubtitleControl : IUnknown {
    virtual HRESULT SetCallback(IZQMuxSubtitleControlCallback* callback) = 0;
    virtual HRESULT Run() = 0;
    virtual HRESULT Stop() = 0;
    virtual HRESULT SetTrackData(LONG trackid, LONGLONG data) = 0;
    virtual HRESULT GetTrackData(LONG trackid, LONGLONG* data) = 0;
};

/// Implemented by the demultiplexer object for its host filter.
struct IZQDmxSubtitleControl : IUnknown {
    virtual HRESULT AddTrack(const AM_MEDIA_TYPE* mediatype, LONG* trackid) = 0;
    virtual HRESULT RemoveAllTracks() = 0;
    virtual HRESULT RemoveTrack(LONG trackid) = 0;
    virtual HRESULT Run(REFERENCE_TIME start) = 0;
    virtual HRESULT Stop() = 0;
    virtual HRESULT Pause() = 0;
    virtual HRESULT SetSyncSource(IReferenceClock* clock) = 0;
    virtual HRESULT JoinFilterGraph(IFilterGraph* graph) = 0;
    virtual HRESULT BeginFlush(LONG trackid) = 0;
    virtual HRESULT EndFlush(LONG trackid) = 0;
    virtual HRESULT NewSegment(LONG trackid, REFERENCE_TIME start, REFERENCE_TIME stop, double rate) = 0;
    virtual HRESULT EndOfStream(LONG trackid) = 0;
    virtual HRESULT Receive(LONG trackid, REFERENCE_TIME start, REFERENCE_TIME stop, BYTE* data, LONG length) = 0;
};

/// One timed text; times in seconds of media time.
struct IZQSubtitleCue : IDispatch {
    virtual HRESULT get_Start(double* pVal) = 0;
    virtual HRESULT get_Stop(double* pVal) = 0;
    virtual HRESULT get_Text(BSTR* pVal) = 0;
    virtual HRESULT get_trackid(LONG* pVal) = 0;
};

/// Implemented by the application: hears of cues that become active or inactive.
struct IZQDmxSubtitleCallback : IUnknown {
    virtual HRESULT Cue(ZQSubtitle_Cue_Event cueevent, double currenttime, IZQSubtitleCue* Cue) = 0;
};

/// One subtitle track.
struct IZQSubtitleTrack : IDispatch {
    virtual HRESULT get_Label(BSTR* pVal) = 0;
    virtual HRESULT get_Language(BSTR* pVal) = 0;
    virtual HRESULT get_ID(LONG* pVal) = 0;
    virtual HRESULT get_Kind(ZQSubtitle_Track_Kind* pVal) = 0;
    virtual HRESULT get_Selected(VARIANT_BOOL* pVal) = 0;
    virtual HRESULT get_LanguageName(BSTR* pVal) = 0;
};

/// An ordered list of tracks, usually a snapshot.
struct IZQSubtitleTrackList : IDispatch {
    virtual HRESULT get_Count(LONG* pVal) = 0;
    virtual HRESULT GetTrack(LONG index, IZQSubtitleTrack** track) = 0;
    virtual HRESULT GetTrackByID(LONG trackid, IZQSubtitleTrack** track) = 0;
    virtual HRESULT GetTrackIndexByID(LONG trackid, LONG* index) = 0;
};

/// The demultiplexer object as the application sees it.
struct IZQDmxSubtitle : IDispatch {
    virtual HRESULT get_Tracks(IZQSubtitleTrackList** pVal) = 0;
    virtual HRESULT get_TextTracks(IZQSubtitleTrackList** pVal) = 0;
    virtual HRESULT get_SelectedTracks(IZQSubtitleTrackList** pVal) = 0;
    virtual HRESULT SelectTrack(LONG trackid, VARIANT_BOOL Selected) = 0;
    virtual HRESULT get_Callback(IZQDmxSubtitleCallback** pVal) = 0;
    virtual HRESULT putref_Callback(IZQDmxSubtitleCallback* pVal) = 0;
};

/// The multiplexer object as the application and the property page see it.
struct IZQMuxSubtitle : IDispatch {
    virtual HRESULT get_Tracks(IZQSubtitleTrackList** pVal) = 0;
    virtual HRESULT get_TextTracks(IZQSubtitleTrackList** pVal) = 0;
    virtual HRESULT AddTextTrackFromFile(BSTR path, BSTR Label, BSTR Language, LONG* trackid) = 0;
    virtual HRESULT RemoveTrack(LONG trackid) = 0;
    virtual HRESULT EnterEdit() = 0;
    virtual HRESULT LeaveEdit(VARIANT_BOOL discard) = 0;
};

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

static_assert(sizeof(ZQSubtitle_Track_Kind) == 4 && sizeof(ZQSubtitle_Cue_Event) == 4);
