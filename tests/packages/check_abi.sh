#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# check_abi.sh [--update]: compares the public ABI with its record, docs/abi/x86_64.abi, or makes the record
# anew. Needs abigail-tools and an x86-64 compiler.
set -euo pipefail
command -v abidw >/dev/null || { echo "SKIPPED: no abidw (Debian: abigail-tools)"; exit 77; }
[[ $(uname -m) == x86_64 ]] || { echo "SKIPPED: the record is of x86_64"; exit 77; }
source_dir=$(realpath "$(dirname "$0")/../..")
record=$source_dir/docs/abi/x86_64.abi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Types come from debug information. The log is no part of the ABI.
{
    cmake -S "$source_dir" -B "$work/build" -DCMAKE_BUILD_TYPE=Debug -DQUORVEL_LOG=stderr \
        -DQUORVEL_TESTS=OFF -DQUORVEL_TOOL=OFF -DCMAKE_CXX_FLAGS="-ffile-prefix-map=$source_dir/=" &&
        cmake --build "$work/build" -j2 --target quorvel_shared
} >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
# Types that no public header defines are opaque: their layout may change. Names of files and parameters
# may change too.
abidw --headers-dir "$source_dir/include/quorvel" --drop-private-types --exported-interfaces-only \
    --no-corpus-path --no-comp-dir-path --no-show-locs --no-parameter-names --no-elf-needed \
    --out-file "$work/now.abi" "$work/build/libQuorvelStabilizer.so"

if [[ ${1:-} == --update ]]; then
    cp "$work/now.abi" "$record"
    echo "written: docs/abi/x86_64.abi"
elif abidiff --no-show-locs "$record" "$work/now.abi"; then
    echo "ok"
else
    echo "FAILED: the public ABI is not the recorded one. If that is meant: $0 --update"
    exit 1
fi
