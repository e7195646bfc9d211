# GoogleTest programs, run by ctest.
if(QUORVEL_TESTS)
  find_package(GTest QUIET)
  if(NOT GTest_FOUND)
    message(STATUS "Tests: off (GoogleTest not found; Debian: libgtest-dev)")
  endif()
endif()
