# Cross-compiles for 64-bit Windows with Debian's mingw-w64
# (x86_64-w64-mingw32): `cmake --preset mingw`. The POSIX-threads variant of
# the compilers, whose C++ library has std::thread and std::mutex; widl
# compiles IDL into type libraries, windres the resources. Programs that the
# tests run go through Wine (tests/wine).
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(ZQ_MINGW_TRIPLET x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${ZQ_MINGW_TRIPLET}-gcc-posix)
set(CMAKE_CXX_COMPILER ${ZQ_MINGW_TRIPLET}-g++-posix)
set(CMAKE_RC_COMPILER ${ZQ_MINGW_TRIPLET}-windres)
set(ZQ_WIDL ${ZQ_MINGW_TRIPLET}-widl)

set(CMAKE_FIND_ROOT_PATH /usr/${ZQ_MINGW_TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
