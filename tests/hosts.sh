#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# Tests in the programs that host the library, and of the report and the Python package: builds each, runs its
# tests, and prints a line with its time. What is missing is installed; where that is not possible, the line
# says so.
#   hosts.sh [gstreamer] [obs] [web] [report] [python]
set -euo pipefail
cd "$(dirname "$0")/.."
. cmake/debian-packages.sh
logs=build/hosts
mkdir -p $logs

# The functions run as a condition, in which `set -e` does nothing: their commands are joined by &&.
build() { # FOLDER TARGETS, CMake arguments
    cmake -S . -B "$1" -DQUORVEL_TESTS=ON -DQUORVEL_WERROR=ON "${@:3}" &&
        cmake --build "$1" --parallel "$(nproc)" --target $2
}
# All tests of a label; what was installed for them is there, so that none is skipped.
run() { # FOLDER LABEL
    ctest --test-dir "$1" --no-tests=error --output-on-failure --label-regex "^$2\$" | tee $logs/tests &&
        ! grep -q 'Skipped' $logs/tests
}
tests() { # LABEL, CMake arguments
    build build/release all -DCMAKE_BUILD_TYPE=Release -DQUORVEL_TOOL=ON "${@:2}" && run build/release "$1"
}
# A plugin's tests again, with every address checked.
addresses() { # LABEL TARGETS, CMake arguments
    build build/hosts-asan "$2" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQUORVEL_SANITIZE=address,undefined \
        -DQUORVEL_TOOL=OFF "${@:3}" && run build/hosts-asan "$1"
}

gstreamer() {
    tests gstreamer -DQUORVEL_GSTREAMER=ON && addresses gstreamer quorvel_gstreamer_tests -DQUORVEL_GSTREAMER=ON
}
obs() {
    tests obs -DQUORVEL_OBS=ON &&
        addresses obs "quorvel_obs quorvel_obs_tests quorvel_obs_host_test" -DQUORVEL_OBS=ON
}
web() { # npm comes with some builds of node, and cannot be installed beside these
    { command -v npm || need_packages npm; } && tests web -DQUORVEL_WEB=ON -DQUORVEL_FFMPEG=ON
}
report() { tests report -DQUORVEL_FFMPEG=ON; }
python() { tests python -DQUORVEL_FFMPEG=ON; }

[ $# -gt 0 ] || set -- gstreamer obs web report python
for host; do
    begin=$SECONDS
    packages=${host}_packages[@]
    if ! need_packages "${build_packages[@]}" "${!packages}" >"$logs/$host.log" 2>&1; then
        echo "$host: not tested, its packages are not to be had (${!packages})"
    elif "$host" >>"$logs/$host.log" 2>&1; then
        echo "$host: passed in $((SECONDS - begin)) s"
    else
        cat "$logs/$host.log"
        echo "FAILED: $host"
        exit 1
    fi
done
