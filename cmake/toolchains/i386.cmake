# SPDX-License-Identifier: BSD-2-Clause
# Debian's 32-bit x86 libraries under the x86-64 compiler; programs run as they are.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_C_COMPILER gcc-12)
set(CMAKE_CXX_COMPILER g++-12)
# The kernel's headers serve both sizes, but the compiler looks for them in a folder of the 32-bit system.
set(CMAKE_C_FLAGS_INIT "-m32 -idirafter /usr/include/x86_64-linux-gnu")
set(CMAKE_CXX_FLAGS_INIT "${CMAKE_C_FLAGS_INIT}")
# Nothing of the 64-bit system fits; compilers find what they need by themselves.
set(CMAKE_FIND_ROOT_PATH /usr/i686-linux-gnu)
foreach(kind LIBRARY INCLUDE PACKAGE)
  set(CMAKE_FIND_ROOT_PATH_MODE_${kind} ONLY)
endforeach()
