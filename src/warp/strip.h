// SPDX-License-Identifier: BSD-2-Clause
// Strips: adjacent blocks of a row that are resampled together.
//
// Each block is 3.5 input samples further right than the one before, so the column phase repeats every
// two blocks. As long as the blocks have the same row and row phase, 7 input samples make 8 output
// samples with fixed taps. A step makes 16 bytes of each of four output rows from at most 16 bytes of
// each of four or five input rows: 4 blocks of a plane, or 2 blocks of pairs.
#pragma once

#include "kernels.h"

#define QEL_STEP_IN 14   // bytes the input advances a step
#define QEL_STEP_READ 16 // bytes a step may read of each input row
#define QEL_STEP_OUT 16  // bytes a step writes to each output row

// Output byte k is (lWeight[2k] * in[lIndex[2k]] + lWeight[2k + 1] * in[lIndex[2k + 1]]) of its row, in
// quarters. Weights are 0 .. 4.
struct alignas(32) StripTaps {
    uint8_t lIndex[32];
    int8_t lWeight[32];
};

// Indexed by the bytes of a sample minus 1, and by the column phase of the first block.
namespace quorvel { // a global variable keeps its plain name, which a program may have too
extern const StripTaps kStripTaps[2][4];
}
using quorvel::kStripTaps;

// Quarters from the block's corner down to output row I, at row phase A.
constexpr int32_t StripRowQuarters(int32_t A, int32_t I) { return A + 7 * I / 2; }
