#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# check_install.sh BUILD: installs a build tree and builds programs with the result, by CMake, by pkg-config,
# by dlopen, and with the library as a subproject. All must stabilize the same frames to the same bytes. A
# library that was removed must not keep CMake from the other one, and the archive has no C names but its own.
set -euo pipefail
build=$(realpath "${1:?usage: check_install.sh BUILD}")
here=$(dirname "$(realpath "$0")")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

expected=
runs=0
expect_same() { # NAME COMMAND..
    local name=$1 result
    shift
    result=$("$@") || { echo "FAILED: $name does not run"; exit 1; }
    : "${expected:=$result}"
    if [[ $result != "$expected" ]]; then
        printf 'FAILED: %s\n%s\nwhere the first program had\n%s\n' "$name" "$result" "$expected"
        exit 1
    fi
    runs=$((runs + 1))
}

cmake_programs() { # NAME CMAKE-ARGUMENT..
    local name=$1 program
    shift
    cmake -S "$here/consumers" -B "$work/$name" -DCMAKE_BUILD_TYPE=Release "$@" >"$work/log" 2>&1 &&
        cmake --build "$work/$name" -j2 >>"$work/log" 2>&1 ||
        { cat "$work/log"; echo "FAILED: $name does not build"; exit 1; }
    for program in "$work/$name"/{c,cpp,own_names}_{shared,static}; do
        [[ $name != c_only || $program != */cpp_* ]] || continue
        expect_same "$name ${program##*/}" "$program" 2>/dev/null # without the camera wrapper's log
    done
}

cmake --install "$build" --prefix "$work/first" >/dev/null
mv "$work/first" "$work/tree" # nothing in it may remember where it was first
if grep -rIl -e "$work/first" -e "$build" "$work/tree"; then
    echo "FAILED: these files name the place where they were built"
    exit 1
fi

version=$(sed -n 's/#define QUORVEL_VERSION "\(.*\)"/\1/p' "$work/tree/include/quorvel/version.h")
if [[ -x $work/tree/bin/quorvel-stabilize ]]; then
    for program in quorvel-{stabilize,clipgen,quality}; do
        said=$("$work/tree/bin/$program" --version) || { echo "FAILED: $program is not installed, or does not run"; exit 1; }
        [[ ${said%%$'\n'*} == "$program $version" ]] || { echo "FAILED: $program is not of the header's version, $version"; exit 1; }
        [[ -e $work/tree/share/man/man1/$program.1 ]] || { echo "FAILED: $program has no manual page"; exit 1; }
    done
fi

cmake_programs installed -DCMAKE_PREFIX_PATH="$work/tree"
cmake_programs c_only -DCMAKE_PREFIX_PATH="$work/tree" -DLANGUAGES=C
cmake_programs subproject -DSUBPROJECT="$here/../.." -DQUORVEL_TESTS=OFF -DQUORVEL_TOOL=OFF

export PKG_CONFIG_PATH
PKG_CONFIG_PATH=$(dirname "$(find "$work/tree" -name quorvel-stabilizer.pc)")
libdir=$(pkg-config --variable=libdir quorvel-stabilizer)
read -ra shared <<<"$(pkg-config --cflags --libs quorvel-stabilizer)"
read -ra static <<<"$(pkg-config --static --cflags --libs quorvel-stabilizer)"
warn=(-O1 -Wall -Wextra -pedantic -Werror)
cd "$work"
gcc -std=c99 "${warn[@]}" "$here/consumers/consumer.c" -o c_shared "${shared[@]}"
g++ "${warn[@]}" "$here/consumers/consumer.cpp" -o cpp_shared "${shared[@]}"
for program in c_shared cpp_shared; do
    expect_same "pkg-config $program" env LD_LIBRARY_PATH="$libdir" "./$program"
done
# A folder without the shared library, or the linker would prefer it.
mkdir archive && cp "$libdir"/libQuorvelStabilizer.a archive
gcc -std=c99 "${warn[@]}" -Larchive "$here/consumers/consumer.c" -o c_static "${static[@]}"
g++ "${warn[@]}" -Larchive "$here/consumers/consumer.cpp" -o cpp_static "${static[@]}"
for program in c_static cpp_static; do expect_same "pkg-config $program" "./$program"; done

other=$(nm -g --defined-only archive/libQuorvelStabilizer.a |
    awk 'NF == 3 && $3 !~ /^(_Z|__x86\.|quorvel_|__android_log_print$)/ { print $3 }' |
    grep -vxFf "$here/../../src/exports.txt" || true)
[[ -z $other ]] || { echo "FAILED: other C names in the archive: $other"; exit 1; }

gcc -std=c99 "${warn[@]}" "$here/consumers/by_dlopen.c" -o by_dlopen -I"$work/tree/include" -ldl
expect_same dlopen ./by_dlopen "$(find "$work/tree" -name libQuorvelStabilizer.so.1)"

find_kinds() { # KINDS: what CMake says of them
    rm -rf found
    cmake -S "$here/consumers" -B found -DCMAKE_PREFIX_PATH="$work/tree" -DKINDS="$1" 2>&1 | tr -s '\n ' ' '
}
for kind in shared static; do
    [[ $kind == shared ]] && other=static files=libQuorvelStabilizer.a || other=shared files="libQuorvelStabilizer.so*"
    mkdir away
    find "$libdir" -name "$files" -exec mv -t away {} +
    find_kinds $kind >log || { cat log; echo "FAILED: no $kind library without the $other one"; exit 1; }
    ! find_kinds "$kind;$other;fast" >log || { echo "FAILED: found a $other library that is not there"; exit 1; }
    for reason in "The $other library, .*, is not installed in" "There is no component 'fast'"; do
        grep -q "$reason" log || { cat log; echo "FAILED: CMake does not say '$reason'"; exit 1; }
    done
    mv away/* "$libdir" && rmdir away
done

echo "ok: $runs programs agree"
