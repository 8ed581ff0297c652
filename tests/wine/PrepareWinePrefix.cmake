# Makes the tests' Wine prefix once (the first start of a prefix is slow),
# with the null graphics driver, which makes windows without a display; then
# starts the prefix's server to stay a minute after its last client, so that
# the tests' many short Wine processes don't each start one.
#   cmake -DWINE=... -DWINESERVER=... -DPREFIX=... -P PrepareWinePrefix.cmake
include(${CMAKE_CURRENT_LIST_DIR}/WineEnvironment.cmake)

if(NOT EXISTS ${PREFIX}/zq-prefix-ready)
  file(REMOVE_RECURSE ${PREFIX})
  foreach(step "wineboot;--init" "reg;add;HKCU\\Software\\Wine\\Drivers;/v;Graphics;/d;null;/f")
    zq_run_under_wine(code output ${step})
    if(NOT code EQUAL 0)
      message(FATAL_ERROR "${step} in ${PREFIX} failed (${code}):\n${output}")
    endif()
  endforeach()
  # The prefix's registry is written when its server ends.
  execute_process(COMMAND ${WINESERVER} -w)
  file(TOUCH ${PREFIX}/zq-prefix-ready)
endif()
# Detached from this script's output; harmless when a server runs already.
execute_process(COMMAND ${WINESERVER} -p60 INPUT_FILE /dev/null OUTPUT_FILE /dev/null ERROR_FILE /dev/null)
# The prefix's service processes start with its first program: here, where
# they hold none of the tests' output open.
zq_run_under_wine(code output reg query "HKCU\\Software\\Wine\\Drivers")
