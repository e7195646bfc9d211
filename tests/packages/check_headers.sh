#!/usr/bin/env bash
# check_headers.sh: every public header compiles alone, twice included, in old and new C and C++.
set -euo pipefail
cd "$(dirname "$0")/../.."
# A C89 compiler sees such a comment only where the macro with it is used.
! grep -n '//' include/quorvel/*.h || { echo "FAILED: comments of C++"; exit 1; }
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
echo "ok: $count compilations"
