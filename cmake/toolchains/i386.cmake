# SPDX-License-Identifier: BSD-2-Clause
# 32-bit x86 on an x86-64 machine, with either of Debian's compilers: the cross compiler (g++-i686-linux-gnu),
# or the x86-64 compiler with 32-bit libraries (g++-12-multilib). Programs run without an emulator.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_FIND_ROOT_PATH /usr/i686-linux-gnu)
find_program(I686_COMPILER i686-linux-gnu-g++)
mark_as_advanced(I686_COMPILER)
if(I686_COMPILER)
  set(CMAKE_C_COMPILER i686-linux-gnu-gcc)
  set(CMAKE_CXX_COMPILER i686-linux-gnu-g++)
  # Its libraries are in a folder of their own, and so is the loader that finds them.
  set(CMAKE_CROSSCOMPILING_EMULATOR /usr/i686-linux-gnu/lib/ld-linux.so.2 --library-path /usr/i686-linux-gnu/lib)
else()
  set(CMAKE_C_COMPILER gcc-12)
  set(CMAKE_CXX_COMPILER g++-12)
  # The kernel's headers serve both sizes, but the compiler looks for them in a folder of the 32-bit system.
  set(CMAKE_C_FLAGS_INIT "-m32 -idirafter /usr/include/x86_64-linux-gnu")
  set(CMAKE_CXX_FLAGS_INIT "${CMAKE_C_FLAGS_INIT}")
endif()
# Nothing of the 64-bit system fits; compilers find what they need by themselves.
foreach(kind LIBRARY INCLUDE PACKAGE)
  set(CMAKE_FIND_ROOT_PATH_MODE_${kind} ONLY)
endforeach()
