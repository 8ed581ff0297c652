' Drives the module's automation interfaces late bound, as a script does:
' objects by ProgID, every call through IDispatch (names to dispatch ids,
' then Invoke), failures as the script's Err with the status and its text.
'
'   cscript //nologo AutomationLateBound.vbs SAMPLE.srt
'
' Prints each failed check; the exit status is the number of failures.
Option Explicit

Dim failures
failures = 0

Sub Check(agrees, what)
    If Not agrees Then
        failures = failures + 1
        WScript.Echo "failed: " & what
    End If
End Sub

Dim sample, mux, tracks, track, first, second, status, description, source
sample = WScript.Arguments(0)

' Tracks and their properties.
Set mux = CreateObject("ZQSubtitle.ZQMuxSubtitle")
first = mux.AddTextTrackFromFile(sample, "Deutsch", "de")
second = mux.AddTextTrackFromFile(sample, "Zweite", "ger")
Check first = 1 And second = 2, "the track ids are 1 and 2, not " & first & " and " & second
Set tracks = mux.Tracks
Check tracks.Count = 2, "two tracks, not " & tracks.Count
Set track = tracks.GetTrackByID(second)
Check track.Label = "Zweite" And track.Language = "ger" And track.LanguageName = "German", _
      "the second track is Zweite, ger, German, not " & track.Label & ", " & track.Language & ", " & track.LanguageName
Check track.ID = second And track.Kind = 1, "the second track's id and kind"
Check CInt(track.Selected) = 1, "a multiplexer's track reads as selected, with 1 for true as scripts have always seen"
Check tracks.GetTrackIndexByID(second) = 1, "the second track's index"
Check mux.tracks.count = 2, "names are matched without regard to case"

' The edit bracket: a discarded edit leaves the tracks as they were, a kept one doesn't.
mux.EnterEdit
mux.RemoveTrack first
mux.LeaveEdit True
Check mux.Tracks.Count = 2, "a discarded edit keeps both tracks"
mux.EnterEdit
mux.RemoveTrack first
mux.LeaveEdit False
Check mux.TextTracks.Count = 1, "a kept edit removes the first track"
Check mux.TextTracks.GetTrack(0).ID = second, "the second track stays"

' A failure reaches the script as an error: the status, its text and the component.
On Error Resume Next
mux.AddTextTrackFromFile sample & ".missing", "Missing", "en"
status = Err.Number
description = Err.Description
source = Err.Source
On Error GoTo 0
Check status = &H80070002, "a missing file fails with 0x80070002, not " & Hex(status)
Check Len(description) > 0 And source = "ZQSubtitle", "the error names its text and source: " & description & " / " & source
On Error Resume Next
mux.RemoveTrack 99
status = Err.Number
On Error GoTo 0
Check status = &H80070057, "removing an unknown track fails with E_INVALIDARG, not " & Hex(status)

' The demultiplexer: its lists, the callback property put by reference, a selection without tracks.
Dim dmx
Set dmx = CreateObject("ZQSubtitle.ZQDmxSubtitle")
Check dmx.Tracks.Count = 0 And dmx.SelectedTracks.Count = 0, "a new demultiplexer has no tracks"
Set dmx.Callback = Nothing
Check dmx.Callback Is Nothing, "the callback put by reference as Nothing reads as Nothing"
On Error Resume Next
dmx.SelectTrack 1, True
status = Err.Number
On Error GoTo 0
Check status = &H80070057, "selecting an unknown track fails with E_INVALIDARG, not " & Hex(status)

WScript.Echo failures & " failed checks"
WScript.Quit failures
