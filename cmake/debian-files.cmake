# SPDX-License-Identifier: BSD-2-Clause
# Run by CPack before it makes packages. Each Debian package gets what Debian wants in it: copyright and
# changelog in a folder of the package's name, compressed manual pages, and no notes of the compiler in binaries.
if(NOT CPACK_GENERATOR STREQUAL "DEB")
  return()
endif()

file(READ ${CPACK_RESOURCE_FILE_LICENSE} licence)
string(REGEX REPLACE "^.*Copyright[^\n]*\n\n" "" licence "${licence}")
string(REGEX REPLACE "\n\n" "\n.\n" licence "${licence}")
string(REGEX REPLACE "\n$" "" licence "${licence}")
string(REPLACE "\n" "\n " licence "${licence}")
set(copyright "Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/
Source: ${CPACK_PACKAGE_HOMEPAGE_URL}

Files: *
Copyright: 2026 ${CPACK_PACKAGE_VENDOR}
License: BSD-2-clause
 ${licence}
")
set(obs_copyright "Comment:
 The plugin uses OBS Studio's library, which is licensed under the GNU General
 Public License, version 2 or later (/usr/share/common-licenses/GPL-2). As a
 part of OBS Studio, and as distributed in this package, it falls under that
 license. Its sources stay under the license above.
")

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} upper)
  set(tree ${CPACK_TEMPORARY_DIRECTORY}/${component}${CPACK_INSTALL_PREFIX})
  set(documents ${tree}/share/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  file(WRITE ${documents}/copyright "${copyright}${${component}_copyright}")
  configure_file(${CMAKE_CURRENT_LIST_DIR}/debian-changelog ${documents}/changelog COPYONLY)
  file(GLOB pages ${tree}/share/man/man*/*.[1-9])
  execute_process(COMMAND gzip -9nf ${documents}/changelog ${pages} COMMAND_ERROR_IS_FATAL ANY)

  file(GLOB_RECURSE programs ${tree}/bin/* ${tree}/*.so ${tree}/*.so.*)
  foreach(program IN LISTS programs)
    if(NOT IS_SYMLINK ${program})
      execute_process(COMMAND ${CPACK_QUORVEL_STRIP} --remove-section=.comment --remove-section=.note ${program})
    endif()
  endforeach()
  file(GLOB_RECURSE archives ${tree}/*.a)
  foreach(archive IN LISTS archives)
    execute_process(COMMAND ${CPACK_QUORVEL_STRIP} --strip-debug --remove-section=.comment -D ${archive})
  endforeach()
endforeach()
