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

# ---- the installed tree: components library, dev, tool and the plugins; the licence belongs to all ----
set(QUORVEL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/QuorvelStabilizer)
foreach(target IN LISTS QUORVEL_LIBRARIES) # each can be there without the other
  get_target_property(kind ${target} EXPORT_NAME)
  install(TARGETS ${target} EXPORT QuorvelStabilizer_${kind}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT dev
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev)
  install(EXPORT QuorvelStabilizer_${kind} NAMESPACE QuorvelStabilizer:: DESTINATION ${QUORVEL_CMAKE_DIR}
    FILE QuorvelStabilizerTargets-${kind}-library.cmake COMPONENT dev)
endforeach()
if(NOT QUORVEL_CAMERA)
  set(without_camera PATTERN camera.h EXCLUDE)
endif()
install(DIRECTORY include/quorvel DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev
  FILES_MATCHING PATTERN *.h ${without_camera})
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT dev
  FILES_MATCHING PATTERN *.md PATTERN *.png PATTERN *.svg PATTERN performance.json
  PATTERN abi EXCLUDE PATTERN man EXCLUDE PATTERN readme.png EXCLUDE)
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT dev
  FILES_MATCHING PATTERN *.c PATTERN clips EXCLUDE)
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT licence)

include(CMakePackageConfigHelpers)
set(package_dir ${PROJECT_BINARY_DIR}/package)
file(GENERATE OUTPUT ${package_dir}/QuorvelStabilizerConfig.cmake
  INPUT ${PROJECT_SOURCE_DIR}/cmake/QuorvelStabilizerConfig.cmake.in)
write_basic_package_version_file(${package_dir}/QuorvelStabilizerConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${package_dir}/QuorvelStabilizerConfig.cmake
  ${package_dir}/QuorvelStabilizerConfigVersion.cmake DESTINATION ${QUORVEL_CMAKE_DIR} COMPONENT dev)

# What the archive needs: for `pkg-config --static`, or for everyone where there is no shared library.
set(needed "-pthread")
set(log_folder)
set(log_package)
if(log_of_camera STREQUAL "android")
  if(ANDROID)
    string(APPEND needed " -llog")
  else() # outside the linker's and the loader's folders
    get_filename_component(log_folder ${QUORVEL_LOG_LIBRARY} DIRECTORY)
    string(APPEND needed " -L${log_folder} -Wl,-rpath,${log_folder} -llog")
    set(log_package android-liblog-dev)
  endif()
endif()
set(QUORVEL_PC_LIBS "-lQuorvelStabilizer")
set(QUORVEL_PC_LIBS_PRIVATE)
if(NOT "quorvel_shared" IN_LIST QUORVEL_LIBRARIES)
  string(APPEND QUORVEL_PC_LIBS " ${needed}")
elseif("quorvel_static" IN_LIST QUORVEL_LIBRARIES)
  set(QUORVEL_PC_LIBS_PRIVATE "${needed}")
endif()
foreach(dir LIBDIR INCLUDEDIR)
  set(QUORVEL_PC_${dir} "\${prefix}/${CMAKE_INSTALL_${dir}}")
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${dir}}")
    set(QUORVEL_PC_${dir} ${CMAKE_INSTALL_${dir}})
  endif()
