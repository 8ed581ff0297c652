# What the Wine tests' scripts share. The environment: the build tree's own
# prefix, no debug output, no display (the prefix's null graphics driver
# serves the hidden windows), none of the Mono and Gecko installers that a
# fresh prefix asks for. Needs WINE and PREFIX.
set(ENV{WINEPREFIX} ${PREFIX})
set(ENV{WINEDEBUG} -all)
set(ENV{WINEDLLOVERRIDES} "mscoree,mshtml=")
unset(ENV{DISPLAY})

# zq_windows_path(OUT PATH): the path as a Windows program names it, through
# the Z: drive that a prefix maps to the root.
function(zq_windows_path out path)
  string(REPLACE "/" "\\" windows "${path}")
  set(${out} "Z:${windows}" PARENT_SCOPE)
endfunction()

# zq_run_under_wine(RESULT OUTPUT ARGS...): runs a Windows program or builtin,
# its output with Unix line ends. The output goes through a file, not a pipe:
# the service processes that the first program of a prefix starts would
# inherit a pipe and hold it open long after.
function(zq_run_under_wine result output)
  string(RANDOM LENGTH 12 tag)
  set(file ${PREFIX}-output/${tag})
  file(MAKE_DIRECTORY ${PREFIX}-output)
  execute_process(COMMAND ${WINE} ${ARGN} RESULT_VARIABLE code INPUT_FILE /dev/null OUTPUT_FILE ${file}
                  ERROR_FILE ${file}.errors)
  file(READ ${file} text)
  file(READ ${file}.errors errors)
  file(REMOVE ${file} ${file}.errors)
  string(REPLACE "\r\n" "\n" text "${text}${errors}")
  set(${result} ${code} PARENT_SCOPE)
  set(${output} "${text}" PARENT_SCOPE)
endfunction()
