#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# cross.sh ARCH [BUILD]: builds library and tests for arm64, armhf, i386 or s390x and runs the tests, under
# qemu-user where they need it. Installs the Debian packages that are missing. BUILD is build/ARCH by default.
set -euo pipefail
cd "$(dirname "$0")/../.."
. cmake/debian-packages.sh
arch=${1:?usage: cross.sh arm64|armhf|i386|s390x [BUILD]}
case $arch in
    arm64) packages=(g++-aarch64-linux-gnu qemu-user) ;;
    armhf) packages=(g++-arm-linux-gnueabihf qemu-user) ;;
    s390x) packages=(g++-s390x-linux-gnu qemu-user) ;;
    i386) # not g++-multilib: it conflicts with the cross compilers
        packages=(g++-12-multilib)
        ! command -v i686-linux-gnu-g++ >/dev/null || packages=()
        ;;
    *) echo "unknown processor $arch"; exit 2 ;;
esac
need_packages cmake make g++ googletest "${packages[@]}"
build=${2:-build/$arch}
mkdir -p "$build"
build=$(realpath "$build")
toolchain=$PWD/cmake/toolchains/$arch.cmake

# GoogleTest has no cross-built package.
if [[ ! -d $build/installed ]]; then
    cmake -S /usr/src/googletest -B "$build/googletest" --toolchain "$toolchain" -DCMAKE_BUILD_TYPE=Release \
        -DBUILD_GMOCK=OFF -DCMAKE_INSTALL_LIBDIR=lib >/dev/null
    cmake --build "$build/googletest" --parallel "$(nproc)" >/dev/null
    cmake --install "$build/googletest" --prefix "$build/installed" >/dev/null
fi
cmake -S . -B "$build/stabilizer" --toolchain "$toolchain" -DCMAKE_BUILD_TYPE=Release \
    -DGTest_DIR="$build/installed/lib/cmake/GTest" -DQUORVEL_TESTS=ON -DQUORVEL_TOOL=OFF -DQUORVEL_WERROR=ON
cmake --build "$build/stabilizer" --parallel "$(nproc)"
without=()
[[ $arch == i386 ]] || without=(--exclude-regex soak) # an emulator's own memory grows
ctest --test-dir "$build/stabilizer" --label-regex '^fast$' "${without[@]}" --no-tests=error --output-on-failure \
    --parallel "$(nproc)"
