# SPDX-License-Identifier: BSD-2-Clause
# Optional parts, which need packages that may be missing. AUTO builds a part when they are found; ON fails
# without them; OFF does not look for them. The last lines of the configuration say what was chosen, and which
# packages turn on what is off.
function(quorvel_choice name default help)
  set(${name} ${default} CACHE STRING "${help}: AUTO, ON or OFF")
  set_property(CACHE ${name} PROPERTY STRINGS AUTO ON OFF)
  string(TOUPPER "${${name}}" value)
  if(NOT value MATCHES "^(AUTO|ON|OFF|TRUE|FALSE|YES|NO|1|0)$")
    message(FATAL_ERROR "${name} is ${${name}}: it must be AUTO, ON or OFF")
  endif()
endfunction()

# A line for the end of the configuration.
function(quorvel_say line)
  set_property(GLOBAL APPEND_STRING PROPERTY QUORVEL_SUMMARY "\n--   ${line}")
endfunction()
function(quorvel_print_summary)
  get_property(lines GLOBAL PROPERTY QUORVEL_SUMMARY)
  message(STATUS "Parts:${lines}")
endfunction()

# Sets QUORVEL_HAS_<name> from the choice QUORVEL_<name> and from whether what the part needs was found. `needs`
# and `packages` name that for the messages.
function(quorvel_part name what found needs packages)
  set(has OFF)
  if(NOT QUORVEL_${name})
    quorvel_say("${what}: off (QUORVEL_${name}=${QUORVEL_${name}})")
  elseif(found)
    set(has ON)
    quorvel_say("${what}: on")
  elseif(QUORVEL_${name} STREQUAL "AUTO")
    quorvel_say("${what}: off (${needs} not found; Debian: ${packages})")
  else()
    message(FATAL_ERROR "QUORVEL_${name}=${QUORVEL_${name}}: ${needs} not found (Debian: ${packages})")
  endif()
  set(QUORVEL_HAS_${name} ${has} PARENT_SCOPE)
endfunction()
