// SPDX-License-Identifier: BSD-2-Clause
#include "motion/grid.h"

void GatherGridPortable(uint8_t *pSamples, const uint8_t *pArea, const Grid *pGrid) {
    for (int32_t r = 0; r < pGrid->lRows; r++) {
        for (int32_t g = 0; g < pGrid->lGroups; g++, pArea += kGroup)
            for (int32_t k = 0; k < kGroup; k += 4) *pSamples++ = pArea[k];
        pArea += pGrid->lRowSkip;
    }
}

uint32_t GridSadPortable(const uint8_t *pSamples, const uint8_t *pArea, const Grid *pGrid, uint32_t) {
    uint32_t lSum = 0;
    for (int32_t r = 0; r < pGrid->lRows; r++) {
        for (int32_t g = 0; g < pGrid->lGroups; g++, pArea += kGroup)
            for (int32_t k = 0; k < kGroup; k += 4) {
                const int32_t d = *pSamples++ - pArea[k];
                lSum += (uint32_t)(d < 0 ? -d : d);
            }
        pArea += pGrid->lRowSkip;
    }
    return lSum;
}

int32_t GridMeanDiff(const uint8_t *pSamples, const uint8_t *pArea, const Grid *pGrid) {
    int64_t llDiff = 0;
    for (int32_t r = 0; r < pGrid->lRows; r++) {
        for (int32_t g = 0; g < pGrid->lGroups; g++, pArea += kGroup)
            for (int32_t k = 0; k < kGroup; k += 4) llDiff += *pSamples++ - pArea[k];
        pArea += pGrid->lRowSkip;
    }
    return Low32(llDiff < 0 ? -llDiff : llDiff);
}
