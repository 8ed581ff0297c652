# Shared build settings and the two helpers every folder uses.

set(ZQ_WARNINGS -Wall -Wextra -Wshadow -Wnon-virtual-dtor -Wno-missing-field-initializers)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # g++ 12 at -O2/-O3 reports impossible overlaps inside libstdc++'s own
  # basic_string code (-Wrestrict, -Wstringop-overflow false positives).
  list(APPEND ZQ_WARNINGS -Wno-restrict)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  # The language table's hash buckets are laid out at compile time, which
  # takes more constexpr evaluation steps than clang allows by default.
  add_compile_options(-fconstexpr-steps=100000000)
endif()
if(ZQ_WERROR)
  list(APPEND ZQ_WARNINGS -Werror)
endif()

if(ZQ_SANITIZE STREQUAL "address")
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
elseif(ZQ_SANITIZE STREQUAL "thread")
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
elseif(NOT ZQ_SANITIZE STREQUAL "")
  message(FATAL_ERROR "ZQ_SANITIZE must be empty, address or thread")
endif()

if(WIN32)
  # The C and C++ runtimes go into each module and program, so that
  # ZQSubtitle.dll and the test programs need no mingw-w64 DLL beside them.
  add_link_options(-static)
endif()

if(ZQ_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "ZQ_FUZZ needs clang (CXX=clang++)")
  endif()
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined)
  add_link_options(-fsanitize=address,undefined)
endif()

# zq_include_root(TARGET SCOPE)
# Gives TARGET an include root of its own in the build tree that holds the
# calling folder alone, under its path from the source root (a link). Files
# include "support/CAMThread.h" as before, but a library sees only its own
# folder and the roots of what it links: an include from a layer above fails
# to compile. SCOPE is PUBLIC for a library, PRIVATE for a program.
function(zq_include_root target scope)
  file(RELATIVE_PATH folder ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR})
  set(root ${CMAKE_BINARY_DIR}/include-roots/${target})
  get_filename_component(parent ${root}/${folder} DIRECTORY)
  file(MAKE_DIRECTORY ${parent})
  file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR} ${root}/${folder} SYMBOLIC)
  target_include_directories(${target} ${scope} ${root})
endfunction()

# zq_folder_library(NAME [SHARED] [DEPS ...])
# Builds every .cpp file directly in the calling folder into the library NAME,
# which links DEPS (the libraries below it) and exposes its own include root.
function(zq_folder_library name)
  cmake_parse_arguments(ARG "SHARED" "" "DEPS" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  if(ARG_SHARED)
    add_library(${name} SHARED ${sources})
  else()
    add_library(${name} STATIC ${sources})
  endif()
  zq_include_root(${name} PUBLIC)
  target_compile_options(${name} PRIVATE ${ZQ_WARNINGS})
  target_link_libraries(${name} PUBLIC ${ARG_DEPS})
endfunction()

# zq_folder_tests(NAME [DEPS ...])
# Builds every .cpp file in the calling folder's tests/ into the GoogleTest
# program NAME and registers each test with CTest. Tests see the shared
# corpus and a registry of their own in the build tree, never the user's or
# the machine's hives.
function(zq_folder_tests name)
  if(NOT ZQ_BUILD_TESTS)
    return()
  endif()
  cmake_parse_arguments(ARG "" "" "DEPS" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/tests/*.cpp)
  if(NOT sources)
    return()
  endif()
  add_executable(${name} ${sources})
  target_compile_options(${name} PRIVATE ${ZQ_WARNINGS})
  # The test main (tests/support) sets the environment the tests read.
  target_link_libraries(${name} PRIVATE ${ARG_DEPS} zq_testsupport zq_testmain GTest::gtest GTest::gmock)
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60)
endfunction()

# zq_compile_typelib(TARGET IDL OUTPUT [DEPENDS ...])
# Windows only: compiles IDL into the type library OUTPUT with widl, for
# 64-bit Windows. The IDL imports the platform's stand-ins for the SDK's IDL
# files and finds imported libraries (stdole2.tlb) among the compiled ones.
function(zq_compile_typelib target idl output)
  cmake_parse_arguments(ARG "" "" "DEPENDS" ${ARGN})
  get_filename_component(folder ${output} DIRECTORY)
  add_custom_command(OUTPUT ${output}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${folder}
    COMMAND ${ZQ_WIDL} --win64 -t -I ${ZQ_IDL_DIR} -L ${ZQ_TYPELIB_DIR} -o ${output} ${idl}
    DEPENDS ${idl} ${ZQ_IDL_DIR}/oaidl.idl ${ARG_DEPENDS}
    COMMENT "Compiling the type library ${output}"
    VERBATIM)
  add_custom_target(${target} DEPENDS ${output})
endfunction()
