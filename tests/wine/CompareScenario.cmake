# Runs the scenario client under Wine against the registered ZQSubtitle.dll,
# and the same client of the Linux build against its module, registered per
# user in a registry of its own; the two listings must be the same.
#   cmake -DWINE=... -DPREFIX=... -DSCENARIO=...exe -DLINUX_BUILD=... -DWORK=...
#         -DSAMPLES=path:lang;... -P CompareScenario.cmake
include(${CMAKE_CURRENT_LIST_DIR}/WineEnvironment.cmake)

set(linux_scenario ${LINUX_BUILD}/bin/zqsubtitle-scenario)
set(linux_regsvr ${LINUX_BUILD}/bin/zqregsvr)
file(GLOB linux_module ${LINUX_BUILD}/lib/libZQSubtitle.so.[0-9])
if(NOT EXISTS ${linux_scenario} OR NOT EXISTS ${linux_regsvr} OR NOT linux_module)
  message(FATAL_ERROR "The Linux build to compare with, ${LINUX_BUILD}, lacks zqsubtitle-scenario, zqregsvr or "
                      "libZQSubtitle.so: build it first (scripts/build.sh debug), or point ZQ_LINUX_REFERENCE_BUILD "
                      "at another Linux build.")
endif()

file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK}/linux-registry)
set(ENV{ZQPLATFORM_REGISTRY_ROOT} ${WORK}/linux-registry)
execute_process(COMMAND ${linux_regsvr} --user ${linux_module} RESULT_VARIABLE code OUTPUT_QUIET ERROR_VARIABLE errors)
if(NOT code EQUAL 0)
  message(FATAL_ERROR "registering ${linux_module} failed: ${errors}")
endif()
execute_process(COMMAND ${linux_scenario} ${SAMPLES} RESULT_VARIABLE code OUTPUT_VARIABLE linux ERROR_VARIABLE errors)
if(NOT code EQUAL 0)
  message(FATAL_ERROR "the Linux scenario failed (${code}): ${errors}\n${linux}")
endif()

set(windows_samples "")
foreach(sample ${SAMPLES})
  zq_windows_path(windows ${sample})
  list(APPEND windows_samples ${windows})
endforeach()
zq_run_under_wine(code windows ${SCENARIO} ${windows_samples})
if(NOT code EQUAL 0)
  message(FATAL_ERROR "the scenario under Wine failed (${code}):\n${windows}")
endif()

file(WRITE ${WORK}/linux.txt "${linux}")
file(WRITE ${WORK}/windows.txt "${windows}")
if(NOT linux STREQUAL windows)
  message(FATAL_ERROR "The listings differ: ${WORK}/linux.txt and ${WORK}/windows.txt\n"
                      "Linux:\n${linux}\nWindows:\n${windows}")
endif()
message("${windows}")
