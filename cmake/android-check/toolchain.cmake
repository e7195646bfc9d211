# SPDX-License-Identifier: BSD-2-Clause
# Builds for Android with a plain clang and lld and no NDK, to check that the sources and the build accept
# the system; the result cannot run. ANDROID_CHECK_TARGET is the compiler's target, and ANDROID_CHECK_ROOT
# a folder whose lib/ has stand-ins for the system's libraries (tests/packages/check_android.sh makes them).
set(CMAKE_SYSTEM_NAME Android)
set(CMAKE_SYSTEM_VERSION 1) # this file brings all that is needed: CMake shall look for no NDK
string(REGEX MATCH "^[^-]+" CMAKE_SYSTEM_PROCESSOR ${ANDROID_CHECK_TARGET})
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ANDROID_CHECK_TARGET ANDROID_CHECK_ROOT)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY) # programs cannot be linked without the system's start-up code
set(CMAKE_HAVE_LIBC_PTHREAD 1 CACHE INTERNAL "") # so CMake cannot try where the threads are: in libc

set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
foreach(language C CXX)
  set(CMAKE_${language}_COMPILER_TARGET ${ANDROID_CHECK_TARGET})
  set(CMAKE_${language}_FLAGS_INIT "-nostdlibinc -isystem ${CMAKE_CURRENT_LIST_DIR}/include")
endforeach()
set(CMAKE_SHARED_LINKER_FLAGS_INIT
  "-Wno-unused-command-line-argument -fuse-ld=lld -nostdlib -L${ANDROID_CHECK_ROOT}/lib -lc")

set(CMAKE_FIND_ROOT_PATH ${CMAKE_CURRENT_LIST_DIR} ${ANDROID_CHECK_ROOT})
foreach(kind LIBRARY INCLUDE PACKAGE)
  set(CMAKE_FIND_ROOT_PATH_MODE_${kind} ONLY)
endforeach()
