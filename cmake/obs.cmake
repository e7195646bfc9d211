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
    plugins/obs/plugin.cpp
    plugins/obs/sound_line.cpp)
  quorvel_plugin(quorvel_obs ${sources})
  set_target_properties(quorvel_obs PROPERTIES PREFIX "" OUTPUT_NAME quorvel-stabilize)
  target_link_libraries(quorvel_obs PRIVATE PkgConfig::QUORVEL_LIBOBS)
endif()
