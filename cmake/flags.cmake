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
target_compile_options(quorvel_library_flags INTERFACE
  -fno-exceptions -fno-rtti -fno-threadsafe-statics -fvisibility=hidden -fno-semantic-interposition)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|i[3-6]86|AMD64)$" AND CMAKE_SIZEOF_VOID_P EQUAL 4)
  # The smoother's float step must round to single precision after each operation.
  target_compile_options(quorvel_library_flags INTERFACE -msse2 -mfpmath=sse)
endif()
