# SPDX-License-Identifier: BSD-2-Clause
if(QUORVEL_GSTREAMER AND PKG_CONFIG_FOUND)
  pkg_check_modules(QUORVEL_GST QUIET IMPORTED_TARGET "gstreamer-1.0>=1.20" gstreamer-base-1.0 gstreamer-video-1.0)
endif()
quorvel_part(GSTREAMER "GStreamer element" "${QUORVEL_GST_FOUND}" "gstreamer-video-1.0"
  "pkg-config libgstreamer-plugins-base1.0-dev")
if(QUORVEL_HAS_GSTREAMER)
  quorvel_plugin(quorvel_gstreamer
    plugins/gstreamer/element.cpp
    plugins/gstreamer/flow.cpp
    plugins/gstreamer/picture.cpp
    plugins/gstreamer/plugin.cpp)
  set_target_properties(quorvel_gstreamer PROPERTIES OUTPUT_NAME gstquorvel)
  target_link_libraries(quorvel_gstreamer PRIVATE PkgConfig::QUORVEL_GST)
endif()
