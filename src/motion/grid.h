// SPDX-License-Identifier: BSD-2-Clause
// The sparse grid of luma samples that the coarse search compares.
#pragma once

#include "kernels.h"
#include "platform/fixed.h"

const int32_t kGroup = 64;        // columns a group covers
const int32_t kGroupSamples = 16; // every fourth of them
const int32_t kGridRowStep = 10;

static inline Grid GridOf(int32_t lAreaW, int32_t lAreaH, int32_t lRowSkip) {
    return {Max32(lAreaW / kGroup, 1), Max32(lAreaH / kGridRowStep, 1), lRowSkip};
}

// Bytes of the grid's samples.
static inline int64_t GridSize(const Grid *pGrid) {
    return (int64_t)pGrid->lGroups * kGroupSamples * pGrid->lRows;
}

// Prefetches the same group of the grid's next row, which is too far away for the hardware prefetcher.
// The address may be past the plane, because a prefetch cannot fault. (Always inlined: g++ drops calls
// of a function that seems to have no effect.)
__attribute__((always_inline)) static inline void PrefetchNextRow(const uint8_t *pGroup,
                                                                  const Grid *pGrid) {
    __builtin_prefetch((const void *)((intptr_t)pGroup + kGroup * pGrid->lGroups + pGrid->lRowSkip));
}

// |sum of the samples - sum of the grid at pArea|.
int32_t GridMeanDiff(const uint8_t *pSamples, const uint8_t *pArea, const Grid *pGrid);
