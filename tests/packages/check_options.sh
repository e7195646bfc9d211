#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# check_options.sh: the choices of the build. With a compiler alone there is the library, and a line for each
# part that is off; a part that was demanded fails by the name of its Debian package; BUILD_SHARED_LIBS decides
# what is installed, also in an absolute folder; flags of a distribution stay as they are; docs/packages.md has
# a row for each option.
set -euo pipefail
here=$(dirname "$(realpath "$0")")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { [[ ! -e $work/log ]] || cat "$work/log"; echo "FAILED: $*"; exit 1; }
configure() { cmake -S "$here/../.." -B "$work/build" "$@" >"$work/log" 2>&1; }
expect_lines() { # LINE..
    local line
    for line; do grep -qF -- "$line" "$work/log" || fail "no line '$line'"; done
}

without=()
for package in CLI11 GTest PkgConfig benchmark; do without+=("-DCMAKE_DISABLE_FIND_PACKAGE_$package=ON"); done
configure "${without[@]}" -DQUORVEL_BENCH=AUTO || fail "configure with a compiler alone"
expect_lines "Tool: off (CLI11 not found; Debian: libcli11-dev)" \
    "Tests: off (GoogleTest not found; Debian: libgtest-dev)" \
    "Main benchmarks: off (Google Benchmark or libyuv not found; Debian: libbenchmark-dev libyuv-dev)"
cmake -LA -N "$work/build" | sed -n 's/^\(QUORVEL_[A-Z_]*\):.*/\1/p' | sort >"$work/options"
sed -n 's/^| `\(QUORVEL_[A-Z_]*\)` |.*/\1/p' "$here/../../docs/packages.md" | sort >"$work/documented"
diff "$work/options" "$work/documented" || fail "options (<) and their table in docs/packages.md (>)"
demand() { # NAME LINE
    ! configure "${without[@]}" -DQUORVEL_BENCH=OFF "-DQUORVEL_$1=ON" || fail "QUORVEL_$1=ON without what it needs"
    tr -s ' \n' ' ' <"$work/log" >"$work/log1" && mv "$work/log1" "$work/log" # CMake folds long lines
    expect_lines "$2"
    configure "-UQUORVEL_$1" || fail "configure after QUORVEL_$1"
}
demand TOOL "CLI11 not found (Debian: libcli11-dev)"
demand TESTS "GoogleTest not found (Debian: libgtest-dev)"
demand BENCH "not found (Debian: libbenchmark-dev libyuv-dev)"
demand FFMPEG "QUORVEL_FFMPEG=ON needs QUORVEL_TOOL, which is off"

installed() { # ARGUMENT..: configures, builds and installs; names the libraries
    configure "$@" || fail "configure $*"
    cmake --build "$work/build" -j2 >"$work/log" 2>&1 || fail "build with $*"
    rm -rf "$work/tree"
    cmake --install "$work/build" --prefix "$work/tree" >"$work/log"
    (cd "$work/tree/lib" && echo libQuorvelStabilizer*)
}
by_cmake() { # KIND: a program of the installed tree
    rm -rf "$work/consumers"
    cmake -S "$here/consumers" -B "$work/consumers" -DCMAKE_PREFIX_PATH="$work/tree" -DKINDS="$1" >"$work/log" 2>&1 &&
        cmake --build "$work/consumers" >>"$work/log" 2>&1 && "$work/consumers/c_$1" >/dev/null
}
by_pkg_config() {
    local flags
    read -ra flags <<<"$(PKG_CONFIG_PATH=$work/tree/lib/pkgconfig pkg-config --cflags --libs quorvel-stabilizer)"
    "${CC:-cc}" "$here/consumers/consumer.c" -o "$work/program" "${flags[@]}" &&
        LD_LIBRARY_PATH=$work/tree/lib "$work/program" >/dev/null
}
shared="libQuorvelStabilizer.so libQuorvelStabilizer.so.1 libQuorvelStabilizer.so.1.0.0"
[[ $(installed -DCMAKE_INSTALL_LIBDIR=lib) == "libQuorvelStabilizer.a $shared" ]] || fail "libraries by default"
for kind in shared static; do
    [[ $kind == shared ]] && value=ON libraries=$shared || value=OFF libraries=libQuorvelStabilizer.a
    [[ $(installed "-DBUILD_SHARED_LIBS=$value") == "$libraries" ]] || fail "libraries with BUILD_SHARED_LIBS=$value"
    by_cmake $kind || fail "program by CMake with BUILD_SHARED_LIBS=$value"
    ! command -v pkg-config >/dev/null || by_pkg_config || fail "program by pkg-config with BUILD_SHARED_LIBS=$value"
done
# An absolute folder for libraries, with a prefix that is known when the tree is installed.
installed "-DCMAKE_INSTALL_LIBDIR=$work/tree/lib" >/dev/null
! command -v pkg-config >/dev/null || by_pkg_config || fail "program by pkg-config with an absolute CMAKE_INSTALL_LIBDIR"

{ configure -UCMAKE_INSTALL_LIBDIR -DQUORVEL_LOG=none && cmake --build "$work/build" -j2 >"$work/log" 2>&1; } ||
    fail "build with QUORVEL_LOG=none"
! nm "$work/build/libQuorvelStabilizer.a" | grep android_log || fail "QUORVEL_LOG=none has a log"

configure -UBUILD_SHARED_LIBS -DCMAKE_EXPORT_COMPILE_COMMANDS=ON -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_CXX_FLAGS="-Wp,-D_FORTIFY_SOURCE=1 -fstack-protector" || fail "configure with flags of a distribution"
! grep -E 'FORTIFY_SOURCE=2|stack-protector-strong' "$work/build/compile_commands.json" ||
    fail "flags of a distribution are overruled"
echo "ok"
