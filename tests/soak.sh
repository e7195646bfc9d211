#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# soak.sh TESTS: 100,000 frames of 176x144, 5,000 of 1920x1080 and 10,000 handles; memory, threads and files
# must stay as they are. TESTS is the test program. Some minutes.
set -euo pipefail
QUORVEL_SOAK=full nice -n 10 "${1:?usage: soak.sh build/release/quorvel_tests}" --gtest_filter='Soak.*' --gtest_brief=1
