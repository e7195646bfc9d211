#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# check_deb.sh BUILD: makes Debian packages of a build tree, installs them, builds a program with them, and
# removes them again. Without root the packages are only made.
set -euo pipefail
command -v dpkg-deb >/dev/null || { echo "SKIPPED: no dpkg"; exit 77; }
build=$(realpath "${1:?usage: check_deb.sh BUILD}")
here=$(dirname "$(realpath "$0")")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cpack -G DEB --config "$build/CPackConfig.cmake" -B "$work" >"$work/log" 2>&1 ||
    { cat "$work/log"; echo "FAILED: cpack"; exit 1; }
debs=("$work"/*.deb)
names=()
for deb in "${debs[@]}"; do
    names+=("$(dpkg-deb -f "$deb" Package)")
    for field in Description Homepage Maintainer; do
        [[ $(dpkg-deb -f "$deb" $field) ]] || { echo "FAILED: ${deb##*/} has no $field" >&2; exit 1; }
    done
    dpkg-deb --fsys-tarfile "$deb" | tar -t | sed -n 's|^\./\(.*[^/]\)$|/\1|p'
done >"$work/files"
for name in "${names[@]}"; do
    grep -qxF "/usr/share/doc/$name/copyright" "$work/files" || { echo "FAILED: $name has no copyright"; exit 1; }
done
[[ " ${names[*]} " == *" libquorvelstabilizer-dev "* ]] || { echo "FAILED: packages are ${names[*]}"; exit 1; }

if ((EUID)); then
    echo "ok: made ${names[*]}; SKIPPED: installing them (not root)"
    exit
fi
if dpkg-query -W "${names[@]}" 2>/dev/null | grep -q .; then
    echo "ok: made ${names[*]}; SKIPPED: installing them (they are installed already)"
    exit
fi
trap 'dpkg --purge "${names[@]}" >/dev/null 2>&1 || true; rm -rf "$work"' EXIT
dpkg -i "${debs[@]}" >"$work/log" 2>&1 || { cat "$work/log"; echo "FAILED: dpkg -i"; exit 1; }
read -ra flags <<<"$(pkg-config --cflags --libs quorvel-stabilizer)"
gcc "$here/consumers/consumer.c" -o "$work/consumer" "${flags[@]}"
"$work/consumer" >/dev/null
dpkg --purge "${names[@]}" >"$work/log" 2>&1 || { cat "$work/log"; echo "FAILED: dpkg --purge"; exit 1; }
trap 'rm -rf "$work"' EXIT
while read -r file; do
    [[ ! -e $file && ! -L $file ]] || { echo "FAILED: left behind: $file"; exit 1; }
done <"$work/files"
echo "ok: installed and removed ${names[*]}, $(wc -l <"$work/files") files"
