# Cross-compiles for 64-bit Windows with Debian's mingw-w64 toolchain.
#
#   cmake -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake \
#         -DROTALIS_WINDOWS_PREFIX=/path/to/prefix ...
#
# The dependency prefix is the one scripts/windows-deps.sh builds. It can also come from the
# environment variable of the same name.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(_rotalis_triplet x86_64-w64-mingw32)
# The posix thread model: the win32 one of GCC 12 has no std::thread or std::mutex.
set(CMAKE_C_COMPILER ${_rotalis_triplet}-gcc-posix)
set(CMAKE_CXX_COMPILER ${_rotalis_triplet}-g++-posix)
set(CMAKE_RC_COMPILER ${_rotalis_triplet}-windres)

# try_compile() projects read this file again but see neither the cache nor -D of the outer
# project; the environment carries the prefix to them.
if(NOT DEFINED ROTALIS_WINDOWS_PREFIX AND DEFINED ENV{ROTALIS_WINDOWS_PREFIX})
  set(ROTALIS_WINDOWS_PREFIX "$ENV{ROTALIS_WINDOWS_PREFIX}")
endif()
if(ROTALIS_WINDOWS_PREFIX)
  get_filename_component(ROTALIS_WINDOWS_PREFIX "${ROTALIS_WINDOWS_PREFIX}" ABSOLUTE)
  set(ROTALIS_WINDOWS_PREFIX "${ROTALIS_WINDOWS_PREFIX}" CACHE PATH
      "Prefix with the Windows builds of the dependencies (scripts/windows-deps.sh)")
  set(ENV{ROTALIS_WINDOWS_PREFIX} "${ROTALIS_WINDOWS_PREFIX}")
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ROTALIS_WINDOWS_PREFIX)

# Only the mingw sysroot and our prefix: the build machine's headers and CMake packages
# (/usr/include, /usr/share/cmake) are for Linux and break a Windows build when they leak in.
set(CMAKE_FIND_ROOT_PATH /usr/${_rotalis_triplet})
if(ROTALIS_WINDOWS_PREFIX)
  list(APPEND CMAKE_FIND_ROOT_PATH "${ROTALIS_WINDOWS_PREFIX}")
endif()
# Tools (code generators, pkg-config, the test emulator) run on the build machine.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Link the C and C++ runtimes and winpthreads in: a program must start on a Windows (or
# Wine) without libstdc++-6.dll, libgcc_s_seh-1.dll and libwinpthread-1.dll beside it.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-static")

# Debian's mingw zlib ships the import library of zlib1.dll beside libz.a, and FindZLIB
# prefers the import library.
set(ZLIB_USE_STATIC_LIBS ON)
