# SPDX-License-Identifier: BSD-2-Clause
# The video tool and the programs of the demo. Their two libraries need nothing but the compiler and are
# built for whoever links them, tests and benchmarks included.
# FFmpeg's libraries (the tool reads and writes every kind of file by them) and SDL 2 (its preview window)
# are used where they are there.
option(QUORVEL_FFMPEG "Read and write videos by FFmpeg's libraries" ON)
option(QUORVEL_PREVIEW "Build the tool with a preview window (SDL 2)" ON)
if(QUORVEL_TOOL AND (QUORVEL_FFMPEG OR QUORVEL_PREVIEW))
  find_package(PkgConfig QUIET)
endif()
# Defines the target PkgConfig::<name>, or says in one line that something is off.
function(quorvel_find_part option name packages what)
  if(NOT QUORVEL_TOOL OR NOT ${option})
    return()
  endif()
  if(PKG_CONFIG_FOUND)
    pkg_check_modules(${name} QUIET IMPORTED_TARGET GLOBAL ${packages})
  endif()
  if(what AND NOT ${name}_FOUND)
    message(STATUS "${what}")
  endif()
endfunction()
quorvel_find_part(QUORVEL_FFMPEG QUORVEL_AV "libavformat>=59;libavcodec>=59;libavutil>=57;libswscale>=6"
  "Tool: Y4M and raw frames only (Debian: pkg-config libavformat-dev libavcodec-dev libavutil-dev libswscale-dev)")
quorvel_find_part(QUORVEL_FFMPEG QUORVEL_AVDEVICE "libavdevice>=59"
  "Tool: no cameras by --input-format (Debian: libavdevice-dev)")
quorvel_find_part(QUORVEL_PREVIEW QUORVEL_SDL "sdl2>=2.0.16"
  "Tool: no --preview (Debian: pkg-config libsdl2-dev)")

set(media_sources tools/video/media_none.cpp)
if(TARGET PkgConfig::QUORVEL_AV)
  set(media_sources
    tools/video/media_common.cpp
    tools/video/media_copy.cpp
    tools/video/media_encoder.cpp
    tools/video/media_input.cpp
    tools/video/media_picture.cpp
    tools/video/media_sink.cpp
    tools/video/media_source.cpp)
endif()
# The same without FFmpeg, for the programs that make and measure clips.
set(video_sources
  tools/video/byte_file.cpp
  tools/video/frame_source.cpp
  tools/video/interrupt.cpp
  tools/video/output_file.cpp
  tools/video/picture.cpp
  tools/video/raw_video.cpp
  tools/video/trimmed_source.cpp
  tools/video/y4m_header.cpp
  tools/video/y4m_video.cpp)
add_library(quorvel_video_io STATIC EXCLUDE_FROM_ALL ${video_sources} tools/video/media_none.cpp)
add_library(quorvel_media_io STATIC EXCLUDE_FROM_ALL ${video_sources} ${media_sources})
if(TARGET PkgConfig::QUORVEL_AV)
  target_link_libraries(quorvel_media_io PRIVATE PkgConfig::QUORVEL_AV)
  if(TARGET PkgConfig::QUORVEL_AVDEVICE)
    target_link_libraries(quorvel_media_io PRIVATE PkgConfig::QUORVEL_AVDEVICE)
    target_compile_definitions(quorvel_media_io PRIVATE QUORVEL_AVDEVICE)
  endif()
endif()
# Clips are larger than 2 GB on 32-bit systems too.
target_compile_definitions(quorvel_video_io PRIVATE _FILE_OFFSET_BITS=64)
target_compile_definitions(quorvel_media_io PRIVATE _FILE_OFFSET_BITS=64)

add_library(quorvel_scene STATIC EXCLUDE_FROM_ALL
  tools/clipgen/camera_path.cpp
  tools/clipgen/scene.cpp
  tools/clipgen/scene_paint.cpp)

foreach(target quorvel_video_io quorvel_media_io quorvel_scene)
  target_include_directories(${target} PUBLIC tools)
  target_link_libraries(${target} PRIVATE quorvel_flags)
endforeach()

if(QUORVEL_TOOL)
  find_package(CLI11 QUIET)
  if(NOT CLI11_FOUND)
    message(STATUS "Tool: off (CLI11 not found; Debian: libcli11-dev)")
  else()
    set(preview_source tools/stabilize/preview_none.cpp)
    if(TARGET PkgConfig::QUORVEL_SDL)
      set(preview_source tools/stabilize/preview_sdl.cpp)
    endif()
    add_executable(quorvel_tool
      tools/stabilize/compose.cpp
      tools/stabilize/console.cpp
      tools/stabilize/main.cpp
      tools/stabilize/options.cpp
      tools/stabilize/pipeline.cpp
      tools/stabilize/plot.cpp
      ${preview_source}
      tools/stabilize/run.cpp
      tools/stabilize/stabilizer.cpp
      tools/stabilize/summary.cpp
      tools/stabilize/trace.cpp
      tools/stabilize/worker.cpp)
    add_executable(quorvel_clipgen tools/clipgen/effects.cpp tools/clipgen/main.cpp)
    add_executable(quorvel_measure
      tools/measure/csv_table.cpp
      tools/measure/jitter.cpp
      tools/measure/measure_main.cpp)
    add_executable(quorvel_compare tools/measure/compare_main.cpp tools/measure/side_by_side.cpp)
    set_target_properties(quorvel_tool PROPERTIES OUTPUT_NAME quorvel-stabilize)

    add_executable(quorvel_quality
      tools/measure/csv_table.cpp
      tools/measure/jitter.cpp
      tools/quality/align.cpp
      tools/quality/judge.cpp
      tools/quality/main.cpp)
    set_target_properties(quorvel_quality PROPERTIES OUTPUT_NAME quorvel-quality)
    target_link_libraries(quorvel_quality PRIVATE
      quorvel_flags quorvel_scene quorvel_media_io CLI11::CLI11)
    foreach(program clipgen measure compare)
      set_target_properties(quorvel_${program} PROPERTIES OUTPUT_NAME quorvel-${program})
    endforeach()
    foreach(target quorvel_tool quorvel_clipgen quorvel_measure quorvel_compare)
      target_link_libraries(${target} PRIVATE quorvel_flags CLI11::CLI11)
    endforeach()
    foreach(program clipgen measure compare)
      target_link_libraries(quorvel_${program} PRIVATE quorvel_video_io)
    endforeach()
    target_link_libraries(quorvel_tool PRIVATE quorvel_media_io Threads::Threads)
    if(TARGET PkgConfig::QUORVEL_SDL)
      target_link_libraries(quorvel_tool PRIVATE PkgConfig::QUORVEL_SDL)
    endif()
    # Static: the tool runs from wherever it is copied.
    target_link_libraries(quorvel_tool PRIVATE quorvel_static)
    target_link_libraries(quorvel_clipgen PRIVATE quorvel_scene)
    target_link_libraries(quorvel_measure PRIVATE quorvel_scene)
  endif()
endif()
