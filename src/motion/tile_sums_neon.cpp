// SPDX-License-Identifier: BSD-2-Clause
// Eight columns at a time; gradients and differences are 16-bit words.
#include "kernels.h"

#ifdef QEL_NEON
#include <arm_neon.h>

namespace {

inline int16x8_t Difference(const uint8_t *a, const uint8_t *b) {
    return vreinterpretq_s16_u16(vsubl_u8(vld1_u8(a), vld1_u8(b)));
}
inline int16x8_t Gradient(const uint8_t *c, const uint8_t *p, ptrdiff_t lStep) {
    return vaddq_s16(Difference(c + lStep, c - lStep), Difference(p + lStep, p - lStep));
}
inline void AddProduct(int32x4_t *pSum, int16x8_t a, int16x8_t b) {
    *pSum = vmlal_high_s16(vmlal_s16(*pSum, vget_low_s16(a), vget_low_s16(b)), a, b);
}

void AddColumns(const uint8_t *pCur, const uint8_t *pPrev, ptrdiff_t lStride, TileSums *p) {
    int32x4_t xx = vdupq_n_s32(0), xy = xx, yy = xx, xe = xx, ye = xx, ee = xx, cc = xx;
    int16x8_t x = vdupq_n_s16(0), y = x, e = x, c = x;
    for (int32_t r = 0; r < kTile; r++, pCur += lStride, pPrev += lStride) {
        const int16x8_t vX = Gradient(pCur, pPrev, 1), vY = Gradient(pCur, pPrev, lStride);
        const int16x8_t vE = Difference(pPrev, pCur);
        const int16x8_t vC = vreinterpretq_s16_u16(vmovl_u8(vld1_u8(pCur)));
        AddProduct(&xx, vX, vX);
        AddProduct(&xy, vX, vY);
        AddProduct(&yy, vY, vY);
        AddProduct(&xe, vX, vE);
        AddProduct(&ye, vY, vE);
        AddProduct(&ee, vE, vE);
        AddProduct(&cc, vC, vC);
        x = vaddq_s16(x, vX);
        y = vaddq_s16(y, vY);
        e = vaddq_s16(e, vE);
        c = vaddq_s16(c, vC);
    }
    p->lXX += vaddvq_s32(xx);
    p->lXY += vaddvq_s32(xy);
    p->lYY += vaddvq_s32(yy);
    p->lXE += vaddvq_s32(xe);
    p->lYE += vaddvq_s32(ye);
    p->lEE += vaddvq_s32(ee);
    p->lCC += vaddvq_s32(cc);
    p->lX += vaddlvq_s16(x);
    p->lY += vaddlvq_s16(y);
    p->lE += vaddlvq_s16(e);
    p->lC += vaddlvq_s16(c);
}

} // namespace

void HalveRowNeon(const uint8_t *pFine, int32_t lFineWidth, uint8_t *pCoarse, int32_t lCount) {
    const uint8_t *pBelow = pFine + lFineWidth;
    int32_t x = 0;
    for (; x + 8 <= lCount; x += 8) {
        const uint16x8_t v = vpadalq_u8(vpaddlq_u8(vld1q_u8(pFine + 2 * x)), vld1q_u8(pBelow + 2 * x));
        vst1_u8(pCoarse + x, vrshrn_n_u16(v, 2));
    }
    if (x < lCount) HalveRowPortable(pFine + 2 * x, lFineWidth, pCoarse + x, lCount - x);
}

void TileSumsNeon(const uint8_t *pCur, const uint8_t *pPrev, ptrdiff_t lStride, TileSums *pSums) {
    *pSums = {};
    AddColumns(pCur, pPrev, lStride, pSums);
    AddColumns(pCur + 8, pPrev + 8, lStride, pSums);
}

int32_t PatchErrorNeon(const uint8_t *pCur, const uint8_t *pPrev, ptrdiff_t lStride) {
    int16x8_t vSum = vdupq_n_s16(0);
    int32x4_t vSquares = vdupq_n_s32(0);
    for (int32_t r = 0; r < kPatch; r++, pCur += lStride, pPrev += lStride) {
        const int16x8_t e = Difference(pPrev, pCur);
        vSum = vaddq_s16(vSum, e);
        AddProduct(&vSquares, e, e);
    }
    const int32_t lSum = vaddlvq_s16(vSum);
    return vaddvq_s32(vSquares) - lSum * lSum / (kPatch * kPatch);
}

#endif
