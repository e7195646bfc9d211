# The video tool and the programs of the demo.
if(QUORVEL_TOOL)
  find_package(CLI11 QUIET)
  if(NOT CLI11_FOUND)
    message(STATUS "Tool: off (CLI11 not found; Debian: libcli11-dev)")
  endif()
endif()
