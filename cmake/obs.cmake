# SPDX-License-Identifier: BSD-2-Clause
# The filter for OBS Studio: build/.../plugins/quorvel-stabilize.so, with its texts in plugins/obs/data.
if(QUORVEL_OBS AND PKG_CONFIG_FOUND)
  pkg_check_modules(QUORVEL_LIBOBS QUIET IMPORTED_TARGET "libobs>=29")
endif()
quorvel_part(OBS "OBS Studio filter" "${QUORVEL_LIBOBS_FOUND}" "libobs 29" "pkg-config libobs-dev")
if(QUORVEL_HAS_OBS)
  set(sources
    plugins/obs/filter.cpp
    plugins/obs/frame_planes.cpp
    plugins/obs/picture.cpp
    plugins/obs/plugin.cpp
    plugins/obs/sound_line.cpp)
  quorvel_plugin(quorvel_obs ${sources})
  set_target_properties(quorvel_obs PROPERTIES PREFIX "" OUTPUT_NAME quorvel-stabilize)
  target_link_libraries(quorvel_obs PRIVATE PkgConfig::QUORVEL_LIBOBS)
endif()

# Its tests. Those with the host need a display, which xvfb-run makes.
if(QUORVEL_HAS_OBS AND QUORVEL_TESTS)
  find_package(GTest QUIET)
endif()
if(QUORVEL_HAS_OBS AND GTest_FOUND)
  add_executable(quorvel_obs_tests ${sources} tests/obs/filter_test.cpp tests/obs/frames.cpp tests/support/scene.cpp)
  target_include_directories(quorvel_obs_tests PRIVATE tests plugins/obs)
  target_link_libraries(quorvel_obs_tests PRIVATE
    quorvel_stream quorvel_scene quorvel_flags PkgConfig::QUORVEL_LIBOBS GTest::gtest)
  add_test(NAME obs_filter COMMAND quorvel_obs_tests)
  set_tests_properties(obs_filter PROPERTIES LABELS obs TIMEOUT 300)

  find_program(xvfb_run xvfb-run)
  if(xvfb_run AND NOT QUORVEL_SANITIZE MATCHES "thread")
    add_executable(quorvel_obs_host_test tests/obs/host_test.cpp)
    target_link_libraries(quorvel_obs_host_test PRIVATE quorvel_flags PkgConfig::QUORVEL_LIBOBS GTest::gtest)
    add_test(NAME obs_host COMMAND ${xvfb_run} -a -s -noreset
      $<TARGET_FILE:quorvel_obs_host_test> $<TARGET_FILE:quorvel_obs> ${CMAKE_CURRENT_SOURCE_DIR}/plugins/obs/data)
    set_tests_properties(obs_host PROPERTIES LABELS obs TIMEOUT 120 ENVIRONMENT ASAN_OPTIONS=detect_leaks=0)
  endif()
  if(NOT QUORVEL_SANITIZE)
    add_test(NAME obs_smoke COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/tests/obs/smoke.sh $<TARGET_FILE:quorvel_obs>)
    set_tests_properties(obs_smoke PROPERTIES LABELS obs TIMEOUT 120 SKIP_RETURN_CODE 77)
  endif()
endif()
