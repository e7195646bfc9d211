#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# check_headers.sh: every public header compiles alone, twice included, in old and new C and C++. And every
# source names its licence.
set -euo pipefail
cd "$(dirname "$0")/../.."
# A C89 compiler sees such a comment only where the macro with it is used.
! grep -nE '(^|[^:])//' include/quorvel/*.h || { echo "FAILED: // comments"; exit 1; }
count=0
for header in include/quorvel/*.h; do
    name=${header#include/}
    for standard in c89 c99 c11 c++98 c++20; do
        language=c
        [[ $standard != c++* ]] || language=c++
        printf '#include "%s"\n#include "%s"\nint quorvel_unit = 0;\n' "$name" "$name" |
            ${CC:-gcc} -x $language -std=$standard -Wall -Wextra -pedantic -Werror -Iinclude \
                -fsyntax-only - || { echo "FAILED: $name as $standard"; exit 1; }
        count=$((count + 1))
    done
done
missing=$(find include src tools tests fuzz bench examples -name '*.h' -o -name '*.cpp' -o -name '*.c' -o -name '*.sh' |
    while read -r file; do head -2 "$file" | grep -q 'SPDX-License-Identifier: BSD-2-Clause' || echo "$file"; done)
[[ -z $missing ]] || { echo "FAILED: no licence line at the top:" $missing; exit 1; }
echo "ok: $count compilations"
