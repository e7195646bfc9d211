// SPDX-License-Identifier: BSD-2-Clause
// The cost of one block position. Its patterns are sparse; the thresholds of the search are set for
// them.
#include "kernels.h"
#include "motion/motion.h"

namespace {

const int32_t kRuns = 8;
const int32_t kRunLength = 8;

// Each run is four rows below and eight columns right of the one before. The fifth is back at column
// 0.
ptrdiff_t RunOffset(int32_t lRun, int32_t lPatternStride) {
    return (ptrdiff_t)lRun * lPatternStride - (lRun >= 4 ? 32 : 0);
}

uint32_t RunSad(const uint8_t *pFirst, const uint8_t *pSecond) {
    uint32_t lSum = 0;
    for (int32_t i = 0; i < kRunLength; i++) {
        const int32_t d = pFirst[i] - pSecond[i];
        lSum += (uint32_t)(d < 0 ? -d : d);
    }
    return lSum;
}

} // namespace

uint32_t BlockSad32Portable(const uint8_t *pCurBlock, const uint8_t *pCandBlock,
                            int32_t lPatternStride) {
    uint32_t lSum = 0;
    for (int32_t k = 0; k < kRuns; k++) {
        const ptrdiff_t lOffset = RunOffset(k, lPatternStride);
        lSum += RunSad(pCurBlock + lOffset, pCandBlock + lOffset);
    }
    return lSum;
}

uint32_t Texture32Portable(const uint8_t *pCurBlock, int32_t lPitch) {
    const int32_t lPatternStride = 4 * lPitch + kRunLength;
    uint32_t lSum = 0;
    for (int32_t k = 0; k < kRuns; k++)
        lSum += RunSad(pCurBlock + RunOffset(k, lPatternStride),
                       pCurBlock + RunOffset((k + 1) % kRuns, lPatternStride));
    return lSum;
}

uint32_t GetSad16F0(const uint8_t *pCurBlock, const uint8_t *pCandBlock, int32_t lPitch) {
    uint32_t lSum = 0;
    for (int32_t y = 0; y < 16; y += 4)
        for (int32_t x = 0; x < 16; x += 4) {
            const ptrdiff_t lOffset = (ptrdiff_t)y * lPitch + x;
            const int32_t d = pCurBlock[lOffset] - pCandBlock[lOffset];
            lSum += (uint32_t)(d < 0 ? -d : d);
        }
    return lSum;
}
