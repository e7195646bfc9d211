# SPDX-License-Identifier: BSD-2-Clause
# libQuorvelStabilizer, shared and static, from one set of objects. BUILD_SHARED_LIBS, where it is set,
# chooses one of them to be built and installed; the other is built for whoever links it.

# The camera wrapper writes to the platform's log where there is one. In the static library the wrapper is
# an object of its own: a program that calls only the core links without it and without the log. A shared
# library without it is built by QUORVEL_CAMERA=OFF.
option(QUORVEL_CAMERA "Include the camera service's wrapper" ON)
find_path(QUORVEL_LOG_INCLUDE android/log.h PATH_SUFFIXES android)
find_library(QUORVEL_LOG_LIBRARY log PATH_SUFFIXES android)
set(QUORVEL_LOG AUTO CACHE STRING "Log of the camera wrapper: AUTO, android, stderr or none")
set_property(CACHE QUORVEL_LOG PROPERTY STRINGS AUTO android stderr none)
if(NOT QUORVEL_LOG MATCHES "^(AUTO|android|stderr|none)$")
  message(FATAL_ERROR "QUORVEL_LOG is ${QUORVEL_LOG}: it must be AUTO, android, stderr or none")
endif()
set(log_of_camera ${QUORVEL_LOG})
if(QUORVEL_LOG STREQUAL "AUTO")
  set(log_of_camera stderr)
  if(QUORVEL_LOG_INCLUDE AND QUORVEL_LOG_LIBRARY)
    set(log_of_camera android)
  endif()
endif()
if(NOT QUORVEL_CAMERA)
  set(log_of_camera none)
elseif(log_of_camera STREQUAL "android" AND NOT (QUORVEL_LOG_INCLUDE AND QUORVEL_LOG_LIBRARY))
  message(FATAL_ERROR "QUORVEL_LOG=android: android/log.h and liblog not found (Debian: android-liblog-dev)")
endif()
message(STATUS "Log of the camera wrapper: ${log_of_camera}")

set(QUORVEL_SOURCES
  src/api/chroma.cpp
  src/api/frame.cpp
  src/api/frame_call.cpp
  src/api/handle.cpp
  src/api/pitch.cpp
  src/api/plane_check.cpp
  src/api/planes.cpp
  src/api/previous_frame.cpp
  src/api/refined.cpp
  src/api/refined_frame.cpp
  src/api/separate.cpp
  src/api/splitter.cpp
  src/api/uyvy.cpp
  src/pipeline/align.cpp
  src/pipeline/compensator.cpp
  src/pipeline/modes.cpp
  src/pipeline/scene.cpp
  src/motion/block_rows.cpp
  src/motion/block_sad.cpp
  src/motion/block_sad_neon.cpp
  src/motion/block_sad_x86.cpp
  src/motion/block_search.cpp
  src/motion/coarse_shift.cpp
  src/motion/grid_sad.cpp
  src/motion/grid_sad_neon.cpp
  src/motion/grid_sad_x86.cpp
  src/motion/motion_calls.cpp
  src/motion/pyramid.cpp
  src/motion/tile_flow.cpp
  src/motion/tile_sums.cpp
  src/motion/tile_sums_neon.cpp
  src/motion/tile_sums_x86.cpp
  src/motion/wide_shift.cpp
  src/model/global_motion.cpp
  src/model/inliers.cpp
  src/model/model_calls.cpp
  src/model/rigid_fit.cpp
  src/model/rotation.cpp
  src/model/row_error.cpp
  src/model/row_error_neon.cpp
  src/model/row_error_x86.cpp
  src/model/theta_search.cpp
  src/model/translation.cpp
  src/smooth/crop_limit.cpp
  src/smooth/kalman_state.cpp
  src/smooth/kalman_step.cpp
  src/smooth/path.cpp
  src/smooth/plan.cpp
  src/smooth/spring.cpp
  src/warp/block_warp.cpp
  src/warp/fine_map.cpp
  src/warp/fine_pixels.cpp
  src/warp/fine_pixels_neon.cpp
  src/warp/fine_pixels_x86.cpp
  src/warp/fine_warp.cpp
  src/warp/fine_words_neon.cpp
  src/warp/fine_words_x86.cpp
  src/warp/frame_warps.cpp
  src/warp/map.cpp
  src/warp/mapping_kernels.cpp
  src/warp/pixel_warp.cpp
  src/warp/pixels.cpp
  src/warp/pixels_neon.cpp
  src/warp/pixels_x86.cpp
  src/warp/planes.cpp
  src/warp/shift.cpp
  src/warp/strip.cpp
  src/warp/strip_neon.cpp
  src/warp/strip_x86.cpp
  src/warp/warp_calls.cpp
  src/warp/warp_task.cpp
  src/platform/cpu.cpp
  src/platform/event.cpp
  src/platform/memory.cpp
  src/platform/thread.cpp
  src/platform/thread_calls.cpp
  src/platform/thread_policy.cpp
  src/platform/workers.cpp
  src/kernels.cpp)

