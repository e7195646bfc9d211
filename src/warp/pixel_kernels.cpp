// SPDX-License-Identifier: BSD-2-Clause
#include "warp/pixel_kernels.h"

#include "platform/fixed.h"
#include "warp/map.h"

// Two stages of quarter weights, each truncating.
void WarpPixels(const PixelPlane *pPlane, uint8_t *pOut, int32_t lR, int32_t lC, int32_t lZ, int32_t lS,
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

PixelKernel PixelKernelOf(CpuLevel eLevel) {
#ifdef QEL_X86
    if (eLevel == kCpuAvx2) return InsidePixelsAvx2;
#endif
    (void)eLevel;
    return nullptr;
}
