// SPDX-License-Identifier: BSD-2-Clause
// Samples of two bytes: a step makes 4 of them, as 32-bit words, from one window of each source row.
#include "warp/fine_pixels.h"

#ifdef QEL_NEON
#include <arm_neon.h>

namespace {

// What is the same all along a row.
struct Layout {
    int32x4_t vAcross, vDown; // offsets of the pixels, Q16
    uint8x8_t vSamples;       // index bytes of the first pixel's samples
    int16x4_t vShift;
    int32x4_t vMost;
};

template <int32_t kChannels> inline Layout LayoutOf(const FineRow *pRow) {
    const int32_t kPixels[4] = {0, 1 / kChannels, 2 / kChannels, 3 / kChannels};
    const uint8_t kSamples[8] = {0, 1, 2 * kChannels - 2, 2 * kChannels - 1,
                                 0, 1, 2 * kChannels - 2, 2 * kChannels - 1};
    const int32x4_t vPixels = vld1q_s32(kPixels);
    return {vmulq_n_s32(vPixels, (int32_t)(pRow->llColStep >> 16)),
            vmulq_n_s32(vPixels, (int32_t)(pRow->llRowStep >> 16)), vld1_u8(kSamples),
            vdup_n_s16((int16_t)pRow->pIn->lShift), vdupq_n_s32((1 << pRow->pIn->lBits) - 1)};
}

// Index bytes of each sample at a pixel and the next one.
struct Index {
    uint8x8_t vFirst, vSecond;
};

template <int32_t kChannels> inline Index IndexOf(int32x4_t vColumns, const Layout &st) {
    const uint16x4_t vPixels = vshrn_n_u32(vreinterpretq_u32_s32(vColumns), 16);
    const uint8x8_t vBytes = vreinterpret_u8_u16(vmul_n_u16(vPixels, 0x0202 * kChannels));
    const uint8x8_t vFirst = vadd_u8(vBytes, st.vSamples);
    return {vFirst, vadd_u8(vFirst, vdup_n_u8(2 * kChannels))};
}

inline uint16x4_t Pick(uint8x16_t v, uint8x8_t vIndex, const Layout &st) {
    return vshl_u16(vreinterpret_u16_u8(vqtbl1_u8(v, vIndex)), vneg_s16(st.vShift));
}

// Writes clamped samples.
inline void Store(uint8_t *pOut, int32x4_t v, const Layout &st) {
    const int32x4_t vClamped = vmaxq_s32(vminq_s32(v, st.vMost), vdupq_n_s32(0));
    const uint16x4_t vSamples = vmovn_u32(vreinterpretq_u32_s32(vClamped));
    vst1_u8(pOut, vreinterpret_u8_u16(vshl_u16(vSamples, st.vShift)));
}

// Where pixels lie at least i rows below the topmost one.
inline uint32x4_t Reaches(int32x4_t vRows, int32_t i) {
    return vcgeq_s32(vRows, vdupq_n_s32(i * 65536));
}

// 256ths of a pixel.
inline uint32x4_t PartOf(int32x4_t vPositions) {
    return vandq_u32(vshrq_n_u32(vreinterpretq_u32_s32(vPositions), 8), vdupq_n_u32(255));
}

inline uint32x4_t MixLine(const uint8_t *p, const Layout &st, const Index &stIndex, uint16x4_t f) {
    const uint8x16_t v = vld1q_u8(p);
    const uint32x4_t vFirst = vmull_u16(Pick(v, stIndex.vFirst, st), vsub_u16(vdup_n_u16(256), f));
    return vmlal_u16(vFirst, Pick(v, stIndex.vSecond, st), f);
}

template <int32_t kChannels>
void Linear(const FineRow *pRow, uint8_t *pOut, int32_t lFirst, int32_t lEnd) {
    const int32_t kPixels = 4 / kChannels;
    const int64_t llColStep = pRow->llColStep, llRowStep = pRow->llRowStep;
    const Layout st = LayoutOf<kChannels>(pRow);
    const FineRows stRows = FineRowsOf(pRow, kPixels);
    int64_t llCol = pRow->llCol + lFirst * llColStep, llRow = pRow->llRow + lFirst * llRowStep;
    for (int32_t x = lFirst; x < lEnd; x += kFineRun) {
        int32_t c = (int32_t)(llCol >> 16), r = (int32_t)(llRow >> 16);
        for (int32_t j = 0; j < 4 * kChannels; j++) {
            const uint8_t *p = PlaceOf(stRows, r, (c >> 16) * 2 * kChannels);
            PrefetchRows(p, stRows.lPitch);
            const int32x4_t vColumns = vaddq_s32(vdupq_n_s32(c & 65535), st.vAcross);
            const int32x4_t vRows = vaddq_s32(vdupq_n_s32(r - TopOf(stRows, r) * 65536), st.vDown);
            const Index stIndex = IndexOf<kChannels>(vColumns, st);
            const uint16x4_t f = vmovn_u32(PartOf(vColumns));
            const uint32x4_t g = PartOf(vRows);
            uint32x4_t a = MixLine(p, st, stIndex, f);
            p += stRows.lPitch;
            uint32x4_t b = MixLine(p, st, stIndex, f);
            const int32_t lMore = MoreOf(stRows, r);
            for (int32_t i = 1; i <= lMore; i++) {
                p += stRows.lPitch;
                a = vbslq_u32(Reaches(vRows, i), b, a);
                b = vbslq_u32(Reaches(vRows, i), MixLine(p, st, stIndex, f), b);
            }
            const uint32x4_t vSum = vmlaq_u32(vmulq_u32(a, vsubq_u32(vdupq_n_u32(256), g)), b, g);
            Store(pOut, vreinterpretq_s32_u32(vrshrq_n_u32(vSum, 16)), st);
            c += kPixels * (int32_t)(llColStep >> 16);
            r += kPixels * (int32_t)(llRowStep >> 16);
            pOut += 8;
        }
        llCol += kFineRun * llColStep;
        llRow += kFineRun * llRowStep;
    }
}

struct Weights {
    int32x4_t v[4];
};

// Of positions in Q16, as FineWeights.
inline Weights WeightsOf(int32x4_t vPositions) {
    const int32x4_t t = vandq_s32(vshrq_n_s32(vPositions, 10), vdupq_n_s32(63));
    const int32x4_t s = vsubq_s32(vdupq_n_s32(64), t), u = vmulq_s32(t, s);
    const int32x4_t v = vmulq_n_s32(u, kSharpness);
    const int32x4_t vLinear = vmlaq_n_s32(vdupq_n_s32(-512), t, 16 - kSharpness);
    Weights st;
    st.v[0] = vrshrq_n_s32(vmulq_s32(v, s), 15);
    st.v[1] = vsubq_s32(vrshrq_n_s32(vmulq_s32(u, vLinear), 15), s);
    st.v[3] = vrshrq_n_s32(vmulq_s32(v, t), 15);
    st.v[2] = vsubq_s32(vsubq_s32(vdupq_n_s32(-64), st.v[1]), vaddq_s32(st.v[0], st.v[3]));
    return st;
}

inline int32x4_t Tap(uint8x16_t v, uint8x8_t vIndex, const Layout &st) {
    return vreinterpretq_s32_u32(vmovl_u16(Pick(v, vIndex, st)));
}

template <int32_t kChannels>
inline int32x4_t SumLine(const uint8_t *p, const Layout &st, const Index &stIndex,
                         const Weights &stAcross) {
    const uint8x16_t vFirst = vld1q_u8(p), vSecond = vld1q_u8(p + 4 * kChannels);
    int32x4_t v = vmulq_s32(Tap(vFirst, stIndex.vFirst, st), stAcross.v[0]);
    v = vmlaq_s32(v, Tap(vFirst, stIndex.vSecond, st), stAcross.v[1]);
    v = vmlaq_s32(v, Tap(vSecond, stIndex.vFirst, st), stAcross.v[2]);
    return vmlaq_s32(v, Tap(vSecond, stIndex.vSecond, st), stAcross.v[3]);
}

template <int32_t kChannels>
void Cubic(const FineRow *pRow, uint8_t *pOut, int32_t lFirst, int32_t lEnd) {
    const int32_t kPixels = 4 / kChannels;
    const int64_t llColStep = pRow->llColStep, llRowStep = pRow->llRowStep;
    const Layout st = LayoutOf<kChannels>(pRow);
    const FineRows stRows = FineRowsOf(pRow, kPixels);
    const ptrdiff_t lPitch = stRows.lPitch;
    int64_t llCol = pRow->llCol + lFirst * llColStep, llRow = pRow->llRow + lFirst * llRowStep;
    for (int32_t x = lFirst; x < lEnd; x += kFineRun) {
        int32_t c = (int32_t)(llCol >> 16) + 512, r = (int32_t)(llRow >> 16) + 512;
        for (int32_t j = 0; j < 4 * kChannels; j++) {
            const uint8_t *p = PlaceOf(stRows, r, (c >> 16) * 2 * kChannels) - lPitch - 2 * kChannels;
            PrefetchRows(p, lPitch);
            const int32x4_t vColumns = vaddq_s32(vdupq_n_s32(c & 65535), st.vAcross);
            const int32x4_t vRows = vaddq_s32(vdupq_n_s32(r - TopOf(stRows, r) * 65536), st.vDown);
            const Index stIndex = IndexOf<kChannels>(vColumns, st);
            const Weights stAcross = WeightsOf(vColumns), stDown = WeightsOf(vRows);
            int32x4_t v0 = SumLine<kChannels>(p, st, stIndex, stAcross);
            int32x4_t v1 = SumLine<kChannels>(p + lPitch, st, stIndex, stAcross);
            int32x4_t v2 = SumLine<kChannels>(p + 2 * lPitch, st, stIndex, stAcross);
            int32x4_t v3 = SumLine<kChannels>(p + 3 * lPitch, st, stIndex, stAcross);
            const int32_t lMore = MoreOf(stRows, r);
            for (int32_t i = 1; i <= lMore; i++) {
                const uint32x4_t vReached = Reaches(vRows, i);
                v0 = vbslq_s32(vReached, v1, v0);
                v1 = vbslq_s32(vReached, v2, v1);
                v2 = vbslq_s32(vReached, v3, v2);
                v3 = vbslq_s32(vReached,
                               SumLine<kChannels>(p + (i + 3) * lPitch, st, stIndex, stAcross), v3);
            }
            const int32x4_t vTop = vmlaq_s32(vmulq_s32(v0, stDown.v[0]), v1, stDown.v[1]);
            const int32x4_t vSum = vmlaq_s32(vmlaq_s32(vTop, v2, stDown.v[2]), v3, stDown.v[3]);
            Store(pOut, vrshrq_n_s32(vSum, 12), st);
            c += kPixels * (int32_t)(llColStep >> 16);
            r += kPixels * (int32_t)(llRowStep >> 16);
            pOut += 8;
        }
        llCol += kFineRun * llColStep;
        llRow += kFineRun * llRowStep;
    }
}

} // namespace

void FineLinearWordsNeon(const FineRow *pRow, uint8_t *pOut, int32_t lFirst, int32_t lEnd) {
    const FineKernel pKernel = pRow->pIn->lChannels == 1 ? Linear<1> : Linear<2>;
    pKernel(pRow, pOut, lFirst, lEnd);
}
void FineCubicWordsNeon(const FineRow *pRow, uint8_t *pOut, int32_t lFirst, int32_t lEnd) {
    const FineKernel pKernel = pRow->pIn->lChannels == 1 ? Cubic<1> : Cubic<2>;
    pKernel(pRow, pOut, lFirst, lEnd);
}
#endif
