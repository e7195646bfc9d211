// SPDX-License-Identifier: BSD-2-Clause
// Portable forms of the refined measurement's kernels.
#include "kernels.h"

void HalveRowPortable(const uint8_t *pFine, int32_t lFineWidth, uint8_t *pCoarse, int32_t lCount) {
    const uint8_t *pBelow = pFine + lFineWidth;
    for (int32_t x = 0; x < lCount; x++)
        pCoarse[x] =
            (uint8_t)((pFine[2 * x] + pFine[2 * x + 1] + pBelow[2 * x] + pBelow[2 * x + 1] + 2) >> 2);
}

void TileSumsPortable(const uint8_t *pCur, const uint8_t *pPrev, ptrdiff_t lStride, TileSums *pSums) {
    TileSums st = {};
    for (int32_t y = 0; y < kTile; y++, pCur += lStride, pPrev += lStride)
        for (int32_t x = 0; x < kTile; x++) {
            const uint8_t *c = pCur + x, *p = pPrev + x;
            const int32_t gx = c[1] - c[-1] + p[1] - p[-1];
            const int32_t gy = c[lStride] - c[-lStride] + p[lStride] - p[-lStride];
            const int32_t e = *p - *c;
            st.lXX += gx * gx;
            st.lXY += gx * gy;
            st.lYY += gy * gy;
            st.lXE += gx * e;
            st.lYE += gy * e;
            st.lEE += e * e;
            st.lCC += *c * *c;
            st.lX += gx;
            st.lY += gy;
            st.lE += e;
            st.lC += *c;
        }
    *pSums = st;
}

int32_t PatchErrorPortable(const uint8_t *pCur, const uint8_t *pPrev, ptrdiff_t lStride) {
    int32_t lSum = 0, lSquares = 0;
    for (int32_t y = 0; y < kPatch; y++, pCur += lStride, pPrev += lStride)
        for (int32_t x = 0; x < kPatch; x++) {
            const int32_t e = pPrev[x] - pCur[x];
            lSum += e;
            lSquares += e * e;
        }
    return lSquares - lSum * lSum / (kPatch * kPatch);
}
