# SPDX-License-Identifier: BSD-2-Clause
# The element in a harness, and in pipelines beside the tool.
pkg_check_modules(QUORVEL_GST_CHECK QUIET IMPORTED_TARGET gstreamer-check-1.0)
if(NOT QUORVEL_GST_CHECK_FOUND)
  quorvel_say("Tests of the GStreamer element: off (gstreamer-check-1.0 not found; Debian: libgstreamer1.0-dev)")
  return()
endif()
add_executable(quorvel_gstreamer_tests
  tests/gstreamer/element_test.cpp
  tests/support/scene.cpp)
target_include_directories(quorvel_gstreamer_tests PRIVATE tests tests/gstreamer)
target_link_libraries(quorvel_gstreamer_tests PRIVATE
  quorvel_stream quorvel_scene quorvel_flags PkgConfig::QUORVEL_GST PkgConfig::QUORVEL_GST_CHECK GTest::gtest)
add_dependencies(quorvel_gstreamer_tests quorvel_gstreamer)

# The program looks for plugins itself, in one folder: the scanner that it would start knows no sanitizers.
set(plugins ${PROJECT_BINARY_DIR}/plugins)
quorvel_test(gstreamer_element "gstreamer" quorvel_gstreamer_tests)
set_tests_properties(gstreamer_element PROPERTIES ENVIRONMENT
  "GST_PLUGIN_PATH=${plugins};GST_PLUGIN_SYSTEM_PATH=;GST_REGISTRY_FORK=no;\
GST_REGISTRY=${plugins}/element.registry;G_SLICE=always-malloc")

find_program(gst_launch gst-launch-1.0)
if(NOT gst_launch)
  quorvel_say("Tests of the GStreamer element in pipelines: off (gst-launch-1.0 not found; "
    "Debian: gstreamer1.0-tools gstreamer1.0-plugins-base gstreamer1.0-plugins-good)")
elseif(TARGET quorvel_tool AND NOT QUORVEL_SANITIZE)
  quorvel_test(gstreamer_pipelines "gstreamer" ${CMAKE_CURRENT_SOURCE_DIR}/tests/gstreamer/check_pipelines.sh
    $<TARGET_FILE:quorvel_tool> $<TARGET_FILE:quorvel_clipgen>)
  set_tests_properties(gstreamer_pipelines PROPERTIES ENVIRONMENT "GST_PLUGIN_PATH=${plugins}")
endif()
