# zqsubtitle edit end to end, run by CTest with -DPROGRAM=... -DSAMPLES=...
# [-DXVFB_RUN=...]: OK prints the tracks as FILE:LANGUAGE:LABEL, which edit
# takes back unchanged; Cancel prints nothing and fails; a missing file is
# named; without a display edit says so and fails; under a real X server
# (Xvfb) it works as it does offscreen.

# Runs the command; its stdout, stderr and exit status land in OUT, ERR, CODE.
macro(run_edit)
  execute_process(COMMAND ${ARGN} OUTPUT_VARIABLE OUT ERROR_VARIABLE ERR RESULT_VARIABLE CODE TIMEOUT 60)
endmacro()

macro(fail what)
  message(FATAL_ERROR "${what}\nexit: ${CODE}\nstdout:\n${OUT}\nstderr:\n${ERR}")
endmacro()

set(english "${SAMPLES}/english-utf8.srt:en:English subtitles")
set(german "${SAMPLES}/german-cp1252.srt:ger:Deutsch")
set(russian "${SAMPLES}/russian-cp1251.srt::")

set(ENV{QT_QPA_PLATFORM} offscreen)
run_edit(${PROGRAM} edit ${english} ${german} ${russian} --close ok)
# A track given an empty label keeps it empty, and prints as it was given.
set(expected "${english}\n${german}\n${russian}\n")
if(NOT CODE EQUAL 0 OR NOT OUT STREQUAL expected)
  fail("OK prints the tracks, one per line as FILE:LANGUAGE:LABEL")
endif()
string(REPLACE "\n" ";" printed "${OUT}")
set(first "${OUT}")
run_edit(${PROGRAM} edit ${printed} --close ok)
if(NOT CODE EQUAL 0 OR NOT OUT STREQUAL first)
  fail("the printed tracks come back unchanged")
endif()

run_edit(${PROGRAM} edit ${english} --close cancel)
if(NOT CODE EQUAL 1 OR NOT OUT STREQUAL "")
  fail("Cancel prints nothing and ends with 1")
endif()

run_edit(${PROGRAM} edit ${SAMPLES}/no-such-file.srt --close ok)
if(NOT CODE EQUAL 1 OR NOT ERR MATCHES "no-such-file.srt: .*0x80070002.*cannot find the file")
  fail("a missing file is named with the reason")
endif()

unset(ENV{QT_QPA_PLATFORM})
unset(ENV{DISPLAY})
unset(ENV{WAYLAND_DISPLAY})
run_edit(${PROGRAM} edit ${english})
if(CODE EQUAL 0 OR NOT ERR MATCHES "no display")
  fail("without a display edit says so and fails")
endif()

if(XVFB_RUN)
  run_edit(${XVFB_RUN} -a ${PROGRAM} edit ${english} ${german} --close ok)
  if(NOT CODE EQUAL 0 OR NOT OUT STREQUAL "${english}\n${german}\n")
    fail("under Xvfb OK prints the tracks as offscreen")
  endif()
endif()
