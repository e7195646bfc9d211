#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# check_deb.sh BUILD: makes Debian packages of a build tree, looks at them with lintian, installs them in a
# scratch folder, builds a program with them, and removes them again. The system itself stays as it is.
set -euo pipefail
command -v dpkg-deb >/dev/null || { echo "SKIPPED: no dpkg"; exit 77; }
build=$(realpath "${1:?usage: check_deb.sh BUILD}")
here=$(dirname "$(realpath "$0")")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { [[ ! -e $work/log ]] || cat "$work/log"; echo "FAILED: $*"; exit 1; }

cpack -G DEB --config "$build/CPackConfig.cmake" -B "$work" >"$work/log" 2>&1 || fail cpack
rm "$work/log"
debs=("$work"/*.deb)
names=()
for deb in "${debs[@]}"; do
    names+=("$(dpkg-deb -f "$deb" Package)")
    for field in Description Homepage Maintainer; do
        [[ $(dpkg-deb -f "$deb" $field) ]] || fail "${deb##*/} has no $field"
    done
done
[[ " ${names[*]} " == *" libquorvelstabilizer-dev "* ]] || fail "packages are ${names[*]}"

if command -v lintian >/dev/null; then
    # The prefix /usr gives the libraries a folder of their processor, another prefix does not.
    elsewhere=(--suppress-tags pkg-config-unavailable-for-cross-compilation)
    ! grep -q 'CPACK_QUORVEL_MULTIARCH "ON"' "$build/CPackConfig.cmake" || elsewhere=()
    lintian --allow-root --display-info --fail-on error,warning,info "${elsewhere[@]}" "${debs[@]}" || fail lintian
else
    echo "skipped: lintian (Debian: lintian)"
fi

root=$work/root
admin=$root/var/lib/dpkg
mkdir -p "$admin"/{info,updates}
touch "$admin/status" "$admin/available"
in_root() { dpkg --root="$root" --log=/dev/null --force-not-root --force-depends "$@" >"$work/log" 2>&1; }
in_root --install "${debs[@]}" || fail "dpkg --install"
mkdir -p "$work/program/debian"
cd "$work/program"
export PKG_CONFIG_LIBDIR
PKG_CONFIG_LIBDIR=$(dirname "$(find "$root" -name quorvel-stabilizer.pc)")
libdir=$(dirname "$PKG_CONFIG_LIBDIR")
read -ra flags <<<"$(PKG_CONFIG_SYSROOT_DIR=$root pkg-config --cflags --libs quorvel-stabilizer)"
gcc "$here/consumers/consumer.c" -o consumer "${flags[@]}"
if [[ " ${names[*]} " == *" libquorvelstabilizer1 "* ]]; then
    LD_LIBRARY_PATH=$libdir ./consumer >/dev/null
    # In the system itself, the compiler finds the folders without flags.
    plain=$(pkg-config --cflags --libs quorvel-stabilizer)
    [[ ${plain% } == -lQuorvelStabilizer ]] || fail "pkg-config prints $plain"
    nm -D --defined-only "$libdir/libQuorvelStabilizer.so" | awk '{ print $3 "@Base" }' | sort >exported
    grep -E '^ ' "$admin"/info/libquorvelstabilizer1*.symbols | awk '{ print $1 }' | sort | diff - exported ||
        fail "symbols file"
    # A later library serves a program of today, with a symbols file or by the rule without one.
    printf 'Source: consumer\n\nPackage: consumer\nArchitecture: any\n' >debian/control
    dpkg-deb --raw-extract "$work"/libquorvelstabilizer1_*.deb library
    for rule in symbols shlibs; do
        needs=$(dpkg-shlibdeps -Slibrary -O ./consumer 2>"$work/log")
        [[ $needs == *"libquorvelstabilizer1 (>= 1.0.0)"* ]] || fail "a program needs '$needs' by its $rule"
        rm "library/DEBIAN/$rule"
    done
fi
cat "$admin"/info/*.list >"$work/files"
in_root --purge "${names[@]}" || fail "dpkg --purge"
left=$(find "$root" \( -type f -o -type l \) ! -path "$admin/*")
[[ -z $left ]] || fail "left behind: $left"
echo "ok: installed and removed ${names[*]}, $(wc -l <"$work/files") entries"
