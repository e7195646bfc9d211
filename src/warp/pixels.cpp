// SPDX-License-Identifier: BSD-2-Clause
#include "warp/pixels.h"

#include "warp/map.h"

namespace {

template <int32_t kBytes>
void Nearest(const PixelPlane *pPlane, uint8_t *pOut, int32_t lR, int32_t lC, int32_t lZ, int32_t lS,
             int32_t lFirst, int32_t lEnd) {
    int32_t r = WrapAdd32(lR, WrapMul32(lS, lFirst)), c = WrapAdd32(lC, WrapMul32(lZ, lFirst));
    for (ptrdiff_t x = lFirst; x < lEnd; x++) {
        const int32_t lRow = PositionOf(r, pPlane->lLastRow).lBase;
        const int32_t lCol = PositionOf(c, pPlane->lLastCol).lBase;
        const uint8_t *p = pPlane->pIn + (ptrdiff_t)lRow * pPlane->lStride + (ptrdiff_t)lCol * kBytes;
        for (int32_t i = 0; i < kBytes; i++) pOut[x * kBytes + i] = p[i];
        r = WrapAdd32(r, lS);
        c = WrapAdd32(c, lZ);
    }
}

} // namespace

// Two stages of quarter weights, each truncating.
void LumaPixelsPortable(const PixelPlane *pPlane, uint8_t *pOut, int32_t lR, int32_t lC, int32_t lZ, int32_t lS,
                int32_t lFirst, int32_t lEnd) {
    int32_t r = WrapAdd32(lR, WrapMul32(lS, lFirst)), c = WrapAdd32(lC, WrapMul32(lZ, lFirst));
    for (int32_t x = lFirst; x < lEnd; x++) {
        const Position stRow = PositionOf(r, pPlane->lLastRow), stCol = PositionOf(c, pPlane->lLastCol);
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

void NearestPixelsPortable(const PixelPlane *pPlane, uint8_t *pOut, int32_t lR, int32_t lC, int32_t lZ,
                   int32_t lS, int32_t lFirst, int32_t lEnd) {
    Nearest<1>(pPlane, pOut, lR, lC, lZ, lS, lFirst, lEnd);
}

void NearestPairsPortable(const PixelPlane *pPlane, uint8_t *pOut, int32_t lR, int32_t lC, int32_t lZ,
                  int32_t lS, int32_t lFirst, int32_t lEnd) {
    Nearest<2>(pPlane, pOut, lR, lC, lZ, lS, lFirst, lEnd);
}
