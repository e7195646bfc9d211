# SPDX-License-Identifier: BSD-2-Clause
# Run at installation, when the prefix is known. The pkg-config file finds its prefix from its own place, so
# that the tree can be moved. Two kinds of trees name it instead: one whose library folder is absolute, and
# that of the system, where pkg-config leaves out -I and -L of the compiler's own folders only if it sees
# their plain paths.
function(quorvel_name_prefix file prefix)
  file(READ ${file} text)
  string(REGEX REPLACE "^prefix=[^\n]*" "prefix=${prefix}" text "${text}")
  file(WRITE ${file} "${text}")
endfunction()
