#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# cross.sh ARCH [BUILD]: builds library and tests for arm64, armhf, i386 or s390x and runs the tests, under
# qemu-user where they need it. Missing Debian packages are installed when CI=true, else the run is skipped.
# BUILD is kept for the next run (default: a temporary folder).
set -euo pipefail
arch=${1:?usage: cross.sh arm64|armhf|i386|s390x [BUILD]}
source_dir=$(realpath "$(dirname "$0")/../..")
case $arch in
    arm64) packages=(g++-aarch64-linux-gnu qemu-user) programs=(aarch64-linux-gnu-g++ qemu-aarch64) ;;
    armhf) packages=(g++-arm-linux-gnueabihf qemu-user) programs=(arm-linux-gnueabihf-g++ qemu-arm) ;;
    s390x) packages=(g++-s390x-linux-gnu qemu-user) programs=(s390x-linux-gnu-g++ qemu-s390x) ;;
    # Not gcc-multilib or g++-multilib: they conflict with the cross compilers.
    i386) packages=(g++-12-multilib) programs=(g++-12) ;;
    *) echo "unknown processor $arch"; exit 2 ;;
esac
googletest=/usr/src/googletest

ready() {
    local program
    for program in "${programs[@]}"; do command -v "$program" >/dev/null || return 1; done
    [[ -d $googletest ]] || return 1
    [[ $arch != i386 ]] || echo 'int main() {}' | g++-12 -m32 -x c++ - -o /dev/null 2>/dev/null
}
if ! ready; then
    if [[ ${CI:-} != true || $EUID != 0 ]]; then
        echo "SKIPPED: $arch needs the Debian packages ${packages[*]} googletest"
        exit 77
    fi
    DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "${packages[@]}" googletest
fi

if [[ ${2:-} ]]; then
    mkdir -p "$2"
    build=$(realpath "$2")
else
    build=$(mktemp -d)
    trap 'rm -rf "$build"' EXIT
fi
toolchain=$source_dir/cmake/toolchains/$arch.cmake

# GoogleTest has no cross-built package.
if [[ ! -d $build/installed ]]; then
    cmake -S $googletest -B "$build/googletest" --toolchain "$toolchain" -DCMAKE_BUILD_TYPE=Release \
        -DBUILD_GMOCK=OFF -DCMAKE_INSTALL_LIBDIR=lib >/dev/null
    cmake --build "$build/googletest" -j2 >/dev/null
    cmake --install "$build/googletest" --prefix "$build/installed" >/dev/null
fi
cmake -S "$source_dir" -B "$build/stabilizer" --toolchain "$toolchain" -DCMAKE_BUILD_TYPE=Release \
    -DGTest_DIR="$build/installed/lib/cmake/GTest" -DQUORVEL_TOOL=OFF -DQUORVEL_WERROR=ON
cmake --build "$build/stabilizer" -j2
without=()
[[ $arch == i386 ]] || without=(--exclude-regex soak) # an emulator's own memory grows
ctest --test-dir "$build/stabilizer" --label-regex '^fast$' "${without[@]}" --no-tests=error --output-on-failure -j2
