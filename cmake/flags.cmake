# SPDX-License-Identifier: BSD-2-Clause
# Compiler settings: quorvel_flags for everything, quorvel_library_flags for the library's own objects.
find_package(Threads REQUIRED)

add_library(quorvel_flags INTERFACE)
target_compile_features(quorvel_flags INTERFACE cxx_std_17)
target_compile_options(quorvel_flags INTERFACE -Wall -Wextra -Wconversion -Wshadow -ffp-contract=off)
if(QUORVEL_WERROR)
  target_compile_options(quorvel_flags INTERFACE -Werror)
endif()
if(QUORVEL_SANITIZE)
  target_compile_options(quorvel_flags INTERFACE
    -fsanitize=${QUORVEL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(quorvel_flags INTERFACE -fsanitize=${QUORVEL_SANITIZE})
endif()

add_library(quorvel_library_flags INTERFACE)
target_link_libraries(quorvel_library_flags INTERFACE quorvel_flags)
# -fno-math-errno: a square root is an instruction, without a call that needs the mathematics library.
target_compile_options(quorvel_library_flags INTERFACE
  -fno-exceptions -fno-rtti -fno-threadsafe-statics -fvisibility=hidden -fno-math-errno
  $<$<NOT:$<PLATFORM_ID:Emscripten>>:-fno-semantic-interposition>)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|i[3-6]86|AMD64)$" AND CMAKE_SIZEOF_VOID_P EQUAL 4)
  # Each operation on a float or a double must round to that type.
  target_compile_options(quorvel_library_flags INTERFACE -msse2 -mfpmath=sse)
endif()

# Guards against what a fault would otherwise do to the process (docs/reliability.md). Off under
# sanitizers, which see the same and more. Whoever builds with flags of a kind keeps them as they are: a
# distribution has its own.
option(QUORVEL_HARDEN "Stack guards and signed return addresses in the library; checked copies" ON)
if(QUORVEL_HARDEN AND NOT QUORVEL_SANITIZE AND NOT EMSCRIPTEN)
  include(CheckCXXCompilerFlag)
  string(TOUPPER "CMAKE_CXX_FLAGS_${CMAKE_BUILD_TYPE}" of_build_type)
  set(given "${CMAKE_CXX_FLAGS} ${${of_build_type}}")
  # Outside Android the guard's value for ARM lives in the loader, which the library would have to name.
  set(stack_guard -fstack-protector-strong)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(arm|aarch64)" AND NOT ANDROID)
    set(stack_guard)
  endif()
  foreach(flag ${stack_guard} -fstack-clash-protection -mbranch-protection=standard)
    string(REGEX MATCH "stack-protector|stack-clash-protection|branch-protection" kind ${flag})
    string(MAKE_C_IDENTIFIER "QUORVEL_HAS${flag}" known)
    check_cxx_compiler_flag("-Werror ${flag}" ${known})
    if(${known} AND NOT given MATCHES "${kind}")
      target_compile_options(quorvel_library_flags INTERFACE ${flag})
    endif()
  endforeach()
  if(NOT given MATCHES "_FORTIFY_SOURCE")
    target_compile_options(quorvel_flags INTERFACE # without optimization the headers refuse it
      $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE$<SEMICOLON>-D_FORTIFY_SOURCE=2>)
  endif()
  target_link_options(quorvel_flags INTERFACE -Wl,-z,relro,-z,now)
endif()
