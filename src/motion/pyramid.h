// SPDX-License-Identifier: BSD-2-Clause
// A luma plane at full size and halved again and again, to measure motion from coarse to fine.
#pragma once

#include "kernels.h"

// Rows follow each other without padding.
struct LumaLevel {
    uint8_t *pPixels;
    int32_t lWidth, lHeight;
};

const int32_t kMostLevels = 9; // 16384 pixels, halved eight times, are 64

struct Pyramid {
    LumaLevel stLevels[kMostLevels];
    int32_t lLevels;
};

// Whether a level of this size is the last. Halving ends at 100 pixels of the longer side, or where a
// side would vanish.
bool IsCoarsest(int32_t lWidth, int32_t lHeight);

// Bytes of all levels.
uint32_t PyramidBytes(int32_t lWidth, int32_t lHeight);

// Sets sizes and addresses; pMemory has PyramidBytes.
void LayOutPyramid(Pyramid *pPyramid, uint8_t *pMemory, int32_t lWidth, int32_t lHeight);

// Fills rows lFirst .. lEnd - 1 of a level from the next finer one.
void HalveRows(const Kernels *pKernels, const Pyramid *pPyramid, int32_t lLevel, int32_t lFirst,
               int32_t lEnd);
