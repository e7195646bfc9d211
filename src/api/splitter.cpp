// SPDX-License-Identifier: BSD-2-Clause
// Before and after in one picture.
#include "platform/buffers.h"
#include "quorvel/stabilizer.h"

void QEL_MVS_SplitterShow(const uint8_t *pSrcY, const uint8_t *pSrcU, const uint8_t *pSrcV,
                          uint8_t *pDstY, uint8_t *pDstU, uint8_t *pDstV, int32_t lWidth,
                          int32_t lHeight, int32_t lSplit, int32_t lDirection) {
    if (!pSrcY || !pSrcU || !pSrcV || !pDstY || !pDstU || !pDstV) return;
    if (lSplit < 1 || lSplit >= lWidth || lDirection != 0) return;
    const int32_t lPairs = lSplit >> 1; // a chroma sample covers two columns
    CopyRows(pDstY, lWidth, pSrcY, lWidth, 2 * lPairs, lHeight);
    CopyRows(pDstU, lWidth >> 1, pSrcU, lWidth >> 1, lPairs, lHeight >> 1);
    CopyRows(pDstV, lWidth >> 1, pSrcV, lWidth >> 1, lPairs, lHeight >> 1);
}
