#!/bin/sh
# SPDX-License-Identifier: BSD-2-Clause
# What a loader sees of the shared library, and what its sources include.
#   check_library.sh <library.so> <source directory>
set -u
library=$1
sources=$2
failures=0
[ -r "$library" ] || { echo "cannot read $library"; exit 1; }

expect() { # <what> <wanted> <got>
    [ "$2" = "$3" ] && return
    printf '%s\n  wanted: %s\n  got:    %s\n' "$1" "$2" "$3"
    failures=$((failures + 1))
}

work=$(mktemp -d) || exit 1
trap 'rm -rf "$work"' EXIT
grep -v '^#' "$sources/src/exports.txt" | grep . | sort >"$work/listed"
nm -D --defined-only "$library" | awk '{print $3}' | sort >"$work/exported"
expect 'listed names that are not exported' '' "$(comm -23 "$work/listed" "$work/exported" | xargs)"
expect 'exported names that are not listed' '' "$(comm -13 "$work/listed" "$work/exported" | xargs)"

readelf -dW "$library" >"$work/dynamic"
expect 'libraries needed besides libc' '' \
    "$(sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' "$work/dynamic" | grep -v '^libc\.so' | xargs)"
expect 'relocations in code' 0 "$(grep -c 'TEXTREL' "$work/dynamic")"
expect 'alignment of the loaded segments' 0x4000 \
    "$(readelf -lW "$library" | awk '$1 == "LOAD" {print $NF}' | sort -u | xargs)"

expect 'C++ standard headers in the sources' '' \
    "$(grep -rnE '#include <[^>.]+>' "$sources/src" "$sources/include" | xargs)"
exit $((failures > 0))
