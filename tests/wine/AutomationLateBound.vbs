' Drives the module's automation interfaces late bound, as a script does:
' objects by ProgID, every call through IDispatch (names to dispatch ids, then
' Invoke), failures as the script's Err with the status, its text and source.
'   cscript //nologo AutomationLateBound.vbs SAMPLE.srt
' Prints each failed check and "N failed checks"; exits with N.
Option Explicit
Dim failures, sample, mux, dmx, tracks, track, first, second, missing, invalid, unknown
failures = 0
sample = WScript.Arguments(0)

Sub Check(agrees, what)
    If Not agrees Then failures = failures + 1 : WScript.Echo "failed: " & what
End Sub

Set mux = CreateObject("ZQSubtitle.ZQMuxSubtitle")
first = mux.AddTextTrackFromFile(sample, "Deutsch", "de")
second = mux.AddTextTrackFromFile(sample, "Zweite", "ger")
Check first = 1 And second = 2, "the track ids are 1 and 2, not " & first & " and " & second
Set tracks = mux.Tracks
Set track = tracks.GetTrackByID(second)
Check tracks.Count = 2 And tracks.GetTrackIndexByID(second) = 1, "two tracks, the second at index 1"
Check track.Label & "/" & track.Language & "/" & track.LanguageName & "/" & track.ID & "/" & track.Kind = _
      "Zweite/ger/German/2/1", "the second track's properties"
Check CInt(track.Selected) = 1, "a multiplexer's track is selected, with 1 for true as scripts have always seen"
Check mux.tracks.count = 2, "names are matched without regard to case"

' The edit bracket: a discarded edit leaves the tracks as they were, a kept one doesn't.
mux.EnterEdit : mux.RemoveTrack first : mux.LeaveEdit True
Check mux.Tracks.Count = 2, "a discarded edit keeps both tracks"
mux.EnterEdit : mux.RemoveTrack first : mux.LeaveEdit False
Check mux.TextTracks.Count = 1 And mux.TextTracks.GetTrack(0).ID = second, "a kept edit removes the first track"

' Failures reach the script as errors with the status, its text and the component.
On Error Resume Next
mux.AddTextTrackFromFile sample & ".missing", "Missing", "en"
missing = Array(Err.Number, Err.Description, Err.Source) : Err.Clear
mux.AddTextTrackFromFile WScript.ScriptFullName, "Script", "en"
invalid = Array(Err.Number, Err.Description) : Err.Clear
mux.RemoveTrack 99
unknown = Err.Number : Err.Clear
On Error GoTo 0
Check missing(0) = &H80070002 And Len(missing(1)) > 0 And missing(2) = "ZQSubtitle", _
      "a missing file: " & Hex(missing(0)) & " " & missing(1) & " / " & missing(2)
Check invalid(0) = &H8004022F And InStr(LCase(invalid(1)), "8004022f") = 0, _
      "a file that isn't SubRip fails with a text that says so: " & Hex(invalid(0)) & " " & invalid(1)
Check unknown = &H80070057, "removing an unknown track fails with E_INVALIDARG, not " & Hex(unknown)

' The demultiplexer: its lists, the callback put by reference, a selection without tracks.
Set dmx = CreateObject("ZQSubtitle.ZQDmxSubtitle")
Check dmx.Tracks.Count = 0 And dmx.SelectedTracks.Count = 0, "a new demultiplexer has no tracks"
Set dmx.Callback = Nothing
Check dmx.Callback Is Nothing, "the callback put by reference as Nothing reads as Nothing"
On Error Resume Next
dmx.SelectTrack 1, True
unknown = Err.Number : Err.Clear
On Error GoTo 0
Check unknown = &H80070057, "selecting an unknown track fails with E_INVALIDARG, not " & Hex(unknown)

WScript.Echo failures & " failed checks"
WScript.Quit failures