if(EMSCRIPTEN) # makes its own objects of these sources: web.cmake
  return()
endif()

if(log_of_camera STREQUAL "stderr")
  list(APPEND QUORVEL_SOURCES src/api/camera_log_stderr.cpp)
endif()

function(quorvel_object_library name)
  add_library(${name} OBJECT ${ARGN})
  set_target_properties(${name} PROPERTIES POSITION_INDEPENDENT_CODE ON)
  target_include_directories(${name} PUBLIC include PRIVATE src)
  target_link_libraries(${name} PRIVATE quorvel_library_flags)
endfunction()
quorvel_object_library(quorvel_objects ${QUORVEL_SOURCES})
set(shared_objects $<TARGET_OBJECTS:quorvel_objects>)
set(static_objects $<TARGET_OBJECTS:quorvel_objects>)
if(QUORVEL_CAMERA) # compiled once for each library: the names of its variables are weak in the archive
  foreach(kind shared static)
    quorvel_object_library(quorvel_camera_${kind} src/api/camera.cpp)
    list(APPEND ${kind}_objects $<TARGET_OBJECTS:quorvel_camera_${kind}>)
    if(log_of_camera STREQUAL "android")
      target_compile_definitions(quorvel_camera_${kind} PRIVATE QUORVEL_LOG_ANDROID)
      target_include_directories(quorvel_camera_${kind} SYSTEM PRIVATE ${QUORVEL_LOG_INCLUDE})
    elseif(log_of_camera STREQUAL "none")
      target_compile_definitions(quorvel_camera_${kind} PRIVATE QUORVEL_LOG_NONE)
    endif()
  endforeach()
  target_compile_definitions(quorvel_camera_static PRIVATE QUORVEL_ARCHIVE)
endif()

# The exported names, one a line: the linker hides all others, and a test compares both ways.
set(QUORVEL_EXPORTS ${CMAKE_CURRENT_SOURCE_DIR}/src/exports.txt)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${QUORVEL_EXPORTS})
file(STRINGS ${QUORVEL_EXPORTS} exports REGEX "^[A-Za-z_]")
if(NOT QUORVEL_CAMERA)
  list(FILTER exports EXCLUDE REGEX
    "videostabilizer|runVideoStabilizer|hVStabilizer|^(vs_param|lWidth|lHeight|output|yuv420)(_recording)?$")
endif()
list(JOIN exports ";\n    " exports)
set(version_script ${CMAKE_CURRENT_BINARY_DIR}/exports.map)
file(CONFIGURE OUTPUT ${version_script} CONTENT "{\n  global:\n    @exports@;\n  local: *;\n};\n" @ONLY)

add_library(quorvel_shared SHARED ${shared_objects})
target_link_libraries(quorvel_shared PRIVATE quorvel_library_flags Threads::Threads)
# --as-needed, -static-libgcc: no compiler's runtime at load time. 16384: loads on kernels with 16 KB pages
# too. -Bsymbolic: the library calls its own functions, whatever a program calls its own.
target_link_options(quorvel_shared PRIVATE
  -Wl,--version-script=${version_script} -Wl,--as-needed -static-libgcc -Wl,-Bsymbolic
  -Wl,-z,max-page-size=16384 -Wl,-z,relro,-z,now -Wl,-z,noexecstack)
if(NOT QUORVEL_SANITIZE)
  target_link_options(quorvel_shared PRIVATE -Wl,-z,defs)
endif()
set_target_properties(quorvel_shared PROPERTIES
  LINK_DEPENDS "${version_script}" SOVERSION 1 VERSION ${PROJECT_VERSION})

add_library(quorvel_static STATIC ${static_objects})
target_link_libraries(quorvel_static PUBLIC Threads::Threads)

foreach(target quorvel_shared quorvel_static)
  set_target_properties(${target} PROPERTIES OUTPUT_NAME QuorvelStabilizer)
  target_include_directories(${target} PUBLIC include)
endforeach()

set(QUORVEL_LIBRARIES quorvel_shared quorvel_static)
if(DEFINED BUILD_SHARED_LIBS)
  set(QUORVEL_LIBRARIES quorvel_static)
  set(other quorvel_shared)
  if(BUILD_SHARED_LIBS)
    set(QUORVEL_LIBRARIES quorvel_shared)
    set(other quorvel_static)
  endif()
  set_target_properties(${other} PROPERTIES EXCLUDE_FROM_ALL ON)
endif()

if(log_of_camera STREQUAL "android")
  set(log_library log)
  if(NOT ANDROID) # liblog lies outside the linker's and the loader's folders here
    set(log_library ${QUORVEL_LOG_LIBRARY})
    get_filename_component(log_folder ${QUORVEL_LOG_LIBRARY} DIRECTORY)
    set_target_properties(quorvel_shared PROPERTIES INSTALL_RPATH ${log_folder} BUILD_RPATH ${log_folder})
  endif()
  target_link_libraries(quorvel_shared PRIVATE ${log_library})
  target_link_libraries(quorvel_static PUBLIC ${log_library})
endif()
