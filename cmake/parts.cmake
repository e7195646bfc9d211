# SPDX-License-Identifier: BSD-2-Clause
# Optional parts, which need something that may be missing. AUTO builds a part where that is found and says
# what it did; ON fails without it; OFF does not look for it.
function(quorvel_choice name default help)
  set(${name} ${default} CACHE STRING "${help}: AUTO, ON or OFF")
  set_property(CACHE ${name} PROPERTY STRINGS AUTO ON OFF)
endfunction()

# quorvel_part(TOOL "Tool" "${CLI11_FOUND}" "CLI11" "libcli11-dev") sets QUORVEL_HAS_TOOL by the choice
# QUORVEL_TOOL, by whether what it needs was found, and says the rest to who lacks it.
function(quorvel_part name what found needs packages)
  set(has OFF)
  if(NOT QUORVEL_${name})
    message(STATUS "${what}: off")
  elseif(found)
    set(has ON)
    message(STATUS "${what}: on")
  elseif(QUORVEL_${name} STREQUAL "AUTO")
    message(STATUS "${what}: off (${needs} not found; Debian: ${packages})")
  else()
    message(FATAL_ERROR "QUORVEL_${name}=${QUORVEL_${name}}: ${needs} not found (Debian: ${packages})")
  endif()
  set(QUORVEL_HAS_${name} ${has} PARENT_SCOPE)
endfunction()
