// SPDX-License-Identifier: BSD-2-Clause
#include "warp/pixel_warp.h"

#include "warp/pixels.h"

namespace {

// A span of output samples of one row.
struct Span {
    int32_t lFirst, lEnd;
};

// Narrows the span to where 0 <= lStart + lStep * x <= lLast.
void Narrow(Span *pSpan, int64_t llStart, int64_t llStep, int64_t llLast) {
    int64_t llFirst = pSpan->lFirst, llEnd = pSpan->lEnd;
    if (llStep == 0) {
        if (llStart < 0 || llStart > llLast) llEnd = llFirst;
    } else {
        const int64_t llLow = llStep > 0 ? -llStart : llStart - llLast; // what x * |step| must reach
        const int64_t llHigh = llStep > 0 ? llLast - llStart : llStart; // and may reach
        const int64_t llSize = llStep > 0 ? llStep : -llStep;
        if (llLow > 0 && (llLow + llSize - 1) / llSize > llFirst)
            llFirst = (llLow + llSize - 1) / llSize;
        if (llHigh < 0)
            llEnd = llFirst;
        else if (llHigh / llSize + 1 < llEnd)
            llEnd = llHigh / llSize + 1;
    }
    if (llFirst > pSpan->lEnd) llFirst = pSpan->lEnd;
    *pSpan = {(int32_t)llFirst, (int32_t)(llEnd < llFirst ? llFirst : llEnd)};
}

// The samples of an output row of lCount, starting at (r, c), that need no clamp. Rows whose positions
// overflow are left to the clamping kernel. So is the last row of bases, where the window of a vector
// kernel could end beyond the plane; in the rows above it ends in the next row at most. A plane of one
// row has no other bases, so a vector kernel always has a row below the one that it reads.
Span InsideSpan(int32_t lCount, int32_t r, int32_t c, const WarpMap *pMap, const PixelPlane *pPlane) {
    const int64_t llEndRow = r + (int64_t)pMap->lS * lCount, llEndCol = c + (int64_t)pMap->lZ * lCount;
    if (llEndRow != Low32(llEndRow) || llEndCol != Low32(llEndCol)) return {0, 0};
    Span stSpan = {0, lCount};
    Narrow(&stSpan, r, pMap->lS, ((int64_t)pPlane->lLastRow << 10) - 1);
    Narrow(&stSpan, c, pMap->lZ, (int64_t)pPlane->lLastCol << 10);
    return stSpan;
}

bool KernelTakes(const WarpPlane *pPlane, const WarpMap *pMap) {
    return pPlane->lInWidth * pPlane->lSampleBytes >= QEL_PIXEL_WINDOW && pMap->lZ >= 0 &&
           pMap->lZ <= QEL_MOST_PIXEL_STEP && pMap->lS >= -QEL_MOST_PIXEL_STEP &&
           pMap->lS <= QEL_MOST_PIXEL_STEP;
}

// The last base along a side that has a neighbour. The plane's last row and column are never a base,
// so no read can be outside the plane.
int32_t LastBase(int32_t lSize) { return Max32(lSize - 2, 0); }

void WarpRows(PixelKernel pClamped, PixelKernel pInside, const WarpPlane *pPlane, const WarpMap *pMap,
              int32_t lFirst, int32_t lEnd) {
    if (pPlane->lInWidth < 1 || pPlane->lInHeight < 1) return;
    const int32_t lZ = pMap->lZ, lS = pMap->lS, lCount = pPlane->lOutWidth;
    const PixelPlane stPlane = {pPlane->pIn, pPlane->lInStride, LastBase(pPlane->lInHeight),
                                LastBase(pPlane->lInWidth),
                                // a plane of one row or column has no neighbour; its fraction is 0 then
                                pPlane->lInHeight > 1 ? pPlane->lInStride : 0, pPlane->lInWidth > 1};
    const bool bInside = KernelTakes(pPlane, pMap);
    for (int32_t y = lFirst; y < lEnd; y++) {
        uint8_t *pOut = pPlane->pOut + (ptrdiff_t)y * pPlane->lOutStride;
        const int32_t r = WrapAdd32(pMap->lR0, WrapMul32(lZ, y));
        const int32_t c = WrapSub32(pMap->lC0, WrapMul32(lS, y));
        const Span stSpan = bInside ? InsideSpan(lCount, r, c, pMap, &stPlane) : Span{0, 0};
        pClamped(&stPlane, pOut, r, c, lZ, lS, 0, stSpan.lFirst);
        if (stSpan.lFirst < stSpan.lEnd)
            pInside(&stPlane, pOut, r, c, lZ, lS, stSpan.lFirst, stSpan.lEnd);
        pClamped(&stPlane, pOut, r, c, lZ, lS, stSpan.lEnd, lCount);
    }
}

} // namespace

void WarpLumaRows(const Kernels *pKernels, const WarpPlane *pPlane, const WarpMap *pMap, int32_t lFirst,
                  int32_t lEnd) {
    WarpRows(ClampedLumaPixels, pKernels->pLumaPixels, pPlane, pMap, lFirst, lEnd);
}

void WarpNearestRows(const Kernels *pKernels, const WarpPlane *pPlane, const WarpMap *pMap,
                     int32_t lFirst, int32_t lEnd) {
    if (pPlane->lSampleBytes == 1)
        WarpRows(ClampedNearestPixels, pKernels->pNearestPixels, pPlane, pMap, lFirst, lEnd);
    else
        WarpRows(ClampedNearestPairs, pKernels->pNearestPairs, pPlane, pMap, lFirst, lEnd);
}
