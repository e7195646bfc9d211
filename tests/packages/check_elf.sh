#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# check_elf.sh LIBRARY: how the shared library is linked.
set -euo pipefail
library=${1:?usage: check_elf.sh LIBRARY}
here=$(dirname "$(realpath "$0")")
failed=0
expect() { # TEXT PATTERN WHERE
    grep -qE -- "$2" <<<"$3" || { echo "FAILED: $1"; failed=1; }
}

dynamic=$(readelf -dW "$library")
segments=$(readelf -lW "$library")
expect "its name is libQuorvelStabilizer.so.1" 'SONAME.*\[libQuorvelStabilizer\.so\.1\]' "$dynamic"
expect "symbols are bound at load time" 'BIND_NOW|FLAGS_1.*NOW' "$dynamic"
expect "relocated data becomes read-only" 'GNU_RELRO' "$segments"
expect "the stack is not executable" 'GNU_STACK.* RW  ' "$segments"

# Nothing that the library exports may be looked up by name from inside it: such a call could end in another
# library's function of the same name.
own=$(readelf -rW "$library" | awk 'NF >= 5 { sub(/@.*/, "", $5); print $5 }' | sort -u |
    grep -Fxf <(grep -E '^[A-Za-z_]' "$here/../../src/exports.txt") || true)
if [[ $own ]]; then
    echo "FAILED: own symbols bound by name:" $own
    failed=1
fi
((failed)) || echo "ok"
exit $failed
