# SPDX-License-Identifier: BSD-2-Clause
# The video tool, and the programs that make clips and measure results. What makes clips needs nothing but the
# compiler and is built for whoever links it, tests and benchmarks included.
# The tool reads and writes every kind of file by FFmpeg's libraries, and its preview window is SDL 2's.
if(QUORVEL_TOOL)
  find_package(CLI11 QUIET)
endif()
quorvel_part(TOOL "Tool" "${CLI11_FOUND}" "CLI11" "libcli11-dev")

quorvel_choice(QUORVEL_FFMPEG AUTO "Read and write videos by FFmpeg's libraries")
quorvel_choice(QUORVEL_CAPTURE AUTO "Take pictures from cameras by FFmpeg's libavdevice")
quorvel_choice(QUORVEL_PREVIEW AUTO "Build the tool with a preview window (SDL 2)")
# A part of the tool, or of another part, that pkg-config finds: defines the target PkgConfig::<target>.
function(quorvel_tool_part name of what target modules packages)
  if(NOT QUORVEL_HAS_${of})
    if(QUORVEL_${name} AND NOT QUORVEL_${name} STREQUAL "AUTO")
      message(FATAL_ERROR "QUORVEL_${name}=${QUORVEL_${name}} needs QUORVEL_${of}, which is off")
    endif()
    if(QUORVEL_${name} AND QUORVEL_${of})
      quorvel_say("${what}: off (QUORVEL_${of} is off; Debian: ${packages})")
    else()
      set(QUORVEL_${name} OFF PARENT_SCOPE) # no word of the parts of a part that nobody wants
    endif()
    return()
  endif()
  if(QUORVEL_${name})
    find_package(PkgConfig QUIET)
    if(PKG_CONFIG_FOUND)
      pkg_check_modules(${target} QUIET IMPORTED_TARGET GLOBAL ${modules})
    endif()
  endif()
  string(REGEX REPLACE ">=[0-9.]+" "" needs "${modules}")
  list(JOIN needs ", " needs)
  quorvel_part(${name} "${what}" "${${target}_FOUND}" "${needs}" "${packages}")
  set(QUORVEL_HAS_${name} ${QUORVEL_HAS_${name}} PARENT_SCOPE)
endfunction()
quorvel_tool_part(FFMPEG TOOL "Tool, every kind of file" QUORVEL_AV
  "libavformat>=59;libavcodec>=59;libavutil>=57.28;libswscale>=6;libswresample>=4"
  "pkg-config libavformat-dev libavcodec-dev libavutil-dev libswscale-dev libswresample-dev")
quorvel_tool_part(CAPTURE FFMPEG "Tool, cameras" QUORVEL_AVDEVICE "libavdevice>=59" "pkg-config libavdevice-dev")
quorvel_tool_part(PREVIEW TOOL "Tool, preview window" QUORVEL_SDL "sdl2>=2.0.16" "pkg-config libsdl2-dev")

set(media_sources tools/video/media_none.cpp)
if(TARGET PkgConfig::QUORVEL_AV)
  set(media_sources
    tools/video/media_choice.cpp
    tools/video/media_common.cpp
    tools/video/media_converter.cpp
    tools/video/media_copy.cpp
    tools/video/media_encoder.cpp
    tools/video/media_fit.cpp
    tools/video/media_input.cpp
    tools/video/media_picture.cpp
    tools/video/media_sink.cpp
    tools/video/media_sound.cpp
    tools/video/media_source.cpp
    tools/video/media_subtitle.cpp
    tools/video/media_tags.cpp)
endif()
# The same without FFmpeg, for what makes clips.
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

if(QUORVEL_HAS_TOOL)
  set(preview_source tools/stabilize/preview_none.cpp)
  if(TARGET PkgConfig::QUORVEL_SDL)
    set(preview_source tools/stabilize/preview_sdl.cpp)
  endif()
  add_executable(quorvel_tool
    tools/quality/csv_table.cpp
    tools/quality/jitter.cpp
    tools/stabilize/compose.cpp
    tools/stabilize/console.cpp
    tools/stabilize/doubts.cpp
    tools/stabilize/main.cpp
    tools/stabilize/options.cpp
    tools/stabilize/parse.cpp
    tools/stabilize/path.cpp
    tools/stabilize/pipeline.cpp
    tools/stabilize/plot.cpp
    tools/stabilize/preview_feed.cpp
    ${preview_source}
    tools/stabilize/refined.cpp
    tools/stabilize/report.cpp
    tools/stabilize/report_charts.cpp
    tools/stabilize/report_page.cpp
    tools/stabilize/report_path.cpp
    tools/stabilize/report_script.cpp
    tools/stabilize/report_style.cpp
    tools/stabilize/run.cpp
    tools/stabilize/stabilizer.cpp
    tools/stabilize/summary.cpp
    tools/stabilize/thumbnail.cpp
    tools/stabilize/trace.cpp
    tools/stabilize/window.cpp
    tools/stabilize/worker.cpp)
  add_executable(quorvel_clipgen tools/clipgen/effects.cpp tools/clipgen/main.cpp)
  add_executable(quorvel_quality
    tools/quality/align.cpp
    tools/quality/csv_table.cpp
    tools/quality/jitter.cpp
    tools/quality/judge.cpp
    tools/quality/main.cpp
    tools/quality/sharpness.cpp)
  set_target_properties(quorvel_tool PROPERTIES OUTPUT_NAME quorvel-stabilize)
  foreach(program clipgen quality)
    set_target_properties(quorvel_${program} PROPERTIES OUTPUT_NAME quorvel-${program})
    target_include_directories(quorvel_${program} PRIVATE include)
    target_link_libraries(quorvel_${program} PRIVATE quorvel_scene)
  endforeach()
  foreach(program tool clipgen quality)
    target_link_libraries(quorvel_${program} PRIVATE quorvel_flags CLI11::CLI11)
  endforeach()
  target_link_libraries(quorvel_clipgen PRIVATE quorvel_video_io)
  target_link_libraries(quorvel_quality PRIVATE quorvel_media_io)
  target_link_libraries(quorvel_tool PRIVATE quorvel_scene quorvel_media_io Threads::Threads)
  if(TARGET PkgConfig::QUORVEL_SDL)
    target_link_libraries(quorvel_tool PRIVATE PkgConfig::QUORVEL_SDL)
  endif()
  # Static where it is not ruled out: the tool runs from wherever it is copied.
  if("quorvel_static" IN_LIST QUORVEL_LIBRARIES)
    target_link_libraries(quorvel_tool PRIVATE quorvel_static)
  else()
    target_link_libraries(quorvel_tool PRIVATE quorvel_shared)
  endif()
endif()
