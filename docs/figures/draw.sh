#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# docs/figures/draw.sh: draws the pictures of how-it-works.md anew. Needs cmake, a C++ compiler and gnuplot
# (Debian: gnuplot-nox).
set -euo pipefail
cd "$(dirname "$0")/../.."
build=build/release
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DQUORVEL_EXAMPLES=ON >/dev/null
cmake --build "$build" --target quorvel_figures
data=$(mktemp -d)
trap 'rm -rf "$data"' EXIT
"$build/quorvel_figures" "$data"
gnuplot -e "data='$data'; out='docs/figures'" docs/figures/draw.gp
for picture in docs/figures/*.png; do
    size=$(stat -c %s "$picture")
    echo "$picture: $size bytes"
    ((size < 150000)) || { echo "too large for the repository"; exit 1; }
done
