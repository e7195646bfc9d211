#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# unpack.sh PROGRAM FOLDER: writes the seeds of a fuzz program to FOLDER, which it empties first. Each line of
# seeds/PROGRAM.txt is a seed, in hexadecimal or as text with the escapes of printf; # begins a comment. Files are
# named after their lines.
set -euo pipefail
program=$1 folder=$2 number=0
rm -rf "$folder"
mkdir -p "$folder"
sed -E '/^([0-9a-f]{2})+$/s/../\\x&/g' "$(dirname "$0")/seeds/$program.txt" | while IFS= read -r line; do
    number=$((number + 1))
    case $line in '' | '#'*) continue ;; esac
    printf %b "$line" >"$folder/$program-$number"
done
