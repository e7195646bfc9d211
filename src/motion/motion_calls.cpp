// SPDX-License-Identifier: BSD-2-Clause
// Exported functions that frame calls do not use: parts of the measurement, for callers with their own
// planes.
#include "motion/grid.h"
#include "motion/motion.h"
#include "quorvel/memory.h"

uint8_t *GetCurBuffer(const uint8_t *pArea, int32_t lAreaW, int32_t lAreaH, int32_t lRowSkip,
                      int32_t lRows) {
    const Grid stGrid = GridOf(lAreaW, lAreaH, lRowSkip);
    const int64_t llSize = (int64_t)stGrid.lGroups * kGroupSamples * Max32(stGrid.lRows, lRows);
    if (llSize > INT32_MAX) return nullptr;
    uint8_t *pSamples = (uint8_t *)MMemAlloc(nullptr, (uint32_t)llSize);
    if (pSamples) GatherGridPortable(pSamples, pArea, &stGrid);
    return pSamples;
}

uint32_t GetGlobalSADAlignF0(const uint8_t *pSamples, const uint8_t *pPrevArea, int32_t lAreaW,
                             int32_t lAreaH, int32_t lRowSkip) {
    const Grid stGrid = GridOf(lAreaW, lAreaH, lRowSkip);
    return GridSadPortable(pSamples, pPrevArea, &stGrid, UINT32_MAX);
}

int32_t GetBigMeanF0(const uint8_t *pSamples, const uint8_t *pPrevArea, int32_t lAreaW, int32_t lAreaH,
                     int32_t lRowSkip) {
    const Grid stGrid = GridOf(lAreaW, lAreaH, lRowSkip);
    return GridMeanDiff(pSamples, pPrevArea, &stGrid);
}

uint32_t GetSad32AlignF0(const uint8_t *pCurBlock, const uint8_t *pCandBlock, int32_t lPatternStride) {
    return BlockSad32Portable(pCurBlock, pCandBlock, lPatternStride);
}

uint32_t GetInnerSad32(const uint8_t *pCurBlock, int32_t lPitch) {
    return Texture32Portable(pCurBlock, lPitch);
}
