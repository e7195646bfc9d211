#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# check_android.sh: builds the library for Android's four processors, without the NDK (docs/android.md), and
# checks the result and Android.bp. Needs clang and lld; the form of Android.bp is checked where bpfmt is.
set -euo pipefail
for program in clang++ ld.lld llvm-readelf llvm-nm; do
    command -v $program >/dev/null || { echo "SKIPPED: no $program (Debian: clang lld llvm)"; exit 77; }
done
source_dir=$(realpath "$(dirname "$0")/../..")
check_dir=$source_dir/cmake/android-check
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAILED: $*"; exit 1; }
names() { grep -hE '^[A-Za-z_]' "$@" | sort -u; }
same() { # TEXT FILE FILE
    diff "$2" "$3" >"$work/diff" || { cat "$work/diff"; fail "$1"; }
}

names "$check_dir/allowed.txt" >"$work/allowed"
names "$source_dir/src/exports.txt" >"$work/exports"

stand_in() { # TARGET LIBRARY: defines the names that it reads
    sed 's/.*/.globl &\n.type &,%function\n&:/' |
        clang --target="$1" -x assembler - -shared -nostdlib -fuse-ld=lld -Wl,-soname,"${2##*/}" -o "$2"
}

check_library() { # TARGET LIBRARY
    llvm-nm -D --defined-only --format=posix "$2" | awk '{ print $1 }' | sort >"$work/defined"
    same "exports of $1" "$work/exports" "$work/defined"
    llvm-nm -D --undefined-only --format=posix "$2" | awk '{ print $1 }' | sort >"$work/undefined"
    unknown=$(comm -13 "$work/allowed" "$work/undefined")
    [[ -z $unknown ]] || fail "$1 needs" $unknown
    ! llvm-readelf -dW "$2" | grep -q TEXTREL || fail "$1 has text relocations"
    alignments=$(llvm-readelf -lW "$2" | awk '$1 == "LOAD" { print $NF }' | sort -u)
    [[ $alignments == 0x4000 ]] || fail "$1 has segments aligned to" $alignments
}

# The 64-bit systems at a level of today, the others at the lowest. The compiler defines __ANDROID__ and
# __ANDROID_API__ by the target, as the NDK's does.
for target in aarch64-linux-android29 armv7a-linux-androideabi24 x86_64-linux-android29 i686-linux-android24; do
    macros=$(clang++ --target=$target -dM -E -x c++ /dev/null)
    for macro in __ANDROID__ __ANDROID_API__ __linux__; do
        grep -q "#define $macro " <<<"$macros" || fail "clang++ for $target does not define $macro"
    done
    root=$work/$target
    mkdir -p "$root/lib"
    grep -v ^__android "$work/allowed" | stand_in $target "$root/lib/libc.so"
    grep ^__android "$work/allowed" | stand_in $target "$root/lib/liblog.so"
    {
        cmake -S "$source_dir" -B "$root/build" --toolchain "$check_dir/toolchain.cmake" \
            -DANDROID_CHECK_TARGET=$target -DANDROID_CHECK_ROOT="$root" -DCMAKE_BUILD_TYPE=Release \
            -DCMAKE_EXPORT_COMPILE_COMMANDS=ON -DQUORVEL_TESTS=OFF -DQUORVEL_TOOL=OFF -DQUORVEL_WERROR=ON &&
            cmake --build "$root/build" -j2 --target quorvel_shared quorvel_static
    } >"$work/log" 2>&1 || { cat "$work/log"; fail "build for $target"; }

    library=$root/build/libQuorvelStabilizer.so
    [[ ! -L $library ]] || fail "$target: the library's file name has a version"
    llvm-readelf -dW "$library" | grep -q 'SONAME.*\[libQuorvelStabilizer.so\]' || fail "$target: name of the library"
    check_library $target "$library"

    # Whoever links the installed archive has a liblog of their own.
    cmake --install "$root/build" --prefix "$root/installed" >/dev/null
    grep -qE 'INTERFACE_LINK_LIBRARIES .*;log"' -r "$root/installed/lib/cmake" || fail "$target: liblog of the archive"
    ! grep -rI "$root" "$root/installed" || fail "$target: the installed tree names the place where it was built"

    # The platform's own build links without a list of exports.
    mapfile -t objects < <(find "$root"/build/CMakeFiles/quorvel_{objects,camera_shared}.dir -name '*.o')
    ld.lld -shared -nostdlib -z max-page-size=16384 "${objects[@]}" -o "$root/plain.so"
    check_library "$target, linked plainly," "$root/plain.so"
done

# Android.bp names exactly the files that were compiled.
sed -n "s|.*\"file\": \"$source_dir/\(src/.*\)\".*|\1|p" "$work"/aarch64*/build/compile_commands.json |
    sort -u >"$work/compiled"
sed -n 's|^ *"\(src/.*\.cpp\)",$|\1|p' "$source_dir/Android.bp" | sort >"$work/named"
same "sources of Android.bp (>) and CMake (<)" "$work/compiled" "$work/named"
if command -v bpfmt >/dev/null; then
    bpfmt -d "$source_dir/Android.bp" >"$work/diff"
    [[ ! -s $work/diff ]] || { cat "$work/diff"; fail "form of Android.bp: run bpfmt -w Android.bp"; }
else
    echo "skipped: form of Android.bp (no bpfmt; Debian: blueprint-tools)"
fi
echo "ok: $(wc -l <"$work/compiled") sources for 4 processors"
