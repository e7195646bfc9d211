// SPDX-License-Identifier: BSD-2-Clause
#include "warp/fine_pixels.h"

namespace {

// Taps of a position along one axis.
template <int32_t kTaps> struct FineTaps {
    ptrdiff_t lAt[kTaps]; // bytes from the plane's first sample
    int32_t lPhase;       // 256ths of a pixel, or 64ths with 4 taps
};

template <int32_t kTaps> FineTaps<kTaps> TapsOf(int64_t llQ16, int32_t lSize, ptrdiff_t lBytes) {
    const int64_t ll = kTaps == 4 ? llQ16 + 512 : llQ16; // to the nearest phase
    FineTaps<kTaps> st;
    for (int32_t i = 0; i < kTaps; i++) {
        const int64_t llTap = (ll >> 16) + i - (kTaps == 4);
        st.lAt[i] = (ptrdiff_t)(llTap < 0 ? 0 : llTap >= lSize ? lSize - 1 : llTap) * lBytes;
    }
    st.lPhase = kTaps == 4 ? (int32_t)(ll >> 10 & 63) : (int32_t)(ll >> 8 & 255);
    return st;
}

template <int32_t kBytes> inline int32_t ReadSample(const uint8_t *p, int32_t lShift) {
    if (kBytes == 1) return *p;
    uint16_t l;
    __builtin_memcpy(&l, p, 2);
    return l >> lShift;
}

template <int32_t kBytes>
inline void WriteSample(uint8_t *p, int32_t lSample, const FinePlane *pPlane) {
    const int32_t lClamped = Clamp32(lSample, 0, (1 << pPlane->lBits) - 1);
    const uint16_t l = (uint16_t)(lClamped << pPlane->lShift);
    if (kBytes == 1)
        *p = (uint8_t)l;
    else
        __builtin_memcpy(p, &l, 2);
}

// Weights of the taps along one axis.
template <int32_t kTaps> struct FineMix { int32_t l[kTaps]; };

inline void WeighTaps(int32_t lPhase, FineMix<2> *pMix) { *pMix = {{256 - lPhase, lPhase}}; }
inline void WeighTaps(int32_t lPhase, FineMix<4> *pMix) { FineWeights(lPhase, pMix->l); }

template <int32_t kBytes> inline int32_t MixLine(const int32_t *p, const FineMix<2> &st) {
    if (kBytes == 1) return (p[0] << 7) + (((p[1] - p[0]) * st.l[1] + 1) >> 1);
    return p[0] * st.l[0] + p[1] * st.l[1];
}
template <int32_t kBytes> inline int32_t MixLine(const int32_t *p, const FineMix<4> &st) {
    return p[0] * st.l[0] + p[1] * st.l[1] + p[2] * st.l[2] + p[3] * st.l[3];
}

template <int32_t kBytes> inline int32_t MixLines(const int32_t *p, const FineMix<2> &st) {
    if (kBytes == 1) return (p[0] + (((p[1] - p[0]) * st.l[1] + 128) >> 8) + 64) >> 7;
    const uint32_t lTop = (uint32_t)p[0] * (uint32_t)st.l[0];
    return (int32_t)((lTop + (uint32_t)p[1] * (uint32_t)st.l[1] + 32768) >> 16);
}
template <int32_t kBytes> inline int32_t MixLines(const int32_t *p, const FineMix<4> &st) {
    int32_t lSum = 0;
    for (int32_t i = 0; i < 4; i++) lSum += kBytes == 1 ? (p[i] * st.l[i] + 32) >> 6 : p[i] * st.l[i];
    return kBytes == 1 ? (lSum + 32) >> 6 : (lSum + 2048) >> 12;
}

template <int32_t kTaps, int32_t kBytes>
void Pixels(const FineRow *pRow, uint8_t *pOut, int32_t lFirst, int32_t lEnd) {
    const FinePlane stIn = *pRow->pIn;
    const int32_t lPixelBytes = PixelBytes(&stIn);
    for (int32_t x = lFirst; x < lEnd; x++) {
        const int64_t c = FinePosition(pRow->llCol, pRow->llColStep, x);
        const int64_t r = FinePosition(pRow->llRow, pRow->llRowStep, x);
        const FineTaps<kTaps> stAcross = TapsOf<kTaps>(c, stIn.lWidth, lPixelBytes);
        const FineTaps<kTaps> stDown = TapsOf<kTaps>(r, stIn.lHeight, stIn.lPitch);
        FineMix<kTaps> stColumns, stRows;
        WeighTaps(stAcross.lPhase, &stColumns);
        WeighTaps(stDown.lPhase, &stRows);
        const uint8_t *p = stIn.pSamples;
        for (int32_t k = 0; k < stIn.lChannels; k++, p += kBytes, pOut += kBytes) {
            int32_t lLines[kTaps], lSamples[kTaps];
            for (int32_t i = 0; i < kTaps; i++) {
                for (int32_t j = 0; j < kTaps; j++)
                    lSamples[j] = ReadSample<kBytes>(p + stDown.lAt[i] + stAcross.lAt[j], stIn.lShift);
                lLines[i] = MixLine<kBytes>(lSamples, stColumns);
            }
            WriteSample<kBytes>(pOut, MixLines<kBytes>(lLines, stRows), &stIn);
        }
    }
}

} // namespace

void FineLinearPortable(const FineRow *pRow, uint8_t *pOut, int32_t lFirst, int32_t lEnd) {
    const FineKernel pKernel = pRow->pIn->lSampleBytes == 1 ? Pixels<2, 1> : Pixels<2, 2>;
    pKernel(pRow, pOut, lFirst, lEnd);
}
void FineCubicPortable(const FineRow *pRow, uint8_t *pOut, int32_t lFirst, int32_t lEnd) {
    const FineKernel pKernel = pRow->pIn->lSampleBytes == 1 ? Pixels<4, 1> : Pixels<4, 2>;
    pKernel(pRow, pOut, lFirst, lEnd);
}
