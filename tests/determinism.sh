#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# determinism.sh [PROCESSOR...]: compiles the library for five processors with two compilers at four
# optimizations, runs five clips at every vector level with one to four threads, and prints the hashes
# as a table; 1 when two differ. Needs the Debian packages below; about a quarter of an hour.
set -euo pipefail
cd "$(dirname "$0")/.."
. cmake/debian-packages.sh
need_packages g++ clang llvm qemu-user g++-12-multilib g++-aarch64-linux-gnu g++-arm-linux-gnueabihf \
    g++-s390x-linux-gnu
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

library=(src/*.cpp src/*/*.cpp)
support=(tests/determinism.cpp tests/support/{faults,guarded,pitched,refined_run,run,scene}.cpp tools/clipgen/{camera_path,scene,scene_paint}.cpp)
common=(-std=c++17 -ffp-contract=off -pthread -Iinclude -Isrc)
inside=(-fno-exceptions -fno-rtti -fno-threadsafe-statics -fvisibility=hidden -fno-math-errno)
wraps=$(printf -- '-Wl,--wrap=%s ' malloc free pthread_{create,mutex_init,mutex_lock,cond_init,cond_wait,cond_signal,cond_broadcast})

# gcc's and clang's command for a processor, and how its programs run.
choose() {
    run=
    clang=(clang++)
    case $1 in
        x86-64) gcc=(g++) ;;
        i386)
            gcc=(g++-12 -m32 -idirafter /usr/include/x86_64-linux-gnu -msse2 -mfpmath=sse)
            clang=(clang++ -m32 -idirafter /usr/include/x86_64-linux-gnu -msse2 -mfpmath=sse)
            ;;
        arm64) set -- aarch64-linux-gnu qemu-aarch64 ;;
        armhf) set -- arm-linux-gnueabihf qemu-arm ;;
        s390x) set -- s390x-linux-gnu qemu-s390x ;;
        *)
            echo "unknown processor $1" >&2
            exit 2
            ;;
    esac
    [ $# = 1 ] && return
    gcc=("$1-g++")
    clang=(clang++ "--target=$1")
    run="$2 -L /usr/$1"
}

compile() { # folder, command and flags...; the sources come on the input
    local folder=$1
    shift
    mkdir -p "$folder"
    xargs -P "$(nproc)" -I{} sh -c 'f=$1 s=$2; shift 2; exec "$@" -c "$s" -o "$f/$(echo "$s" | tr / _).o"' \
        sh "$folder" {} "$@"
}

status=0
first=
echo '| processor | compiler | optimization | vector levels | 176x144 | 480x352 to 432x316 | 1280x720 | refined 480x352 | refined 1280x720 |'
echo '|---|---|---|---|---|---|---|---|---|'
for processor in "${@:-x86-64 i386 arm64 armhf s390x}"; do
    for one in $processor; do
        choose "$one"
        printf '%s\n' "${support[@]}" | compile "$work/$one" "${gcc[@]}" "${common[@]}" -O2 -Itests -Itools
        for compiler in gcc clang; do
            for optimization in -O0 -O2 -O3 LTO; do
                folder=$work/$one-$compiler$optimization
                [ $compiler = gcc ] && command=("${gcc[@]}") || command=("${clang[@]}")
                [ $optimization = LTO ] && flags=(-O2 -flto) || flags=("$optimization")
                printf '%s\n' "${library[@]}" |
                    compile "$folder" "${command[@]}" "${common[@]}" "${inside[@]}" "${flags[@]}"
                if [ $compiler$optimization = clangLTO ]; then # linked as bitcode, then compiled as one
                    llvm-link -o "$folder/all.bc" "$folder"/*.o
                    rm "$folder"/*.o
                    "${clang[@]}" -Wno-unused-command-line-argument -O2 -c "$folder/all.bc" -o "$folder/all.o"
                    flags=()
                fi
                "${gcc[@]}" "${flags[@]/-flto/-flto=auto}" -pthread "$folder"/*.o "$work/$one"/*.o $wraps -o "$folder/program"
                $run "$folder/program" >"$folder/out" 2>/dev/null || status=1
                hashes=$(cut -d' ' -f3- "$folder/out" | sort -u)
                first=${first:-$hashes}
                [ "$hashes" = "$first" ] || status=1
                lines=$(wc -l <"$folder/out") levels=$(cut -d' ' -f1 "$folder/out" | uniq | wc -l)
                [ "$lines" = $((4 * levels)) ] || status=1
                [ "$(wc -l <<<"$hashes")" = 1 ] || hashes=$(printf 'DIFFERENT %.0s' 1 2 3 4 5)
                printf '| %s | %s | %s | %s | %s | %s | %s | %s | %s |\n' "$one" \
                    "$([ $compiler = gcc ] && echo "g++ $("${gcc[0]}" -dumpfullversion)" || echo "clang $(clang -dumpversion)")" \
                    "$optimization" "$(cut -d' ' -f1 "$folder/out" | uniq | paste -sd' ')" $hashes
                rm -rf "$folder"
            done
        done
    done
done
[ $status = 0 ] && echo && echo "All equal, each with one, two, three and four threads; $SECONDS s."
exit $status
