# Runs the scenario client under Wine against the registered ZQSubtitle.dll,
# and the Linux build's client against its module, registered per user in a
# registry of its own: the two listings must be the same.
#   cmake -DWINE=... -DPREFIX=... -DSCENARIO=...exe -DLINUX_BUILD=... -DWORK=...
#         -DSAMPLES=path:lang;... -P CompareScenario.cmake
include(${CMAKE_CURRENT_LIST_DIR}/WineEnvironment.cmake)

file(GLOB linux_module ${LINUX_BUILD}/lib/libZQSubtitle.so.[0-9])
if(NOT EXISTS ${LINUX_BUILD}/bin/zqsubtitle-scenario OR NOT EXISTS ${LINUX_BUILD}/bin/zqregsvr OR NOT linux_module)
  message(FATAL_ERROR "The Linux build to compare with, ${LINUX_BUILD}, lacks zqsubtitle-scenario, zqregsvr or "
                      "the module: build it first (scripts/build.sh debug), or set ZQ_LINUX_REFERENCE_BUILD.")
endif()
file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK}/registry)
set(ENV{ZQPLATFORM_REGISTRY_ROOT} ${WORK}/registry)
execute_process(COMMAND ${LINUX_BUILD}/bin/zqregsvr --user ${linux_module} OUTPUT_QUIET)
execute_process(COMMAND ${LINUX_BUILD}/bin/zqsubtitle-scenario ${SAMPLES} RESULT_VARIABLE code
                OUTPUT_VARIABLE linux ERROR_VARIABLE errors)
if(NOT code EQUAL 0)
  message(FATAL_ERROR "The Linux scenario failed (${code}): ${errors}\n${linux}")
endif()

set(windows_samples "")
foreach(sample ${SAMPLES})
  zq_windows_path(windows ${sample})
  list(APPEND windows_samples ${windows})
endforeach()
zq_run_under_wine(code windows ${SCENARIO} ${windows_samples})
file(WRITE ${WORK}/linux.txt "${linux}")
file(WRITE ${WORK}/windows.txt "${windows}")
if(NOT code EQUAL 0 OR NOT linux STREQUAL windows)
  message(FATAL_ERROR "The Windows scenario (${code}) lists otherwise than the Linux one: compare "
                      "${WORK}/windows.txt with ${WORK}/linux.txt\n${windows}")
endif()
message("${windows}")
