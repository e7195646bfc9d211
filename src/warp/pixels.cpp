// SPDX-License-Identifier: BSD-2-Clause
#include "warp/pixels.h"

#include "warp/map.h"

namespace {

template <bool kClamp> inline Position SampleAt(int32_t lQ10, int32_t lLastBase) {
    if (kClamp) return PositionOf(lQ10, lLastBase);
    return {lQ10 >> 10, (lQ10 >> 8) & 3};
}

// Interpolates along the row, then between rows; both results are truncated.
template <bool kClamp>
void Luma(const PixelPlane *pPlane, uint8_t *pOut, int32_t lR, int32_t lC, int32_t lZ, int32_t lS,
          int32_t lFirst, int32_t lEnd) {
    int32_t r = WrapAdd32(lR, WrapMul32(lS, lFirst)), c = WrapAdd32(lC, WrapMul32(lZ, lFirst));
    for (int32_t x = lFirst; x < lEnd; x++) {
        const Position stRow = SampleAt<kClamp>(r, pPlane->lLastRow);
        const Position stCol = SampleAt<kClamp>(c, pPlane->lLastCol);
        const uint8_t *p = pPlane->pIn + (ptrdiff_t)stRow.lBase * pPlane->lStride + stCol.lBase;
        const uint8_t *pBelow = p + pPlane->lBelow;
        const int32_t fx = stCol.lPhase, fy = stRow.lPhase, lRight = pPlane->lRight;
        const int32_t lTop = (p[0] * (4 - fx) + p[lRight] * fx) >> 2;
        const int32_t lBottom = (pBelow[0] * (4 - fx) + pBelow[lRight] * fx) >> 2;
        pOut[x] = (uint8_t)((lTop * (4 - fy) + lBottom * fy) >> 2);
        r = WrapAdd32(r, lS);
        c = WrapAdd32(c, lZ);
    }
}

// Samples of kBytes bytes.
template <bool kClamp, int32_t kBytes>
void Nearest(const PixelPlane *pPlane, uint8_t *pOut, int32_t lR, int32_t lC, int32_t lZ, int32_t lS,
             int32_t lFirst, int32_t lEnd) {
    int32_t r = WrapAdd32(lR, WrapMul32(lS, lFirst)), c = WrapAdd32(lC, WrapMul32(lZ, lFirst));
    for (ptrdiff_t x = lFirst; x < lEnd; x++) {
        const ptrdiff_t lRow = SampleAt<kClamp>(r, pPlane->lLastRow).lBase;
        const ptrdiff_t lCol = SampleAt<kClamp>(c, pPlane->lLastCol).lBase;
        const uint8_t *p = pPlane->pIn + lRow * pPlane->lStride + lCol * kBytes;
        for (int32_t i = 0; i < kBytes; i++) pOut[x * kBytes + i] = p[i];
        r = WrapAdd32(r, lS);
        c = WrapAdd32(c, lZ);
    }
}

} // namespace

void LumaPixelsPortable(const PixelPlane *pPlane, uint8_t *pOut, int32_t lR, int32_t lC, int32_t lZ,
                        int32_t lS, int32_t lFirst, int32_t lEnd) {
    Luma<false>(pPlane, pOut, lR, lC, lZ, lS, lFirst, lEnd);
}
void NearestPixelsPortable(const PixelPlane *pPlane, uint8_t *pOut, int32_t lR, int32_t lC, int32_t lZ,
                           int32_t lS, int32_t lFirst, int32_t lEnd) {
    Nearest<false, 1>(pPlane, pOut, lR, lC, lZ, lS, lFirst, lEnd);
}
void NearestPairsPortable(const PixelPlane *pPlane, uint8_t *pOut, int32_t lR, int32_t lC, int32_t lZ,
                          int32_t lS, int32_t lFirst, int32_t lEnd) {
    Nearest<false, 2>(pPlane, pOut, lR, lC, lZ, lS, lFirst, lEnd);
}

void ClampedLumaPixels(const PixelPlane *pPlane, uint8_t *pOut, int32_t lR, int32_t lC, int32_t lZ,
                       int32_t lS, int32_t lFirst, int32_t lEnd) {
    Luma<true>(pPlane, pOut, lR, lC, lZ, lS, lFirst, lEnd);
}
void ClampedNearestPixels(const PixelPlane *pPlane, uint8_t *pOut, int32_t lR, int32_t lC, int32_t lZ,
                          int32_t lS, int32_t lFirst, int32_t lEnd) {
    Nearest<true, 1>(pPlane, pOut, lR, lC, lZ, lS, lFirst, lEnd);
}
void ClampedNearestPairs(const PixelPlane *pPlane, uint8_t *pOut, int32_t lR, int32_t lC, int32_t lZ,
                         int32_t lS, int32_t lFirst, int32_t lEnd) {
    Nearest<true, 2>(pPlane, pOut, lR, lC, lZ, lS, lFirst, lEnd);
}
