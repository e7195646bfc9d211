# The video tool and the programs of the demo. Their two libraries need nothing but the compiler and are
# built for whoever links them, tests and benchmarks included.
add_library(quorvel_video_io STATIC EXCLUDE_FROM_ALL
  tools/video/byte_file.cpp
  tools/video/frame_source.cpp
  tools/video/picture.cpp
  tools/video/raw_video.cpp
  tools/video/y4m_header.cpp
  tools/video/y4m_video.cpp)
# Clips are larger than 2 GB on 32-bit systems too.
target_compile_definitions(quorvel_video_io PRIVATE _FILE_OFFSET_BITS=64)

add_library(quorvel_scene STATIC EXCLUDE_FROM_ALL
  tools/clipgen/camera_path.cpp
  tools/clipgen/scene.cpp
  tools/clipgen/scene_paint.cpp)

foreach(target quorvel_video_io quorvel_scene)
  target_include_directories(${target} PUBLIC tools)
  target_link_libraries(${target} PRIVATE quorvel_flags)
endforeach()

if(QUORVEL_TOOL)
  find_package(CLI11 QUIET)
  if(NOT CLI11_FOUND)
    message(STATUS "Tool: off (CLI11 not found; Debian: libcli11-dev)")
  else()
    add_executable(quorvel_tool
      tools/stabilize/main.cpp
      tools/stabilize/options.cpp
      tools/stabilize/run.cpp
      tools/stabilize/stabilizer.cpp
      tools/stabilize/trace.cpp)
    add_executable(quorvel_clipgen tools/clipgen/main.cpp)
    add_executable(quorvel_measure
      tools/measure/csv_table.cpp
      tools/measure/jitter.cpp
      tools/measure/measure_main.cpp)
    add_executable(quorvel_compare tools/measure/compare_main.cpp tools/measure/side_by_side.cpp)
    set_target_properties(quorvel_tool PROPERTIES OUTPUT_NAME quorvel-stabilize)
    foreach(program clipgen measure compare)
      set_target_properties(quorvel_${program} PROPERTIES OUTPUT_NAME quorvel-${program})
    endforeach()
    foreach(target quorvel_tool quorvel_clipgen quorvel_measure quorvel_compare)
      target_link_libraries(${target} PRIVATE quorvel_video_io quorvel_flags CLI11::CLI11)
    endforeach()
    # Static: the tool runs from wherever it is copied.
    target_link_libraries(quorvel_tool PRIVATE quorvel_static)
    target_link_libraries(quorvel_clipgen PRIVATE quorvel_scene)
    target_link_libraries(quorvel_measure PRIVATE quorvel_scene)
  endif()
endif()
