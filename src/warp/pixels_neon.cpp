// SPDX-License-Identifier: BSD-2-Clause
// Each step makes 16 bytes from one window of each source row. Positions are 16-bit words, Q10: rows
// relative to the topmost row of the step, columns relative to the window. They are at most 1023 + 15
// * 1024.
#include "warp/pixels.h"

#ifdef QEL_NEON
#include <arm_neon.h>

namespace {

int32_t At(int32_t lStart, int32_t lStep, int32_t x) { return WrapAdd32(lStart, WrapMul32(lStep, x)); }

// Offsets of the first eight pixels along one axis, and from these to the next eight.
struct Moves {
    uint16x8_t vPixels, vEight;
};

inline uint16x8_t Words(int32_t l) { return vdupq_n_u16((uint16_t)l); }

inline Moves MovesOf(int32_t lStep) {
    const uint16_t kPixels[8] = {0, 1, 2, 3, 4, 5, 6, 7};
    return {vmulq_u16(vld1q_u16(kPixels), Words(lStep)), Words(8 * lStep)};
}

inline uint16x8_t Positions(int32_t lFirst, const Moves &stMoves) {
    return vaddq_u16(Words(lFirst), stMoves.vPixels);
}

// Positions of 16 pixels in quarters, as bytes.
inline uint8x16_t Quarters(uint16x8_t v, const Moves &stMoves) {
    return vshrn_high_n_u16(vshrn_n_u16(v, 8), vaddq_u16(v, stMoves.vEight), 8);
}

inline uint8x16_t PixelIndex(uint8x16_t vQuarters) { return vshrq_n_u8(vQuarters, 2); }
inline uint8x16_t PairIndex(uint16x8_t vColumns) {
    return vreinterpretq_u8_u16(vmlaq_u16(Words(0x0100), vshrq_n_u16(vColumns, 10), Words(0x0202)));
}

// Masks of the pixels whose fraction is 1 or 3 quarters, and 2 or 3 quarters.
struct Phase {
    uint8x16_t vOdd, vUpper;
};

inline Phase PhaseOf(uint8x16_t vQuarters) {
    return {vtstq_u8(vQuarters, vdupq_n_u8(1)), vtstq_u8(vQuarters, vdupq_n_u8(2))};
}

// Quarter weights by truncating means: at 1 quarter, the mean of a and the mean of a and b.
inline uint8x16_t Mix(uint8x16_t a, uint8x16_t b, const Phase &stPhase) {
    return vhaddq_u8(vbslq_u8(stPhase.vOdd, vhaddq_u8(a, b), a), vbslq_u8(stPhase.vUpper, b, a));
}

// The pixels of a step from one row, interpolated between its columns.
template <bool kZoom>
inline uint8x16_t Line(const uint8_t *p, uint8x16_t vIndex, const Phase &stPhase) {
    const uint8x16_t a = vld1q_u8(p), b = vld1q_u8(p + 1);
    return kZoom ? Mix(vqtbl1q_u8(a, vIndex), vqtbl1q_u8(b, vIndex), stPhase) : Mix(a, b, stPhase);
}

template <bool kZoom>
void Luma(const PixelPlane *pPlane, uint8_t *pOut, int32_t lR, int32_t lC, int32_t lZ, int32_t lS,
          int32_t lFirst, int32_t lEnd) {
    const ptrdiff_t lStride = pPlane->lStride;
    const Moves stDown = MovesOf(lS), stAcross = MovesOf(lZ);
    uint8x16_t vIndex = vdupq_n_u8(0);
    Phase stPhase = PhaseOf(vdupq_n_u8(lC >> 8 & 3));
    for (int32_t x = lFirst;;) {
        const int32_t c = At(lC, lZ, x);
        const PixelRows stRows = PixelRowsOf(pPlane, At(lR, lS, x), lS, 16);
        const uint8_t *p = stRows.pTop + (c >> 10);
        PrefetchBelow(p, lStride);
        if (kZoom) {
            const uint8x16_t vQuarters = Quarters(Positions(c & 1023, stAcross), stAcross);
            vIndex = PixelIndex(vQuarters);
            stPhase = PhaseOf(vQuarters);
        }
        const uint8x16_t vRows = Quarters(Positions(stRows.lOffset, stDown), stDown);
        uint8x16_t vTop = Line<kZoom>(p, vIndex, stPhase);
        uint8x16_t vNext = Line<kZoom>(p + lStride, vIndex, stPhase);
        uint8x16_t vBelow = vNext;
        for (int32_t i = 1; i <= stRows.lMore; i++) {
            const uint8x16_t vReached = vcgeq_u8(vRows, vdupq_n_u8((uint8_t)(4 * i)));
            vTop = vbslq_u8(vReached, vNext, vTop);
            vNext = Line<kZoom>(p + (i + 1) * lStride, vIndex, stPhase);
            vBelow = vbslq_u8(vReached, vNext, vBelow);
        }
        vst1q_u8(pOut + x, Mix(vTop, vBelow, PhaseOf(vRows)));
        x += 16;
        if (x >= lEnd) return;
        x = Min32(x, lEnd - 16);
    }
}

// Samples of kBytes bytes; rows are held in elements of that size.
template <int32_t kBytes>
void Nearest(const PixelPlane *pPlane, uint8_t *pOut, int32_t lR, int32_t lC, int32_t lZ, int32_t lS,
             int32_t lFirst, int32_t lEnd) {
    const ptrdiff_t lStride = pPlane->lStride;
    const int32_t lLane = 16 / kBytes;
    const Moves stDown = MovesOf(lS), stAcross = MovesOf(lZ);
    for (int32_t x = lFirst;;) {
        const int32_t c = At(lC, lZ, x);
        const PixelRows stRows = PixelRowsOf(pPlane, At(lR, lS, x), lS, lLane);
        const uint8_t *p = stRows.pTop + kBytes * (c >> 10);
        PrefetchBelow(p, lStride);
        const uint16x8_t vColumns = Positions(c & 1023, stAcross);
        const uint8x16_t vIndex =
            kBytes == 1 ? PixelIndex(Quarters(vColumns, stAcross)) : PairIndex(vColumns);
        uint8x16_t v = vqtbl1q_u8(vld1q_u8(p), vIndex);
        for (int32_t i = 1; i <= stRows.lMore; i++) {
            const uint16x8_t vRows = Positions(stRows.lOffset, stDown);
            const uint8x16_t vReached =
                kBytes == 1 ? vcgeq_u8(Quarters(vRows, stDown), vdupq_n_u8((uint8_t)(4 * i)))
                            : vreinterpretq_u8_u16(vcgeq_u16(vRows, Words(1024 * i)));
            v = vbslq_u8(vReached, vqtbl1q_u8(vld1q_u8(p + i * lStride), vIndex), v);
        }
        vst1q_u8(pOut + (ptrdiff_t)kBytes * x, v);
        x += lLane;
        if (x >= lEnd) return;
        x = Min32(x, lEnd - lLane);
    }
}

} // namespace

