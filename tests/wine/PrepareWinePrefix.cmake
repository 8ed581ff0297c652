# Makes the tests' Wine prefix once (the first start of a prefix takes the
# longest) and sets its graphics driver to the null one, which makes windows
# without a display. Later runs find it ready. Then starts the prefix's
# server to stay for a minute after its last client, so that the tests'
# many short Wine processes don't each start one.
#   cmake -DWINE=... -DWINESERVER=... -DPREFIX=... -P PrepareWinePrefix.cmake
include(${CMAKE_CURRENT_LIST_DIR}/WineEnvironment.cmake)

function(zq_start_lasting_server)
  # The server goes on in the background; it must not hold this script's
  # output open. It fails harmlessly when the prefix has one running.
  execute_process(COMMAND ${WINESERVER} -p60 INPUT_FILE /dev/null OUTPUT_FILE /dev/null ERROR_FILE /dev/null)
  # The prefix's service processes start with the first program; started
  # here, they hold none of the tests' output pipes open.
  zq_run_under_wine(code output reg query "HKCU\\Software\\Wine\\Drivers")
endfunction()

set(ready ${PREFIX}/zq-prefix-ready)
if(EXISTS ${ready})
  zq_start_lasting_server()
  return()
endif()
file(REMOVE_RECURSE ${PREFIX})
zq_run_under_wine(code output wineboot --init)
if(NOT code EQUAL 0)
  message(FATAL_ERROR "wineboot --init in ${PREFIX} failed (${code}):\n${output}")
endif()
zq_run_under_wine(code output reg add "HKCU\\Software\\Wine\\Drivers" /v Graphics /d null /f)
if(NOT code EQUAL 0)
  message(FATAL_ERROR "setting the null graphics driver in ${PREFIX} failed (${code}):\n${output}")
endif()
# The prefix's registry is written when its server ends.
execute_process(COMMAND ${WINESERVER} -w)
file(TOUCH ${ready})
zq_start_lasting_server()
