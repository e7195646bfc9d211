// SPDX-License-Identifier: BSD-2-Clause
// A step makes 8 samples from one window of each source row. Positions are fractions in 65536ths of a
// pixel, to which the constant offsets of the pixels are added: a sum that wraps around has carried
// into the whole pixels.
#include "warp/fine_pixels.h"

#ifdef QEL_NEON
#include <arm_neon.h>

namespace {

inline uint16x8_t Words(int32_t l) { return vdupq_n_u16((uint16_t)l); }

struct Offsets {
    uint16x8_t vWhole, vFraction;
};

inline Offsets OffsetsOf(int64_t llStep, int32_t lChannels) {
    const FineOffsets st = FineOffsetsOf(llStep, lChannels);
    return {vreinterpretq_u16_s16(vld1q_s16(st.lWhole)), vld1q_u16(st.lFraction)};
}

// Whole pixels from the first one, where the fractions have wrapped around or not.
inline uint16x8_t PixelsOf(uint16x8_t vFraction, const Offsets &st) {
    return vsubq_u16(st.vWhole, vcltq_u16(vFraction, st.vFraction));
}

inline int16x8_t RowsOf(uint16x8_t vFraction, const Offsets &stDown, int32_t lFirst) {
    return vreinterpretq_s16_u16(vaddq_u16(PixelsOf(vFraction, stDown), Words(lFirst)));
}

// Index bytes of each sample's first tap.
template <int32_t kChannels> inline uint8x8_t IndexOf(uint16x8_t vFraction, const Offsets &st) {
    const uint16_t kChannel[8] = {0,
                                  1 % kChannels,
                                  2 % kChannels,
                                  3 % kChannels,
                                  4 % kChannels,
                                  5 % kChannels,
                                  6 % kChannels,
                                  7 % kChannels};
    return vmovn_u16(vmlaq_u16(vld1q_u16(kChannel), PixelsOf(vFraction, st), Words(kChannels)));
}

// 256ths of a pixel as Q15.
inline int16x8_t PartOf(uint16x8_t vFraction) {
    return vreinterpretq_s16_u16(vshlq_n_u16(vshrq_n_u16(vFraction, 8), 7));
}

inline int16x8_t Mix(int16x8_t a, int16x8_t b, int16x8_t f) {
    return vaddq_s16(a, vqrdmulhq_s16(vsubq_s16(b, a), f));
}

inline int16x8_t MixLine(const uint8_t *p, uint8x8_t vLeft, uint8x8_t vRight, int16x8_t f) {
    const uint8x16_t v = vld1q_u8(p);
    return Mix(vreinterpretq_s16_u16(vshll_n_u8(vqtbl1_u8(v, vLeft), 7)),
               vreinterpretq_s16_u16(vshll_n_u8(vqtbl1_u8(v, vRight), 7)), f);
}

template <int32_t kChannels>
void Linear(const FineRow *pRow, uint8_t *pOut, int32_t lFirst, int32_t lEnd) {
    const int32_t kPixels = 8 / kChannels;
    const int64_t llColStep = pRow->llColStep, llRowStep = pRow->llRowStep;
    const FineRows stRows = FineRowsOf(pRow, kPixels);
    const ptrdiff_t lPitch = stRows.lPitch;
    const Offsets stAcross = OffsetsOf(llColStep, kChannels);
    const Offsets stDown = OffsetsOf(llRowStep, kChannels);
    int64_t llCol = pRow->llCol + lFirst * llColStep, llRow = pRow->llRow + lFirst * llRowStep;
    for (int32_t x = lFirst; x < lEnd; x += kFineRun) {
        int32_t c = (int32_t)(llCol >> 16), r = (int32_t)(llRow >> 16);
        for (int32_t j = 0; j < 2 * kChannels; j++) {
            const uint8_t *p = PlaceOf(stRows, r, (c >> 16) * kChannels);
            PrefetchRows(p, lPitch);
            const uint16x8_t vCol = vaddq_u16(Words(c), stAcross.vFraction);
            const uint8x8_t vLeft = IndexOf<kChannels>(vCol, stAcross);
            const uint8x8_t vRight = vadd_u8(vLeft, vdup_n_u8(kChannels));
            const int16x8_t f = PartOf(vCol);
            const uint16x8_t vRow = vaddq_u16(Words(r), stDown.vFraction);
            int16x8_t a = MixLine(p, vLeft, vRight, f);
            p += lPitch;
            int16x8_t b = MixLine(p, vLeft, vRight, f);
            const int32_t lMore = MoreOf(stRows, r);
            for (int32_t i = 1; i <= lMore; i++) {
                const int16x8_t vRows = RowsOf(vRow, stDown, (r >> 16) - TopOf(stRows, r));
                const uint16x8_t vReached = vcgeq_s16(vRows, vdupq_n_s16((int16_t)i));
                p += lPitch;
                a = vbslq_s16(vReached, b, a);
                b = vbslq_s16(vReached, MixLine(p, vLeft, vRight, f), b);
            }
            vst1_u8(pOut, vqrshrun_n_s16(Mix(a, b, PartOf(vRow)), 7));
            c += kPixels * (int32_t)(llColStep >> 16);
            r += kPixels * (int32_t)(llRowStep >> 16);
            pOut += 8;
        }
        llCol += kFineRun * llColStep;
        llRow += kFineRun * llRowStep;
    }
}

struct Weights {
    int16x8_t v[4];
};

// Of positions in 65536ths, as FineWeights.
inline Weights WeightsOf(uint16x8_t vFraction) {
    const int16x8_t t = vreinterpretq_s16_u16(vshrq_n_u16(vFraction, 10));
    const int16x8_t s = vsubq_s16(vdupq_n_s16(64), t), u = vmulq_s16(t, s);
    const int16x8_t v = vmulq_n_s16(u, kSharpness);
    const int16x8_t vLinear = vmlaq_n_s16(vdupq_n_s16(-512), t, 16 - kSharpness);
    Weights st;
    st.v[0] = vqrdmulhq_s16(v, s);
    st.v[1] = vsubq_s16(vqrdmulhq_s16(u, vLinear), s);
    st.v[3] = vqrdmulhq_s16(v, t);
    st.v[2] = vsubq_s16(vsubq_s16(vdupq_n_s16(-64), st.v[1]), vaddq_s16(st.v[0], st.v[3]));
    return st;
}

// Index bytes of a row's taps, and their weights.
struct Taps {
    uint8x8_t vIndex[4];
    Weights stWeights;
};

template <int32_t kChannels> inline Taps TapsOf(uint8x8_t vFirst, const Weights &stWeights) {
    const uint8x8_t vPixel = vdup_n_u8(kChannels), vSecond = vadd_u8(vFirst, vPixel);
    return {{vFirst, vSecond, vFirst, vSecond}, stWeights};
}

inline int16x8_t Tap(uint8x16_t v, uint8x8_t vIndex) {
    return vreinterpretq_s16_u16(vmovl_u8(vqtbl1_u8(v, vIndex)));
}

template <int32_t kChannels> inline int16x8_t SumLine(const uint8_t *p, const Taps &st) {
    const uint8x16_t vFirst = vld1q_u8(p), vSecond = vld1q_u8(p + 2 * kChannels);
    int16x8_t v = vmulq_s16(Tap(vFirst, st.vIndex[0]), st.stWeights.v[0]);
    v = vmlaq_s16(v, Tap(vFirst, st.vIndex[1]), st.stWeights.v[1]);
    v = vmlaq_s16(v, Tap(vSecond, st.vIndex[2]), st.stWeights.v[2]);
    return vmlaq_s16(v, Tap(vSecond, st.vIndex[3]), st.stWeights.v[3]);
}

inline int16x8_t Product(int16x8_t v, int16x8_t vWeight) {
    return vqrdmulhq_s16(v, vshlq_n_s16(vWeight, 9));
}

template <int32_t kChannels>
void Cubic(const FineRow *pRow, uint8_t *pOut, int32_t lFirst, int32_t lEnd) {
    const int32_t kPixels = 8 / kChannels;
    const int64_t llColStep = pRow->llColStep, llRowStep = pRow->llRowStep;
    const FineRows stRows = FineRowsOf(pRow, kPixels);
    const ptrdiff_t lPitch = stRows.lPitch;
    const Offsets stAcross = OffsetsOf(llColStep, kChannels);
    const Offsets stDown = OffsetsOf(llRowStep, kChannels);
    int64_t llCol = pRow->llCol + lFirst * llColStep, llRow = pRow->llRow + lFirst * llRowStep;
    for (int32_t x = lFirst; x < lEnd; x += kFineRun) {
        int32_t c = (int32_t)(llCol >> 16) + 512, r = (int32_t)(llRow >> 16) + 512;
        for (int32_t j = 0; j < 2 * kChannels; j++) {
            const uint8_t *p = PlaceOf(stRows, r, (c >> 16) * kChannels) - lPitch - kChannels;
            PrefetchRows(p, lPitch);
            const uint16x8_t vCol = vaddq_u16(Words(c), stAcross.vFraction);
            const Taps stTaps = TapsOf<kChannels>(IndexOf<kChannels>(vCol, stAcross), WeightsOf(vCol));
            const uint16x8_t vRow = vaddq_u16(Words(r), stDown.vFraction);
            int16x8_t v0 = SumLine<kChannels>(p, stTaps);
            int16x8_t v1 = SumLine<kChannels>(p + lPitch, stTaps);
            int16x8_t v2 = SumLine<kChannels>(p + 2 * lPitch, stTaps);
            int16x8_t v3 = SumLine<kChannels>(p + 3 * lPitch, stTaps);
            const int32_t lMore = MoreOf(stRows, r);
            for (int32_t i = 1; i <= lMore; i++) {
                const int16x8_t vRows = RowsOf(vRow, stDown, (r >> 16) - TopOf(stRows, r));
                const uint16x8_t vReached = vcgeq_s16(vRows, vdupq_n_s16((int16_t)i));
                v0 = vbslq_s16(vReached, v1, v0);
                v1 = vbslq_s16(vReached, v2, v1);
                v2 = vbslq_s16(vReached, v3, v2);
                v3 = vbslq_s16(vReached, SumLine<kChannels>(p + (i + 3) * lPitch, stTaps), v3);
            }
            const Weights stRow = WeightsOf(vRow);
            const int16x8_t vSum =
                vaddq_s16(vaddq_s16(Product(v0, stRow.v[0]), Product(v1, stRow.v[1])),
                          vaddq_s16(Product(v2, stRow.v[2]), Product(v3, stRow.v[3])));
            vst1_u8(pOut, vqrshrun_n_s16(vSum, 6));
            c += kPixels * (int32_t)(llColStep >> 16);
            r += kPixels * (int32_t)(llRowStep >> 16);
            pOut += 8;
        }
        llCol += kFineRun * llColStep;
        llRow += kFineRun * llRowStep;
    }
}

} // namespace

void FineLinearNeon(const FineRow *pRow, uint8_t *pOut, int32_t lFirst, int32_t lEnd) {
    const int32_t lChannels = pRow->pIn->lChannels;
    const FineKernel pKernel = lChannels == 1 ? Linear<1> : lChannels == 2 ? Linear<2> : Linear<4>;
    pKernel(pRow, pOut, lFirst, lEnd);
}
void FineCubicNeon(const FineRow *pRow, uint8_t *pOut, int32_t lFirst, int32_t lEnd) {
    const int32_t lChannels = pRow->pIn->lChannels;
    const FineKernel pKernel = lChannels == 1 ? Cubic<1> : lChannels == 2 ? Cubic<2> : Cubic<4>;
    pKernel(pRow, pOut, lFirst, lEnd);
}
#endif
