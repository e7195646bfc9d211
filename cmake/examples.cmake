# SPDX-License-Identifier: BSD-2-Clause
# The programs of examples/, and the one that draws the pictures of the documents.
option(QUORVEL_EXAMPLES "Build the example programs and the documents' figures" OFF)
if(QUORVEL_EXAMPLES)
  # These are C, written for whoever copies them.
  add_custom_target(quorvel_examples)
  foreach(example nv21_loop refined_planes camera_buffers motion_csv)
    add_executable(quorvel_example_${example} examples/${example}.c)
    set_target_properties(quorvel_example_${example} PROPERTIES
      OUTPUT_NAME ${example} C_STANDARD 99 C_EXTENSIONS OFF)
    target_link_libraries(quorvel_example_${example} PRIVATE quorvel_static)
    target_compile_options(quorvel_example_${example} PRIVATE -Wall -Wextra -pedantic)
    if(QUORVEL_WERROR)
      target_compile_options(quorvel_example_${example} PRIVATE -Werror)
    endif()
    add_dependencies(quorvel_examples quorvel_example_${example})
  endforeach()

  # Looks inside the library: the figures show the stages at work.
  add_executable(quorvel_figures docs/figures/figures.cpp)
  target_include_directories(quorvel_figures PRIVATE src)
  target_link_libraries(quorvel_figures PRIVATE quorvel_static quorvel_scene quorvel_flags)
endif()
