// SPDX-License-Identifier: BSD-2-Clause
// Strips by table look-ups, with the arithmetic of the x86 kernels: words, horizontally in quarters,
// then vertically in sixteenths.
#include "warp/strip.h"

#ifdef QEL_NEON
#include <arm_neon.h>

namespace {

struct Taps {
    uint8x16x2_t vIndex, vWeight; // first and second tap of each output byte
};

struct Words {
    uint16x8_t v[2];
};

inline Words RowOf(const uint8_t *pSrc, const Taps &stTaps) {
    const uint8x16_t v = vld1q_u8(pSrc);
    const uint8x16_t v0 = vqtbl1q_u8(v, stTaps.vIndex.val[0]), v1 = vqtbl1q_u8(v, stTaps.vIndex.val[1]);
    const uint8x16_t w0 = stTaps.vWeight.val[0], w1 = stTaps.vWeight.val[1];
    return {{vmlal_u8(vmull_u8(vget_low_u8(v0), vget_low_u8(w0)), vget_low_u8(v1), vget_low_u8(w1)),
             vmlal_high_u8(vmull_high_u8(v0, w0), v1, w1)}};
}

template <int32_t F> inline uint8x8_t Mix(uint16x8_t vTop, uint16x8_t vBottom) {
    if (F == 0) return vshrn_n_u16(vTop, 2);
    const uint16x8_t vSum = vaddq_u16(vTop, vBottom);
    if (F == 2) return vshrn_n_u16(vSum, 3);
    return vshrn_n_u16(vaddq_u16(vSum, vshlq_n_u16(F == 1 ? vTop : vBottom, 1)), 4);
}

template <int32_t A, int32_t I> inline void OutRow(uint8_t *pDst, const Words *pRows) {
    constexpr int32_t lRow = StripRowQuarters(A, I) >> 2, lFraction = StripRowQuarters(A, I) & 3;
    const Words &stTop = pRows[lRow], &stBottom = pRows[lFraction ? lRow + 1 : lRow];
    vst1q_u8(pDst, vcombine_u8(Mix<lFraction>(stTop.v[0], stBottom.v[0]),
                               Mix<lFraction>(stTop.v[1], stBottom.v[1])));
}

template <int32_t A>
void Strip(const uint8_t *pSrc, uint8_t *pDst, ptrdiff_t lStride, const StripTaps *pTaps,
           int32_t lSteps) {
    const Taps stTaps = {vld2q_u8(pTaps->lIndex), vld2q_u8((const uint8_t *)pTaps->lWeight)};
    for (int32_t i = 0; i < lSteps; i++, pSrc += QEL_STEP_IN, pDst += QEL_STEP_OUT) {
        Words stRows[5];
        stRows[0] = RowOf(pSrc, stTaps);
        stRows[1] = RowOf(pSrc + lStride, stTaps);
        stRows[2] = RowOf(pSrc + 2 * lStride, stTaps);
        stRows[3] = RowOf(pSrc + 3 * lStride, stTaps);
        stRows[4] = A == 3 ? RowOf(pSrc + 4 * lStride, stTaps) : stRows[3];
        OutRow<A, 0>(pDst, stRows);
        OutRow<A, 1>(pDst + lStride, stRows);
        OutRow<A, 2>(pDst + 2 * lStride, stRows);
        OutRow<A, 3>(pDst + 3 * lStride, stRows);
    }
}

} // namespace

void StripNeon(const uint8_t *pSrc, uint8_t *pDst, ptrdiff_t lStride, int32_t lRowPhase,
               int32_t lColPhase, int32_t lSampleBytes, int32_t lSteps) {
    const StripTaps *pTaps = &kStripTaps[lSampleBytes - 1][lColPhase];
    switch (lRowPhase) {
    case 0:
        Strip<0>(pSrc, pDst, lStride, pTaps, lSteps);
        break;
    case 1:
        Strip<1>(pSrc, pDst, lStride, pTaps, lSteps);
        break;
    case 2:
        Strip<2>(pSrc, pDst, lStride, pTaps, lSteps);
        break;
    default:
        Strip<3>(pSrc, pDst, lStride, pTaps, lSteps);
        break;
    }
}
#endif
