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

inline int32_t ReadSample(const FinePlane *pPlane, const uint8_t *p) {
    if (pPlane->lSampleBytes == 1) return *p;
    uint16_t l;
    __builtin_memcpy(&l, p, 2);
    return l >> pPlane->lShift;
}

inline void WriteSample(const FinePlane *pPlane, uint8_t *p, int32_t lSample) {
    const int32_t lClamped = Clamp32(lSample, 0, (1 << pPlane->lBits) - 1);
    const uint16_t l = (uint16_t)(lClamped << pPlane->lShift);
    if (pPlane->lSampleBytes == 1)
        *p = (uint8_t)l;
    else
        __builtin_memcpy(p, &l, 2);
}

// a + (b - a) * f / 256, Q7 from Q0.
inline int32_t MixAcross(int32_t a, int32_t b, int32_t f) {
    return (a << 7) + (((b - a) * f + 1) >> 1);
}

int32_t Mix(const FinePlane *pPlane, const int32_t (*p)[2], int32_t f, int32_t g) {
    if (pPlane->lSampleBytes == 1) {
        const int32_t a = MixAcross(p[0][0], p[0][1], f), b = MixAcross(p[1][0], p[1][1], f);
        return (a + (((b - a) * g + 128) >> 8) + 64) >> 7;
    }
    const uint32_t a = (uint32_t)(p[0][0] * (256 - f) + p[0][1] * f);
    const uint32_t b = (uint32_t)(p[1][0] * (256 - f) + p[1][1] * f);
    return (int32_t)((a * (uint32_t)(256 - g) + b * (uint32_t)g + 32768) >> 16);
}

int32_t Mix(const FinePlane *pPlane, const int32_t (*p)[4], int32_t f, int32_t g) {
    int32_t lAcross[4], lDown[4], lSum = 0;
    FineWeights(f, lAcross);
    FineWeights(g, lDown);
    for (int32_t i = 0; i < 4; i++) {
        int32_t l = 0;
        for (int32_t j = 0; j < 4; j++) l += p[i][j] * lAcross[j];
        lSum += pPlane->lSampleBytes == 1 ? (l * lDown[i] + 32) >> 6 : l * lDown[i];
    }
    return pPlane->lSampleBytes == 1 ? (lSum + 32) >> 6 : (lSum + 2048) >> 12;
}

template <int32_t kTaps> void Pixels(const FineRow *pRow, uint8_t *pOut, int32_t lFirst, int32_t lEnd) {
    const FinePlane *pIn = pRow->pIn;
    const int32_t lPixelBytes = pIn->lChannels * pIn->lSampleBytes;
    for (int32_t x = lFirst; x < lEnd; x++) {
        const int32_t lRun = x & -kFineRun;
        const int64_t c = FineStart(pRow->llCol, pRow->llColStep, lRun);
        const int64_t r = FineStart(pRow->llRow, pRow->llRowStep, lRun);
        const FineTaps<kTaps> stAcross =
            TapsOf<kTaps>(c + (x - lRun) * (pRow->llColStep >> 16), pIn->lWidth, lPixelBytes);
        const FineTaps<kTaps> stDown =
            TapsOf<kTaps>(r + (x - lRun) * (pRow->llRowStep >> 16), pIn->lHeight, pIn->lPitch);
        for (int32_t k = 0; k < lPixelBytes; k += pIn->lSampleBytes, pOut += pIn->lSampleBytes) {
            int32_t lSamples[kTaps][kTaps];
            for (int32_t i = 0; i < kTaps; i++)
                for (int32_t j = 0; j < kTaps; j++)
                    lSamples[i][j] =
                        ReadSample(pIn, pIn->pSamples + stDown.lAt[i] + stAcross.lAt[j] + k);
            WriteSample(pIn, pOut, Mix(pIn, lSamples, stAcross.lPhase, stDown.lPhase));
        }
    }
}

} // namespace

void FineLinearPortable(const FineRow *pRow, uint8_t *pOut, int32_t lFirst, int32_t lEnd) {
    Pixels<2>(pRow, pOut, lFirst, lEnd);
}
void FineCubicPortable(const FineRow *pRow, uint8_t *pOut, int32_t lFirst, int32_t lEnd) {
    Pixels<4>(pRow, pOut, lFirst, lEnd);
}
