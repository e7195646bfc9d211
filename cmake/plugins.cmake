# SPDX-License-Identifier: BSD-2-Clause
# Plugins for other programs. Each is one file without unusual dependencies: the library is linked into it, and
# its names are hidden, so that a host that loads the shared library too is not disturbed.
set(plugins_by_default ${where_found})
if(CMAKE_CROSSCOMPILING) # what pkg-config finds is this machine's
  set(plugins_by_default OFF)
endif()
quorvel_choice(QUORVEL_GSTREAMER ${plugins_by_default} "Build the GStreamer element")
quorvel_choice(QUORVEL_OBS ${plugins_by_default} "Build the filter for OBS Studio")

add_library(quorvel_stream OBJECT EXCLUDE_FROM_ALL plugins/common/stream.cpp)
set_target_properties(quorvel_stream PROPERTIES POSITION_INDEPENDENT_CODE ON CXX_VISIBILITY_PRESET hidden)
target_include_directories(quorvel_stream PUBLIC plugins)
target_link_libraries(quorvel_stream PUBLIC quorvel_static PRIVATE quorvel_flags)

# A plugin in the build folder's plugins/.
function(quorvel_plugin target)
  add_library(${target} MODULE ${ARGN})
  target_link_libraries(${target} PRIVATE quorvel_stream quorvel_flags)
  target_link_options(${target} PRIVATE -Wl,--exclude-libs,ALL -Wl,-z,noexecstack)
  set_target_properties(${target} PROPERTIES CXX_VISIBILITY_PRESET hidden NO_SONAME ON
    LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/plugins)
endfunction()

if(QUORVEL_GSTREAMER OR QUORVEL_OBS)
  find_package(PkgConfig QUIET)
endif()
include(cmake/gstreamer.cmake)
include(cmake/obs.cmake)
