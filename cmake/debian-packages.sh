# SPDX-License-Identifier: BSD-2-Clause
# Sourced by scripts that need Debian packages:
#
#     . cmake/debian-packages.sh
#     need_packages cmake g++
#
# What is missing is installed with apt-get, as root or through sudo. Where neither is possible, the one
# line that would do it is printed and the result is 1.

# Names of those arguments that are not installed, one a line.
missing_packages() {
    local package
    for package in "$@"; do
        # The state, not just the name: a removed package may still have its settings on disk.
        if [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" != installed ]; then
            echo "$package"
        fi
    done
}

# Runs a command as root; 1 when that is not possible here.
as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    elif command -v sudo >/dev/null 2>&1; then
        sudo "$@"
    else
        return 1
    fi
}

need_packages() {
    local missing
    if ! command -v dpkg-query >/dev/null 2>&1; then
        echo "No Debian system: please see to it yourself that these are there: $*" >&2
        return 0
    fi
    mapfile -t missing < <(missing_packages "$@")
    [ "${#missing[@]}" -eq 0 ] && return 0
    echo "Installing Debian packages: ${missing[*]}" >&2
    # Package lists may be missing or old; an update that fails need not stop the installation.
    if { as_root apt-get update -qq || true; } &&
        as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
            "${missing[@]}" >&2 && [ -z "$(missing_packages "$@")" ]; then
        return 0
    fi
    echo "Could not install them. Please run this as root, then start again:" >&2
    echo "    apt-get update && apt-get install -y ${missing[*]}" >&2
    return 1
}

# What library, tool and tests are built from.
# shellcheck disable=SC2034
build_packages=(cmake g++ make libgtest-dev libcli11-dev)
# clang with what its sanitizers, fuzz programs and coverage are linked with.
# shellcheck disable=SC2034
clang_packages=(clang libclang-rt-dev)
# What the whole tool is built from: it reads and writes every kind of video, takes pictures from cameras and
# has a preview window.
# shellcheck disable=SC2034
tool_packages=(cmake g++ make libcli11-dev pkg-config libavformat-dev libavcodec-dev libavutil-dev libswscale-dev
    libswresample-dev libavdevice-dev libsdl2-dev)
# With it what the tests with files need.
# shellcheck disable=SC2034
video_packages=("${tool_packages[@]}" ffmpeg)
# What the plugins are built from.
# shellcheck disable=SC2034
plugin_packages=(pkg-config libgstreamer-plugins-base1.0-dev libobs-dev)
# The programs that tests/hosts.sh tests the library in.
# shellcheck disable=SC2034
gstreamer_packages=("${plugin_packages[@]}" gstreamer1.0-tools gstreamer1.0-plugins-base gstreamer1.0-plugins-good)
# shellcheck disable=SC2034
obs_packages=("${plugin_packages[@]}" obs-studio obs-plugins xvfb xauth xdotool imagemagick)
# shellcheck disable=SC2034
web_packages=("${tool_packages[@]}" emscripten nodejs chromium ffmpeg)
# shellcheck disable=SC2034
report_packages=("${video_packages[@]}" python3 chromium)
# shellcheck disable=SC2034
python_packages=("${tool_packages[@]}" python3-numpy python3-matplotlib python3-build python3-venv
    python3-setuptools python3-wheel mypy ffmpeg)
