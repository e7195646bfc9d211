# SPDX-License-Identifier: BSD-2-Clause
# Names for other projects, installation, and Debian packages.
add_library(QuorvelStabilizer::shared ALIAS quorvel_shared)
add_library(QuorvelStabilizer::static ALIAS quorvel_static)

include(GNUInstallDirs)
foreach(target quorvel_shared quorvel_static)
  # The build tree's own path must not reach the installed package.
  set_property(TARGET ${target} PROPERTY INTERFACE_INCLUDE_DIRECTORIES
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
endforeach()
set_target_properties(quorvel_shared PROPERTIES EXPORT_NAME shared)
set_target_properties(quorvel_static PROPERTIES EXPORT_NAME static)

# A project that takes this one as a subdirectory installs its own things only, unless it asks for these too.
option(QUORVEL_INSTALL "Install the library, its headers and packages" ${PROJECT_IS_TOP_LEVEL})
if(NOT QUORVEL_INSTALL)
  return()
endif()

# ---- the installed tree: components library, dev and tool ----
set(QUORVEL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/QuorvelStabilizer)
install(TARGETS quorvel_shared quorvel_static EXPORT QuorvelStabilizerTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT dev
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev)
if(NOT QUORVEL_CAMERA)
  set(without_camera PATTERN camera.h EXCLUDE)
endif()
install(DIRECTORY include/quorvel DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev
  FILES_MATCHING PATTERN *.h ${without_camera})

include(CMakePackageConfigHelpers)
set(package_dir ${PROJECT_BINARY_DIR}/package)
configure_package_config_file(cmake/QuorvelStabilizerConfig.cmake.in
  ${package_dir}/QuorvelStabilizerConfig.cmake INSTALL_DESTINATION ${QUORVEL_CMAKE_DIR})
write_basic_package_version_file(${package_dir}/QuorvelStabilizerConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(EXPORT QuorvelStabilizerTargets NAMESPACE QuorvelStabilizer:: DESTINATION ${QUORVEL_CMAKE_DIR}
  COMPONENT dev)
install(FILES ${package_dir}/QuorvelStabilizerConfig.cmake
  ${package_dir}/QuorvelStabilizerConfigVersion.cmake DESTINATION ${QUORVEL_CMAKE_DIR} COMPONENT dev)

# The pkg-config file finds its prefix from its own place, so that the tree can be moved.
file(RELATIVE_PATH QUORVEL_PC_PREFIX /p/${CMAKE_INSTALL_LIBDIR}/pkgconfig /p)
string(REGEX REPLACE "/$" "" QUORVEL_PC_PREFIX ${QUORVEL_PC_PREFIX})
set(QUORVEL_PC_LIBS_PRIVATE "-pthread")
set(log_folder)
set(log_package)
if(QUORVEL_LOG STREQUAL "android" AND QUORVEL_CAMERA)
  if(ANDROID)
    string(APPEND QUORVEL_PC_LIBS_PRIVATE " -llog")
  else() # outside the linker's and the loader's folders
    get_filename_component(log_folder ${QUORVEL_LOG_LIBRARY} DIRECTORY)
    string(APPEND QUORVEL_PC_LIBS_PRIVATE " -L${log_folder} -Wl,-rpath,${log_folder} -llog")
    set(log_package ", android-liblog-dev")
  endif()
endif()
configure_file(cmake/quorvel-stabilizer.pc.in ${package_dir}/quorvel-stabilizer.pc @ONLY)
install(FILES ${package_dir}/quorvel-stabilizer.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT dev)

set(QUORVEL_COMPONENTS library dev)
if(TARGET quorvel_tool)
  list(APPEND QUORVEL_COMPONENTS tool)
  set_target_properties(quorvel_tool PROPERTIES INSTALL_RPATH "${log_folder}")
  install(TARGETS quorvel_tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)
  install(FILES tools/stabilize/quorvel-stabilize.bash RENAME quorvel-stabilize
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions COMPONENT tool)
  file(GLOB manuals CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/man/*.1)
  if(manuals)
    install(FILES ${manuals} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tool)
  endif()
endif()

# ---- Debian packages ----
set(library_package libquorvelstabilizer1)
set(dev_package libquorvelstabilizer-dev)
set(tool_package quorvel-stabilizer)
foreach(component IN LISTS QUORVEL_COMPONENTS)
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${${component}_package})
  install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${${component}_package}
    RENAME copyright COMPONENT ${component})
endforeach()
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION
  "The shared library: one frame in, one steady frame out, without delay.")
set(CPACK_COMPONENT_DEV_DESCRIPTION "Headers, the static library, and descriptions for CMake and pkg-config.")
set(CPACK_COMPONENT_TOOL_DESCRIPTION "The command line tool: stabilizes video files and streams.")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION video)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "${library_package} (= ${PROJECT_VERSION})${log_package}")
if(NOT CMAKE_CROSSCOMPILING)
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_TOOL_PACKAGE_SHLIBDEPS ON)
endif()
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)

set(CPACK_GENERATOR DEB TGZ)
set(CPACK_COMPONENTS_ALL ${QUORVEL_COMPONENTS})
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_NAME quorvel-stabilizer)
set(CPACK_PACKAGE_VENDOR "the Quorvel stabilizer developers")
set(CPACK_PACKAGE_CONTACT "the Quorvel stabilizer developers")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Real-time video stabilizer")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
include(CPack)

# ---- tests of all this; cross.sh, which takes minutes, is run by hand and by CI ----
if(QUORVEL_TESTS AND NOT QUORVEL_SANITIZE AND NOT CMAKE_CROSSCOMPILING)
  enable_testing()
  function(quorvel_package_test name labels)
    add_test(NAME package.${name} COMMAND ${PROJECT_SOURCE_DIR}/tests/packages/check_${name}.sh ${ARGN})
    set_tests_properties(package.${name} PROPERTIES LABELS "${labels}" SKIP_RETURN_CODE 77)
  endfunction()
  quorvel_package_test(headers "fast;package")
  quorvel_package_test(elf "fast;package" $<TARGET_FILE:quorvel_shared>)
  quorvel_package_test(install package ${PROJECT_BINARY_DIR})
  quorvel_package_test(deb package ${PROJECT_BINARY_DIR})
  quorvel_package_test(abi package)
  quorvel_package_test(android package)
endif()
