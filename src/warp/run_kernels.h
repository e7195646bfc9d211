// SPDX-License-Identifier: BSD-2-Clause
// Runs of blocks, resampled in one go.
//
// Along a row of blocks the column position advances by 3.5 input samples a block, so column phases
// repeat every two blocks and 7 input samples make 8 output samples with fixed taps, as long as the
// blocks have the same row and row phase. A step of a run makes 16 bytes of each of the block row's
// four output rows from 15 bytes of each of its four or five input rows: 4 planar blocks, or 2 blocks
// of pairs.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "platform/cpu.h"

#define QEL_STEP_IN 14   // bytes the input advances a step
#define QEL_STEP_READ 16 // bytes a step may read of each input row
#define QEL_STEP_OUT 16  // bytes a step writes to each output row

// Output byte k is (lWeight[2k] * in[lIndex[2k]] + lWeight[2k + 1] * in[lIndex[2k + 1]]) of its row, in
// quarters. Weights are 0 .. 4.
struct alignas(32) RunTaps {
    uint8_t lIndex[32];
    int8_t lWeight[32];
};

// By column phase of the first block.
extern const RunTaps kPlanarTaps[4];
extern const RunTaps kPairTaps[4];

typedef void (*RunKernel)(const uint8_t *pSrc, uint8_t *pDst, ptrdiff_t lStride, int32_t lRowPhase,
                          const RunTaps *pTaps, int32_t lSteps);

// Null where a level has none: blocks are then resampled one by one.
RunKernel RunKernelOf(CpuLevel eLevel);

void RunSsse3(const uint8_t *pSrc, uint8_t *pDst, ptrdiff_t lStride, int32_t lRowPhase,
              const RunTaps *pTaps, int32_t lSteps);
void RunAvx2(const uint8_t *pSrc, uint8_t *pDst, ptrdiff_t lStride, int32_t lRowPhase,
             const RunTaps *pTaps, int32_t lSteps);
void RunNeon(const uint8_t *pSrc, uint8_t *pDst, ptrdiff_t lStride, int32_t lRowPhase,
             const RunTaps *pTaps, int32_t lSteps);
