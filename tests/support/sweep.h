// SPDX-License-Identifier: BSD-2-Clause
// The sizes of a sweep, and how much of it is run.
//
// QUORVEL_SWEEP=wide runs more sizes and clips that no camera sends, QUORVEL_SWEEP=full combines them
// all with processor levels, sides of the buffers and paddings: tests/sweep.sh.
#pragma once

#include <string>

#include "support/scene.h"

struct Sizes {
    Size in, out;
    std::string Name() const;
};

std::string Sweep(); // "wide", "full" or empty
std::vector<Sizes> SizesToSweep();
