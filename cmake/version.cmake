# SPDX-License-Identifier: BSD-2-Clause
# The version of project() is also in a header and in the manual pages; they must not drift apart.
function(quorvel_check_version file)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${file})
  file(READ ${PROJECT_SOURCE_DIR}/${file} text)
  foreach(expected IN LISTS ARGN)
    string(FIND "${text}" "${expected}" position)
    if(position EQUAL -1)
      message(FATAL_ERROR "${file} lacks '${expected}': project() says ${PROJECT_VERSION}")
    endif()
  endforeach()
endfunction()
quorvel_check_version(include/quorvel/version.h
  "QUORVEL_VERSION \"${PROJECT_VERSION}\"\n"
  "QUORVEL_VERSION_MAJOR ${PROJECT_VERSION_MAJOR}\n"
  "QUORVEL_VERSION_MINOR ${PROJECT_VERSION_MINOR}\n"
  "QUORVEL_VERSION_PATCH ${PROJECT_VERSION_PATCH}\n")
foreach(program stabilize clipgen quality)
  quorvel_check_version(docs/man/quorvel-${program}.1 "\"Quorvel stabilizer ${PROJECT_VERSION}\"")
endforeach()
quorvel_check_version(cmake/debian-changelog "(${PROJECT_VERSION})")
