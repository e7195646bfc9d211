# SPDX-License-Identifier: BSD-2-Clause
# The module for browsers and node. A native build with QUORVEL_WEB has its tests (ctest -L web): they run
# web/build.sh, which configures the project once more, by Emscripten.
if(NOT EMSCRIPTEN)
  quorvel_choice(QUORVEL_WEB OFF "Tests of the module for browsers and node (node, the tool)")
  set(found OFF)
  if(QUORVEL_WEB)
    find_program(node_program node)
    if(node_program AND TARGET quorvel_clipgen)
      set(found ON)
    endif()
  endif()
  quorvel_part(WEB "Tests of the web module" ${found} "node or CLI11" "nodejs libcli11-dev")
  if(QUORVEL_HAS_WEB)
    add_executable(quorvel_web_native tests/web/native_frames.cpp)
    target_link_libraries(quorvel_web_native PRIVATE quorvel_static quorvel_flags)
    set_target_properties(quorvel_web_native PROPERTIES OUTPUT_NAME native_frames)
    enable_testing()
    add_test(NAME web_build COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/web/build.sh)
    set(web_tests ${CMAKE_CURRENT_SOURCE_DIR}/tests/web)
    add_test(NAME web_module COMMAND ${node_program} --test
      ${web_tests}/node_bytes.test.mjs ${web_tests}/node_calls.test.mjs)
    set_tests_properties(web_build PROPERTIES FIXTURES_SETUP web_package)
    set_tests_properties(web_module PROPERTIES FIXTURES_REQUIRED web_package
      ENVIRONMENT "QUORVEL_NATIVE=$<TARGET_FILE:quorvel_web_native>;QUORVEL_CLIPGEN=$<TARGET_FILE:quorvel_clipgen>")
    add_test(NAME web_page COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/tests/web/page_test.sh ${CMAKE_BINARY_DIR})
    set_tests_properties(web_page PROPERTIES FIXTURES_REQUIRED web_package SKIP_RETURN_CODE 77 RUN_SERIAL TRUE)
    set_tests_properties(web_build web_module web_page PROPERTIES LABELS web TIMEOUT 900)
  endif()
  return()
endif()

# One build has two files: with vector instructions, and without them for engines that have none. Both give the
# same bytes.
file(READ web/package.json package_json)
string(JSON web_version GET "${package_json}" version)
if(NOT web_version VERSION_EQUAL PROJECT_VERSION)
  message(FATAL_ERROR "web/package.json has version ${web_version}, the project ${PROJECT_VERSION}")
endif()

set(exports)
foreach(call Settings Create Input Push Pull Output Record End Reset)
  list(APPEND exports _Web${call})
endforeach()
list(JOIN exports "," exports)

# The package, ready for `npm pack`.
set(QUORVEL_WEB_PACKAGE ${CMAKE_CURRENT_BINARY_DIR}/package)
foreach(file package.json README.md quorvel-stabilizer.js quorvel-stabilizer.d.ts formats.js settings.js wasm.js)
  configure_file(web/${file} ${QUORVEL_WEB_PACKAGE}/${file} COPYONLY)
endforeach()
configure_file(LICENSE ${QUORVEL_WEB_PACKAGE}/LICENSE COPYONLY)

function(quorvel_web_module name)
  add_executable(quorvel_web_${name} web/module.cpp ${QUORVEL_SOURCES})
  target_include_directories(quorvel_web_${name} PRIVATE include src)
  target_link_libraries(quorvel_web_${name} PRIVATE quorvel_library_flags)
  target_compile_options(quorvel_web_${name} PRIVATE ${ARGN})
  # No threads: pages need no special headers. Memory grows as needed, and an allocation that fails gives null.
  target_link_options(quorvel_web_${name} PRIVATE ${ARGN} --no-entry -sSTANDALONE_WASM
    -sEXPORTED_FUNCTIONS=${exports} -sALLOW_MEMORY_GROWTH -sINITIAL_MEMORY=1048576 -sTOTAL_STACK=262144)
  set_target_properties(quorvel_web_${name} PROPERTIES
    OUTPUT_NAME quorvel-${name} SUFFIX .wasm RUNTIME_OUTPUT_DIRECTORY ${QUORVEL_WEB_PACKAGE})
endfunction()
quorvel_web_module(simd -msimd128 -mssse3)
quorvel_web_module(portable)
