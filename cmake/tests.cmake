# SPDX-License-Identifier: BSD-2-Clause
# GoogleTest programs and scripts, run by ctest. Label `sanitize`: worth its time under sanitizers too.
if(QUORVEL_TESTS)
  find_package(GTest QUIET)
  quorvel_part(TESTS "Tests" "${GTest_FOUND}" "GoogleTest" "libgtest-dev")
  if(QUORVEL_HAS_TESTS)
    enable_testing()
    set(camera_test tests/camera_test.cpp)
    if(NOT QUORVEL_CAMERA) # the tests bring what the library has not
      list(APPEND camera_test src/api/camera.cpp)
    elseif(QUORVEL_LOG STREQUAL "none") # the test reads the log
      set(camera_test)
    endif()
    add_executable(quorvel_tests
      ${camera_test}
      tests/failure_test.cpp
      tests/fine_warp_test.cpp
      tests/golden_test.cpp
      tests/handle_test.cpp
      tests/hostile_planes_test.cpp
      tests/hostile_test.cpp
      tests/matrix_test.cpp
      tests/model_test.cpp
      tests/motion_test.cpp
      tests/path_test.cpp
      tests/pipeline_test.cpp
      tests/pitch_test.cpp
      tests/platform_test.cpp
      tests/property_test.cpp
      tests/refined_matrix_test.cpp
      tests/refined_test.cpp
      tests/smooth_test.cpp
      tests/soak_test.cpp
      tests/support/faults.cpp
      tests/support/guarded.cpp
      tests/support/pitched.cpp
      tests/support/refined_run.cpp
      tests/support/run.cpp
      tests/support/scene.cpp
      tests/support/sweep.cpp
      tests/threads_test.cpp
      tests/warp_test.cpp)
    target_include_directories(quorvel_tests PRIVATE tests src)
    target_compile_definitions(quorvel_tests PRIVATE QUORVEL_SOURCE_DIR="${CMAKE_CURRENT_SOURCE_DIR}")
    target_link_libraries(quorvel_tests PRIVATE quorvel_static quorvel_scene quorvel_flags GTest::gtest_main)
    foreach(function malloc free pthread_create pthread_mutex_init pthread_mutex_lock pthread_cond_init
        pthread_cond_wait pthread_cond_signal pthread_cond_broadcast)
      target_link_options(quorvel_tests PRIVATE -Wl,--wrap=${function})
    endforeach()

    # The yardstick of docs/quality.md, apart from the library.
    add_executable(quorvel_quality_tests
      tests/quality_test.cpp
      tools/clipgen/effects.cpp
      tools/quality/csv_table.cpp
      tools/quality/jitter.cpp
      tools/quality/align.cpp
      tools/quality/sharpness.cpp)
    target_link_libraries(quorvel_quality_tests PRIVATE
      quorvel_scene quorvel_video_io quorvel_flags GTest::gtest_main)

    function(quorvel_test name labels)
      add_test(NAME ${name} COMMAND ${ARGN})
      set_tests_properties(${name} PROPERTIES LABELS "${labels}" TIMEOUT 300)
    endfunction()
    # Groups that have stages of their own in CI: see docs/reliability.md.
    set(hostile "Hostile.*:Failure.*:*FailingFrame*")
    set(threads "Threads.*")
    quorvel_test(hostile "fast;hostile" quorvel_tests --gtest_filter=${hostile})
    quorvel_test(threads "fast;threads" quorvel_tests --gtest_filter=${threads})
    quorvel_test(soak "fast" quorvel_tests --gtest_filter=Soak.*)
    set(frames "Golden.*:Entries.*")
    set(properties "Measured.*:Warped.*:Smoothed.*")
    quorvel_test(quality "fast;sanitize" quorvel_quality_tests)
    quorvel_test(frames "fast;sanitize" quorvel_tests --gtest_filter=${frames})
    quorvel_test(properties "fast;sanitize" quorvel_tests --gtest_filter=${properties})
    set(matrix "*Matrix*-*/64*")
    if(QUORVEL_SANITIZE MATCHES "thread")
      set(matrix "*Matrix*/4*:*Matrix*/648*") # sizes whose work is shared out
    endif()
    quorvel_test(matrix "fast;sanitize" quorvel_tests --gtest_filter=${matrix})
    quorvel_test(matrix_large "fast" quorvel_tests --gtest_filter=*Matrix*/64*)
    quorvel_test(stages "fast;sanitize" quorvel_tests
      --gtest_filter=-*Matrix*:Soak.*:${frames}:${properties}:${hostile}:${threads})
    if(TARGET quorvel_tool)
      quorvel_test(tool "fast;sanitize" ${CMAKE_CURRENT_SOURCE_DIR}/tests/tool/check_tool.sh
        $<TARGET_FILE:quorvel_tool> $<TARGET_FILE:quorvel_clipgen> $<TARGET_FILE:quorvel_quality>)
      find_package(Python3 QUIET COMPONENTS Interpreter)
      if(NOT Python3_FOUND)
        quorvel_say("Tests of the tool with files: off (Python not found; Debian: python3)")
      else()
        quorvel_test(report "report" ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/tests/tool/check_report.py
          $<TARGET_FILE:quorvel_tool> $<TARGET_FILE:quorvel_clipgen>)
        set_tests_properties(report PROPERTIES SKIP_RETURN_CODE 77)
      endif()
      if(Python3_FOUND AND TARGET PkgConfig::QUORVEL_AV)
        set(check_video ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/tests/tool/check_video.py
          $<TARGET_FILE:quorvel_tool> $<TARGET_FILE:quorvel_clipgen> ${CMAKE_CURRENT_SOURCE_DIR})
        quorvel_test(video_files "video" ${check_video})
        quorvel_test(video_files_short "fast" ${check_video} fast)
        set_tests_properties(video_files video_files_short PROPERTIES SKIP_RETURN_CODE 77 TIMEOUT 900)
      endif()
    endif()
    if(TARGET quorvel_gstreamer)
      include(tests/gstreamer/tests.cmake)
    endif()
    if(NOT QUORVEL_SANITIZE AND QUORVEL_CAMERA AND "quorvel_shared" IN_LIST QUORVEL_LIBRARIES)
      quorvel_test(library "fast" ${CMAKE_CURRENT_SOURCE_DIR}/tests/check_library.sh
        $<TARGET_FILE:quorvel_shared> ${CMAKE_CURRENT_SOURCE_DIR})
    endif()
  endif()
endif()
