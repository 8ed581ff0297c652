# Runs regsvr32 on the module and checks the registry through Windows' own
# reg.exe: the ProgIDs, the classes, the type library and its interfaces are
# there after registering and gone after unregistering, but for the CLSID key
# itself. Nothing of the module may appear under OTHER_ROOT, if given.
#   cmake -DWINE=... -DPREFIX=... -DMODULE=... -DROOT=... [-DOTHER_ROOT=...]
#         -DEXPECT=present|absent -DARGS=/s;... -P Regsvr32.cmake
include(${CMAKE_CURRENT_LIST_DIR}/WineEnvironment.cmake)

zq_windows_path(module ${MODULE})
zq_run_under_wine(code output regsvr32 ${ARGS} ${module})
if(NOT code EQUAL 0)
  message(FATAL_ERROR "regsvr32 ${ARGS} ${module} failed (${code}):\n${output}")
endif()

# Key | what its listing shows when it is there.
set(keys
  "ZQSubtitle.ZQMuxSubtitle\\CLSID|{7C41A0EF-5D2B-4E6F-9A13-2F6D8B04C7E1}"
  "ZQSubtitle.ZQDmxSubtitle.1\\CLSID|{7C41A0F0-5D2B-4E6F-9A13-2F6D8B04C7E1}"
  "ZQSubtitle.ZQMuxSubtitlePropPage\\CurVer|ZQSubtitle.ZQMuxSubtitlePropPage.1"
  "CLSID\\{7C41A0F0-5D2B-4E6F-9A13-2F6D8B04C7E1}\\InprocServer32|ZQSubtitle.dll.*ThreadingModel +REG_SZ +Both"
  "TypeLib\\{7C41A0EE-5D2B-4E6F-9A13-2F6D8B04C7E1}\\1.0\\0\\win64|ZQSubtitle.dll"
  "Interface\\{7C41A0FA-5D2B-4E6F-9A13-2F6D8B04C7E1}\\ProxyStubClsid32|{00020424-0000-0000-C000-000000000046}")
set(problems "")
foreach(entry ${keys})
  string(REPLACE "|" ";" fields "${entry}")
  list(GET fields 0 key)
  list(GET fields 1 shows)
  zq_run_under_wine(code listing reg query "${ROOT}\\${key}")
  if(EXPECT STREQUAL "present" AND NOT (code EQUAL 0 AND listing MATCHES "${shows}"))
    string(APPEND problems "${ROOT}\\${key} should show ${shows}:\n${listing}\n")
  elseif(EXPECT STREQUAL "absent" AND code EQUAL 0)
    string(APPEND problems "${ROOT}\\${key} should be gone:\n${listing}\n")
  endif()
  if(OTHER_ROOT)
    zq_run_under_wine(code listing reg query "${OTHER_ROOT}\\${key}")
    if(code EQUAL 0)
      string(APPEND problems "${OTHER_ROOT}\\${key} should not have been written:\n${listing}\n")
    endif()
  endif()
endforeach()
zq_run_under_wine(code listing reg query "${ROOT}\\CLSID" /ve)
if(NOT code EQUAL 0)
  string(APPEND problems "${ROOT}\\CLSID should stay:\n${listing}\n")
endif()
if(problems)
  message(FATAL_ERROR "after regsvr32 ${ARGS}:\n${problems}")
endif()
