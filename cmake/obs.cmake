# SPDX-License-Identifier: BSD-2-Clause
if(QUORVEL_OBS AND PKG_CONFIG_FOUND)
  pkg_check_modules(QUORVEL_LIBOBS QUIET IMPORTED_TARGET "libobs>=27")
endif()
quorvel_part(OBS "OBS Studio filter" "${QUORVEL_LIBOBS_FOUND}" "libobs" "pkg-config libobs-dev")
