#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# docs/check.sh: the documents are sound. Doxygen has nothing to say, every piece of C in the headers and
# documents compiles, the examples compile, links between the documents lead somewhere, and the tables of
# integration.md are what the library computes.
# Needs doxygen, cmake and a C++ compiler; CC and CXX choose the compilers.
set -euo pipefail
cd "$(dirname "$0")"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAILED: $*"; exit 1; }

mkdir -p ../build/doxygen
version=$(sed -n 's/#define QUORVEL_VERSION "\(.*\)"/\1/p' ../include/quorvel/version.h)
(cat Doxyfile; echo "PROJECT_NUMBER = $version"; echo "WARN_LOGFILE = $work/warnings") | doxygen - || fail "doxygen"
[[ ! -s $work/warnings ]] || { cat "$work/warnings"; fail "doxygen warns"; }
echo "ok: doxygen"

# Pieces of code: between @code and @endcode in the headers, fenced as c or cpp in the documents.
awk -v work="$work" '
    function close_piece() { if (inside) { print "}" > piece; close(piece); inside = 0 } }
    /@code/ || /^```c(pp)?$/ {
        name = FILENAME
        gsub(/.*\//, "", name)
        piece = sprintf("%s/piece%02d_%s.c", work, ++count, name)
        printf "#include \"snippets.h\"\nvoid piece(void);\nvoid piece(void) {\n#line %d \"%s\"\n", FNR + 1, FILENAME > piece
        inside = 1
        next
    }
    /@endcode/ || /^```$/ { close_piece(); next }
    inside { sub(/^ \* ?/, ""); print > piece }
' ../include/quorvel/*.h ./*.md
pieces=("$work"/piece*.c)
[[ -e ${pieces[0]} ]] || fail "no piece of code found"
for piece in "${pieces[@]}"; do
    "${CC:-cc}" -std=c99 -Wall -Wextra -Werror -Wno-unused -Wno-unused-but-set-variable \
        -I. -I../include -fsyntax-only "$piece" || fail "${piece##*/}"
done
echo "ok: ${#pieces[@]} pieces of code"

examples=(../examples/*.c)
for example in "${examples[@]}"; do
    for standard in c99 c17; do
        "${CC:-cc}" -std=$standard -Wall -Wextra -pedantic -Werror -I../include -fsyntax-only "$example" ||
            fail "$example"
    done
done
echo "ok: ${#examples[@]} examples"

# Relative links, without the part after #, that do not leave the tree.
links=0
while IFS=: read -r file target; do
    [[ -e $(dirname "$file")/${target%%#*} ]] || fail "$file links to $target, which is not there"
    links=$((links + 1))
done < <(grep -oE '\]\([^)]+\)' ./*.md -H | sed -E 's/\]\(([^)]+)\)/\1/' | grep -vE ':(https?|#)')
echo "ok: $links links"

build=../build/release
{
    cmake -S .. -B $build -DCMAKE_BUILD_TYPE=Release -DQUORVEL_EXAMPLES=ON &&
        cmake --build $build --target quorvel_examples quorvel_figures
} >"$work/log" 2>&1 || { cat "$work/log"; fail "examples do not build"; }
$build/quorvel_figures --tables >"$work/tables"
while read -r row; do
    [[ -z $row ]] || grep -qxF -- "$row" integration.md || fail "integration.md lacks the row $row"
done <"$work/tables"
$build/quorvel_figures "$work"
read -r row col theta <"$work/blocks_motion.dat"
grep -qF "the model is ($row, $col) pixels and $theta milliradians" how-it-works.md ||
    fail "the model of the picture of block vectors is ($row, $col), $theta: run figures/draw.sh and correct the text"
echo "ok: tables"

# The examples run: the same clip through the loop and the measurement, and a camera of their own.
$build/camera_buffers >"$work/camera" || fail "camera_buffers"
head -c $((320 * 240 * 3 / 2 * 4)) /dev/urandom >"$work/clip"
$build/nv21_loop 320 240 <"$work/clip" >"$work/steady" || fail "nv21_loop"
cmp -s <(wc -c <"$work/clip") <(wc -c <"$work/steady") || fail "nv21_loop drops frames"
$build/refined_planes 320 240 <"$work/clip" >"$work/steady" || fail "refined_planes"
cmp -s <(wc -c <"$work/clip") <(wc -c <"$work/steady") || fail "refined_planes drops frames"
$build/motion_csv 320 360 <"$work/clip" >"$work/motion" || fail "motion_csv"
[[ $(wc -l <"$work/motion") -eq 5 ]] || fail "motion_csv drops frames"
echo "ok: examples run"
