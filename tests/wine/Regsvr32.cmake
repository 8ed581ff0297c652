# Runs regsvr32 on the module and checks the registry as Windows' own reg.exe
# reads it: the classes, the ProgIDs, the type library and its interfaces are
# there after registering, gone after unregistering (but for the CLSID key).
#   cmake -DWINE=... -DPREFIX=... -DMODULE=... -DROOT=HKCR|HKCU\Software\Classes
#         -DOTHER_ROOT=... -DEXPECT=present|absent -DARGS=/s;... -P Regsvr32.cmake
# OTHER_ROOT, if given, is the root that must stay without the module's keys.
include(${CMAKE_CURRENT_LIST_DIR}/WineEnvironment.cmake)

zq_windows_path(module ${MODULE})
zq_run_under_wine(code output regsvr32 ${ARGS} ${module})
if(NOT code EQUAL 0)
  message(FATAL_ERROR "regsvr32 ${ARGS} ${module} failed (${code}):\n${output}")
endif()

set(typelib "{7C41A0EE-5D2B-4E6F-9A13-2F6D8B04C7E1}")
# Key | what its listing must show when present.
set(keys
  "ZQSubtitle.ZQMuxSubtitle\\CLSID|{7C41A0EF-5D2B-4E6F-9A13-2F6D8B04C7E1}"
  "ZQSubtitle.ZQDmxSubtitle.1\\CLSID|{7C41A0F0-5D2B-4E6F-9A13-2F6D8B04C7E1}"
  "ZQSubtitle.ZQMuxSubtitlePropPage\\CurVer|ZQSubtitle.ZQMuxSubtitlePropPage.1"
  "CLSID\\{7C41A0F0-5D2B-4E6F-9A13-2F6D8B04C7E1}\\InprocServer32|ThreadingModel +REG_SZ +Both"
  "CLSID\\{7C41A0EF-5D2B-4E6F-9A13-2F6D8B04C7E1}\\InprocServer32|ZQSubtitle.dll"
  "TypeLib\\${typelib}\\1.0\\0\\win64|ZQSubtitle.dll"
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
if(EXPECT STREQUAL "absent")
  # Unregistering leaves the CLSID key itself, which other classes share.
  zq_run_under_wine(code listing reg query "${ROOT}\\CLSID" /ve)
  if(NOT code EQUAL 0)
    string(APPEND problems "${ROOT}\\CLSID should stay:\n${listing}\n")
  endif()
endif()
if(problems)
  message(FATAL_ERROR "after regsvr32 ${ARGS}:\n${problems}")
endif()
