# SPDX-License-Identifier: BSD-2-Clause
# Run by CPack: Debian wants the licence in each package, in a folder of the package's name.
if(CPACK_GENERATOR STREQUAL "DEB")
  foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    string(TOUPPER ${component} upper)
    configure_file(${CPACK_RESOURCE_FILE_LICENSE}
      ${CPACK_TEMPORARY_DIRECTORY}/${component}${CPACK_PACKAGING_INSTALL_PREFIX}/share/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME}/copyright
      COPYONLY)
  endforeach()
endif()
