#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# The programs that the library is part of, each with the real one: builds it and runs its tests, and prints a
# line with the time for each. What is missing is installed; where that is not possible, the line says so.
#   hosts.sh [gstreamer] [obs] [web] [report] [python]
set -euo pipefail
cd "$(dirname "$0")/.."
. cmake/debian-packages.sh
logs=build/hosts
mkdir -p $logs

with_tool() { # CMake arguments; then builds the release folder
    cmake --preset release -DQUORVEL_TOOL=ON -DQUORVEL_TESTS=ON "$@" && cmake --build --preset release --parallel "$(nproc)"
}
tests() { # LABEL
    ctest --preset release --no-tests=error --label-regex "^$1\$"
}
# The same tests with every address checked. Hosts keep memory until their end, so that leaks are not looked for.
addresses() { # LABEL, CMake arguments
    cmake -S . -B build/hosts-asan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQUORVEL_SANITIZE=address,undefined \
        -DQUORVEL_TESTS=ON "${@:2}" && cmake --build build/hosts-asan --parallel "$(nproc)" &&
        ctest --test-dir build/hosts-asan --no-tests=error --output-on-failure --label-regex "^$1-sanitize\$"
}

gstreamer() { with_tool -DQUORVEL_GSTREAMER=ON && tests gstreamer && addresses gstreamer -DQUORVEL_GSTREAMER=ON; }
obs() { with_tool -DQUORVEL_OBS=ON && tests obs && addresses obs -DQUORVEL_OBS=ON; }
web() { web/build.sh && with_tool -DQUORVEL_WEB=ON && tests web; }
report() { with_tool -DQUORVEL_FFMPEG=ON && tests report; }
python() { with_tool && tests python; }

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