// Without a zoom all columns have the same phase, and the bytes of a window need no shuffle.
void LumaPixelsNeon(const PixelPlane *pPlane, uint8_t *pOut, int32_t lR, int32_t lC, int32_t lZ,
                    int32_t lS, int32_t lFirst, int32_t lEnd) {
    const PixelKernel pWide = lZ == 1024 ? Luma<false> : Luma<true>;
    const PixelKernel pKernel = lEnd - lFirst < 16 ? LumaPixelsPortable : pWide;
    pKernel(pPlane, pOut, lR, lC, lZ, lS, lFirst, lEnd);
}
void NearestPixelsNeon(const PixelPlane *pPlane, uint8_t *pOut, int32_t lR, int32_t lC, int32_t lZ,
                       int32_t lS, int32_t lFirst, int32_t lEnd) {
    const PixelKernel pKernel = lEnd - lFirst < 16 ? NearestPixelsPortable : Nearest<1>;
    pKernel(pPlane, pOut, lR, lC, lZ, lS, lFirst, lEnd);
}
void NearestPairsNeon(const PixelPlane *pPlane, uint8_t *pOut, int32_t lR, int32_t lC, int32_t lZ,
                      int32_t lS, int32_t lFirst, int32_t lEnd) {
    const PixelKernel pKernel = lEnd - lFirst < 8 ? NearestPairsPortable : Nearest<2>;
    pKernel(pPlane, pOut, lR, lC, lZ, lS, lFirst, lEnd);
}
#endif
