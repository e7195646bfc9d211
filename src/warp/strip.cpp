// SPDX-License-Identifier: BSD-2-Clause
#include "warp/strip.h"

#include "warp/mapping_kernels.h"

namespace {

constexpr int32_t kQuarters[4] = {0, 3, 7, 10}; // to output sample k of a block
constexpr int32_t kBlockQuarters = 14;          // to the next block

// Taps of 16 output bytes, lSampleBytes bytes a sample.
constexpr StripTaps TapsOf(int32_t lPhase, int32_t lSampleBytes) {
    StripTaps stTaps = {};
    for (int32_t k = 0; k < QEL_STEP_OUT; k++) {
        const int32_t lSample = k / lSampleBytes, lComponent = k % lSampleBytes;
        const int32_t q = lPhase + kBlockQuarters * (lSample / 4) + kQuarters[lSample % 4];
        const int32_t lFirst = q / 4 * lSampleBytes + lComponent;
        const int32_t lFraction = q % 4;
        stTaps.lIndex[2 * k] = (uint8_t)lFirst;
        stTaps.lIndex[2 * k + 1] = (uint8_t)(lFraction ? lFirst + lSampleBytes : lFirst);
        stTaps.lWeight[2 * k] = (int8_t)(4 - lFraction);
        stTaps.lWeight[2 * k + 1] = (int8_t)lFraction;
    }
    return stTaps;
}

} // namespace

const StripTaps quorvel::kStripTaps[2][4] = {{TapsOf(0, 1), TapsOf(1, 1), TapsOf(2, 1), TapsOf(3, 1)},
                                             {TapsOf(0, 2), TapsOf(1, 2), TapsOf(2, 2), TapsOf(3, 2)}};

// The definition: block by block.
void StripPortable(const uint8_t *pSrc, uint8_t *pDst, ptrdiff_t lStride, int32_t lRowPhase,
                   int32_t lColPhase, int32_t lSampleBytes, int32_t lSteps) {
    const MappingKernel *pKernels = kMappingKernels[lSampleBytes - 1] + 4 * lRowPhase;
    const int32_t lBlocks = lSteps * 4 / lSampleBytes;
    int32_t lQuarters = lColPhase;
    for (int32_t i = 0; i < lBlocks; i++, lQuarters += kBlockQuarters, pDst += 4 * lSampleBytes)
        for (int32_t k = 0; k < lSampleBytes; k++)
            pKernels[lQuarters & 3](pSrc + (lQuarters >> 2) * lSampleBytes + k, pDst + k,
                                    (int32_t)lStride);
}
