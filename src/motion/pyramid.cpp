// SPDX-License-Identifier: BSD-2-Clause
#include "motion/pyramid.h"

#include "platform/fixed.h"

namespace {

const int32_t kCoarsestSide = 100;

} // namespace

bool IsCoarsest(int32_t lWidth, int32_t lHeight) {
    return Max32(lWidth, lHeight) <= kCoarsestSide || Min32(lWidth, lHeight) < 2;
}

uint32_t PyramidBytes(int32_t lWidth, int32_t lHeight) {
    uint32_t lBytes = 0;
    for (;; lWidth >>= 1, lHeight >>= 1) {
        lBytes += (uint32_t)lWidth * (uint32_t)lHeight;
        if (IsCoarsest(lWidth, lHeight)) return lBytes;
    }
}

void LayOutPyramid(Pyramid *pPyramid, uint8_t *pMemory, int32_t lWidth, int32_t lHeight) {
    pPyramid->lLevels = 0;
    for (;; lWidth >>= 1, lHeight >>= 1) {
        pPyramid->stLevels[pPyramid->lLevels++] = {pMemory, lWidth, lHeight};
        if (IsCoarsest(lWidth, lHeight)) return;
        pMemory += (ptrdiff_t)lWidth * lHeight;
    }
}

void HalveRows(const Kernels *pKernels, const Pyramid *pPyramid, int32_t lLevel, int32_t lFirst,
               int32_t lEnd) {
    const LumaLevel *pFine = &pPyramid->stLevels[lLevel - 1], *pCoarse = pFine + 1;
    for (int32_t y = lFirst; y < lEnd; y++)
        pKernels->pHalveRow(pFine->pPixels + (ptrdiff_t)2 * y * pFine->lWidth, pFine->lWidth,
                            pCoarse->pPixels + (ptrdiff_t)y * pCoarse->lWidth, pCoarse->lWidth);
}