endforeach()
set(pc_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(NOT IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  file(RELATIVE_PATH up /p/${pc_dir} /p)
  string(REGEX REPLACE "/$" "" QUORVEL_PC_PREFIX "\${pcfiledir}/${up}")
  set(pc_dir "\${CMAKE_INSTALL_PREFIX}/${pc_dir}")
endif()
configure_file(cmake/quorvel-stabilizer.pc.in ${package_dir}/quorvel-stabilizer.pc @ONLY)
install(FILES ${package_dir}/quorvel-stabilizer.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT dev)
# The file finds its prefix from its own place, so that the tree can be moved. It names the prefix instead where
# the library folder is absolute, and in /usr: pkg-config leaves out -I and -L of the compiler's own folders only
# if it sees their plain paths.
install(CODE "
  if(\"${CMAKE_INSTALL_LIBDIR}\" MATCHES \"^/\" OR CMAKE_INSTALL_PREFIX STREQUAL \"/usr\")
    set(file \"\$ENV{DESTDIR}${pc_dir}/quorvel-stabilizer.pc\")
    file(READ \"\${file}\" text)
    string(REGEX REPLACE \"^prefix=[^\\n]*\" \"prefix=\${CMAKE_INSTALL_PREFIX}\" text \"\${text}\")
    file(WRITE \"\${file}\" \"\${text}\")
  endif()" COMPONENT dev)

if(TARGET quorvel_tool)
  set(rpath ${log_folder})
  if(NOT "quorvel_static" IN_LIST QUORVEL_LIBRARIES AND
      NOT CMAKE_INSTALL_FULL_LIBDIR IN_LIST CMAKE_CXX_IMPLICIT_LINK_DIRECTORIES)
    file(RELATIVE_PATH up ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
    list(APPEND rpath "$ORIGIN/${up}")
  endif()
  set_target_properties(quorvel_tool PROPERTIES INSTALL_RPATH "${rpath}")
  install(TARGETS quorvel_tool quorvel_clipgen quorvel_quality
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)
  install(FILES tools/stabilize/quorvel-stabilize.bash RENAME quorvel-stabilize
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions COMPONENT tool)
  install(FILES docs/man/quorvel-stabilize.1 docs/man/quorvel-clipgen.1 docs/man/quorvel-quality.1
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tool)
endif()

if(TARGET quorvel_gstreamer)
  install(TARGETS quorvel_gstreamer LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/gstreamer-1.0 COMPONENT gstreamer)
endif()
if(TARGET quorvel_obs)
  install(TARGETS quorvel_obs LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/obs-plugins COMPONENT obs)
  install(DIRECTORY plugins/obs/data/ DESTINATION ${CMAKE_INSTALL_DATADIR}/obs/obs-plugins/quorvel-stabilize
    COMPONENT obs)
endif()

# ---- Debian packages ----
set(library_package libquorvelstabilizer1)
set(dev_package libquorvelstabilizer-dev)
set(tool_package quorvel-stabilizer)
set(gstreamer_package gstreamer1.0-quorvel)
set(obs_package obs-plugin-quorvel)
set(about "It measures how each frame moved against the one before, smooths the path of
the camera and moves and turns the frame to it: one frame in, one steady
frame out, with no delay.
.")
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION "${about}
This package has the shared library.")
set(CPACK_COMPONENT_DEV_DESCRIPTION "${about}
This package has what programs are built with: headers, libraries to link
with, CMake and pkg-config files, documents and examples.")
set(CPACK_COMPONENT_TOOL_DESCRIPTION "${about}
This package has the command line tool, which stabilizes video files,
cameras and streams.")
set(CPACK_COMPONENT_GSTREAMER_DESCRIPTION "${about}
This package has the GStreamer element quorvelstabilize.")
set(CPACK_COMPONENT_OBS_DESCRIPTION "${about}
This package has a filter for cameras and media sources in OBS Studio.")
set(CPACK_DEBIAN_GSTREAMER_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_OBS_PACKAGE_SECTION video)
set(CPACK_DEBIAN_OBS_PACKAGE_ENHANCES obs-studio)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION video)

set(CPACK_COMPONENTS_ALL dev)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS ${log_package})
if("quorvel_shared" IN_LIST QUORVEL_LIBRARIES)
  list(APPEND CPACK_COMPONENTS_ALL library)
  list(APPEND CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "${library_package} (= ${PROJECT_VERSION})")
endif()
list(JOIN CPACK_DEBIAN_DEV_PACKAGE_DEPENDS ", " CPACK_DEBIAN_DEV_PACKAGE_DEPENDS)
if(TARGET quorvel_tool)
  list(APPEND CPACK_COMPONENTS_ALL tool)
  if(NOT "quorvel_static" IN_LIST QUORVEL_LIBRARIES)
    set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "${library_package} (>= ${PROJECT_VERSION})")
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
  endif()
endif()
foreach(plugin gstreamer obs)
  if(TARGET quorvel_${plugin})
    list(APPEND CPACK_COMPONENTS_ALL ${plugin})
  endif()
endforeach()
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${${component}_package})
  if(NOT CMAKE_CROSSCOMPILING AND NOT component STREQUAL "dev")
    set(CPACK_DEBIAN_${upper}_PACKAGE_SHLIBDEPS ON)
  endif()
endforeach()
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
# What a program needs by the names that it uses. All are in 1.0.0; one that is added later needs its version here.
string(REGEX REPLACE "[;\n ]+" "@Base 1.0.0\n " symbols "${exports}")
file(CONFIGURE OUTPUT ${package_dir}/symbols CONTENT
  "libQuorvelStabilizer.so.1 @library_package@ #MINVER#\n* Build-Depends-Package: @dev_package@\n @symbols@@Base 1.0.0\n" @ONLY)
file(WRITE ${package_dir}/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${package_dir}/symbols ${package_dir}/triggers)
set(CPACK_QUORVEL_STRIP ${CMAKE_STRIP})
set(CPACK_QUORVEL_MULTIARCH OFF)
if(CMAKE_LIBRARY_ARCHITECTURE AND CMAKE_INSTALL_LIBDIR MATCHES "/${CMAKE_LIBRARY_ARCHITECTURE}$")
  set(CPACK_QUORVEL_MULTIARCH ON)
endif()
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian-files.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian-control.cmake)

set(CPACK_GENERATOR DEB TGZ)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_NAME quorvel-stabilizer)
set(CPACK_PACKAGE_VENDOR "Quorvel stabilizer developers")
set(CPACK_PACKAGE_CONTACT "Quorvel stabilizer developers <developers@quorvel.example>")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_SET_DESTDIR ON) # installs into the prefix itself, under a folder, so that files can name it
set(CPACK_INSTALL_PREFIX /usr)
include(CPack)

# ---- tests of all this; cross.sh, which takes minutes, is run by hand and by CI ----
if(QUORVEL_TESTS AND NOT QUORVEL_SANITIZE AND NOT CMAKE_CROSSCOMPILING)
  enable_testing()
  function(quorvel_package_test name labels)
    add_test(NAME package.${name} COMMAND ${PROJECT_SOURCE_DIR}/tests/packages/check_${name}.sh ${ARGN})
    set_tests_properties(package.${name} PROPERTIES LABELS "${labels}" SKIP_RETURN_CODE 77)
  endfunction()
  quorvel_package_test(headers "fast;package")
  if("quorvel_shared" IN_LIST QUORVEL_LIBRARIES)
    quorvel_package_test(elf "fast;package" $<TARGET_FILE:quorvel_shared>)
  endif()
  if(NOT DEFINED BUILD_SHARED_LIBS AND QUORVEL_CAMERA)
    quorvel_package_test(install package ${PROJECT_BINARY_DIR})
  endif()
  quorvel_package_test(options package)
  quorvel_package_test(deb package ${PROJECT_BINARY_DIR})
  quorvel_package_test(abi package)
  quorvel_package_test(android package)
endif()
