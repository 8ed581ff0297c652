# Registers the module per user in a registry of its own, runs the example
# host, and unregisters; fails on any step that fails.
file(REMOVE_RECURSE ${REGISTRY})
file(MAKE_DIRECTORY ${REGISTRY})
set(ENV{ZQPLATFORM_REGISTRY_ROOT} ${REGISTRY})
foreach(step "${REGSVR};--user;${MODULE}" "${HOST};${MODULE};${SAMPLE}" "${REGSVR};-u;--user;${MODULE}")
  execute_process(COMMAND ${step} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  message("${output}")
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "step failed (${result}): ${step}")
  endif()
endforeach()
