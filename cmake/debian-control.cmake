# SPDX-License-Identifier: BSD-2-Clause
# Run by CPack after it has made packages, where it has no setting for what Debian wants: libraries of several
# processors can be installed together (Multi-Arch), and no script runs ldconfig: libraries have a trigger for it,
# and plugins need none.
if(NOT CPACK_GENERATOR STREQUAL "DEB")
  return()
endif()
foreach(package IN LISTS CPACK_PACKAGE_FILES)
  get_filename_component(name ${package} NAME)
  if(NOT name MATCHES "^(lib|gstreamer|obs)")
    continue()
  endif()
  set(tree ${CPACK_TOPLEVEL_DIRECTORY}/${name}.tree)
  file(REMOVE_RECURSE ${tree})
  execute_process(COMMAND dpkg-deb --raw-extract ${package} ${tree} COMMAND_ERROR_IS_FATAL ANY)
  file(REMOVE ${tree}/DEBIAN/postinst ${tree}/DEBIAN/postrm)
  if(CPACK_QUORVEL_MULTIARCH AND name MATCHES "^lib")
    file(READ ${tree}/DEBIAN/control control)
    string(REGEX REPLACE "\nPackage:" "\nMulti-Arch: same\nPackage:" control "${control}")
    file(WRITE ${tree}/DEBIAN/control "${control}")
  endif()
  execute_process(COMMAND dpkg-deb --root-owner-group --build ${tree} ${package}
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
endforeach()
