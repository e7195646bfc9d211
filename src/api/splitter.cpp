// SPDX-License-Identifier: BSD-2-Clause
// Before/after in one picture.
#include "quorvel/memory.h"
#include "quorvel/stabilizer.h"

namespace {

void CopyColumns(const uint8_t *pSrc, uint8_t *pDst, int32_t lStride, int32_t lRows, int32_t lColumns) {
    for (int32_t y = 0; y < lRows; y++, pSrc += lStride, pDst += lStride)
        MMemMove(pDst, pSrc, (uint32_t)lColumns); // the caller's buffers may overlap
}

} // namespace

void QEL_MVS_SplitterShow(const uint8_t *pSrcY, const uint8_t *pSrcU, const uint8_t *pSrcV,
                          uint8_t *pDstY, uint8_t *pDstU, uint8_t *pDstV, int32_t lWidth,
                          int32_t lHeight, int32_t lSplit, int32_t lDirection) {
    if (!pSrcY || !pSrcU || !pSrcV || !pDstY || !pDstU || !pDstV) return;
    if (lSplit < 1 || lSplit >= lWidth || lDirection != 0) return;
    const int32_t lPairs = lSplit >> 1; // a chroma sample covers two columns
    CopyColumns(pSrcY, pDstY, lWidth, lHeight, 2 * lPairs);
    CopyColumns(pSrcU, pDstU, lWidth >> 1, lHeight >> 1, lPairs);
    CopyColumns(pSrcV, pDstV, lWidth >> 1, lHeight >> 1, lPairs);
}
