// SPDX-License-Identifier: BSD-2-Clause
// Strips: blocks side by side, resampled in one go.
//
// Along a row of blocks the column position advances by 3.5 input samples a block, so column phases
// repeat every two blocks: 7 input samples make 8 output samples with fixed taps, as long as the blocks
// have the same row and row phase. A step makes 16 bytes of each of the four output rows from 15 bytes
// of each of the four or five input rows: 4 planar blocks, or 2 blocks of pairs.
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

// By bytes of a sample less one, and by column phase of the first block.
extern const StripTaps kStripTaps[2][4];

// Output row I of a block at row phase A lies this many quarters below the block's corner.
constexpr int32_t StripRowQuarters(int32_t A, int32_t I) { return A + 7 * I / 2; }
