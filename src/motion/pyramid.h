// SPDX-License-Identifier: BSD-2-Clause
// A luma plane at full size and halved again and again, to measure motion from coarse to fine.
#pragma once

#include "kernels.h"

// Rows follow each other without padding.
struct LumaLevel {
    uint8_t *pPixels;
    int32_t lWidth, lHeight;
};

const int32_t kMostLevels = 8; // 16384 pixels, halved seven times, are 128

struct Pyramid {
    LumaLevel stLevels[kMostLevels];
    int32_t lLevels;
};

// Bytes of all levels. The coarsest one is at most 160 pixels long.
uint32_t PyramidBytes(int32_t lWidth, int32_t lHeight);

void LayOutPyramid(Pyramid *pPyramid, uint8_t *pMemory, int32_t lWidth, int32_t lHeight);

// Fills rows lFirst .. lEnd - 1 of a level from the next finer one.
void HalveRows(const Kernels *pKernels, const Pyramid *pPyramid, int32_t lLevel, int32_t lFirst,
               int32_t lEnd);
