// SPDX-License-Identifier: BSD-2-Clause
// Samples of two bytes: a step makes 4 samples in each of two lanes, as 32-bit words, from one window
// of each source row for each lane. The multiplications take signed samples: 32768 is taken off each of
// them and, times the sum of all weights, added again at the end.
#include "warp/fine_pixels.h"

#ifdef QEL_AVX2
#include <immintrin.h>

namespace {

QEL_AVX2 inline __m256i Dwords(int32_t l) { return _mm256_set1_epi32(l); }

// What is the same all along a row.
struct Layout {
    __m256i vAcross, vDown; // offsets of the pixels, Q16; columns from the lane's window
    __m256i vSamples;       // index bytes of a pixel and its neighbour
    __m128i vShift;
    __m256i vMost;
    ptrdiff_t lHigh; // bytes between the windows of both lanes
};

template <int32_t kChannels> QEL_AVX2 inline Layout LayoutOf(const FineRow *pRow) {
    const int32_t lAcross = (int32_t)(pRow->llColStep >> 16), lDown = (int32_t)(pRow->llRowStep >> 16);
    const int32_t lHigh = lAcross * (4 / kChannels) >> 16, kOdd = kChannels - 1;
    const __m256i vPixels = kChannels == 1 ? _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7)
                                           : _mm256_setr_epi32(0, 0, 1, 1, 2, 2, 3, 3);
    const __m256i vLanes = _mm256_setr_epi32(0, 0, 0, 0, 1, 1, 1, 1);
    const __m256i vChannels = _mm256_setr_epi32(0, kOdd, 0, kOdd, 0, kOdd, 0, kOdd);
    const int32_t lPair = 0x01000100 + kChannels * 0x02020000;
    Layout st;
    st.vAcross = _mm256_sub_epi32(_mm256_mullo_epi32(vPixels, Dwords(lAcross)),
                                  _mm256_mullo_epi32(vLanes, Dwords(lHigh * 65536)));
    st.vDown = _mm256_mullo_epi32(vPixels, Dwords(lDown));
    st.vSamples = _mm256_add_epi32(_mm256_mullo_epi32(vChannels, Dwords(0x02020202)), Dwords(lPair));
    st.vShift = _mm_cvtsi32_si128(pRow->pIn->lShift);
    st.vMost = Dwords((1 << pRow->pIn->lBits) - 1);
    st.lHigh = 2 * kChannels * lHigh;
    return st;
}

// The samples of a row that an index picks, less 32768.
QEL_AVX2 inline __m256i Pick(const uint8_t *p, const Layout &st, __m256i vIndex) {
    const __m128i vLow = _mm_loadu_si128((const __m128i *)p);
    const __m128i vHigh = _mm_loadu_si128((const __m128i *)(p + st.lHigh));
    const __m256i v = _mm256_inserti128_si256(_mm256_castsi128_si256(vLow), vHigh, 1);
    const __m256i vSamples = _mm256_srl_epi16(_mm256_shuffle_epi8(v, vIndex), st.vShift);
    return _mm256_xor_si256(vSamples, _mm256_set1_epi16(-32768));
}

template <int32_t kChannels> QEL_AVX2 inline __m256i IndexOf(__m256i vColumns, const Layout &st) {
    const __m256i vBytes = _mm256_slli_epi32(_mm256_srli_epi32(vColumns, 16), kChannels);
    const __m256i vFirst =
        _mm256_broadcastsi128_si256(_mm_setr_epi8(0, 0, 0, 0, 4, 4, 4, 4, 8, 8, 8, 8, 12, 12, 12, 12));
    return _mm256_add_epi8(_mm256_shuffle_epi8(vBytes, vFirst), st.vSamples);
}

// Writes clamped samples.
QEL_AVX2 inline void Store(uint8_t *pOut, __m256i v, const Layout &st) {
    const __m256i vClamped = _mm256_max_epi32(_mm256_min_epi32(v, st.vMost), _mm256_setzero_si256());
    const __m256i vShifted = _mm256_sll_epi32(vClamped, st.vShift);
    const __m256i vWords = _mm256_permute4x64_epi64(_mm256_packus_epi32(vShifted, vShifted), 8);
    _mm_storeu_si128((__m128i *)pOut, _mm256_castsi256_si128(vWords));
}

// Where pixels lie at least i rows below the topmost one.
QEL_AVX2 inline __m256i Reaches(__m256i vRows, int32_t i) {
    return _mm256_cmpgt_epi32(vRows, Dwords(i * 65536 - 1));
}

template <int32_t kChannels>
QEL_AVX2 void Linear(const FineRow *pRow, uint8_t *pOut, int32_t lFirst, int32_t lEnd) {
    const int32_t kPixels = 8 / kChannels;
    const int64_t llColStep = pRow->llColStep, llRowStep = pRow->llRowStep;
    const Layout st = LayoutOf<kChannels>(pRow);
    const FineRows stRows = FineRowsOf(pRow, kPixels);
    int64_t llCol = pRow->llCol + lFirst * llColStep, llRow = pRow->llRow + lFirst * llRowStep;
    for (int32_t x = lFirst; x < lEnd; x += kFineRun) {
        int32_t c = (int32_t)(llCol >> 16), r = (int32_t)(llRow >> 16);
        for (int32_t j = 0; j < 2 * kChannels; j++) {
            const uint8_t *p = PlaceOf(stRows, r, (c >> 16) * 2 * kChannels);
            PrefetchRows(p, stRows.lPitch);
            const __m256i vColumns = _mm256_add_epi32(Dwords(c & 65535), st.vAcross);
            const __m256i vRows = _mm256_add_epi32(Dwords(r - TopOf(stRows, r) * 65536), st.vDown);
            const __m256i vIndex = IndexOf<kChannels>(vColumns, st);
            const __m256i f = _mm256_and_si256(_mm256_srli_epi32(vColumns, 8), Dwords(255));
            const __m256i g = _mm256_and_si256(_mm256_srli_epi32(vRows, 8), Dwords(255));
            const __m256i vWeights =
                _mm256_add_epi32(_mm256_sub_epi32(_mm256_slli_epi32(f, 16), f), Dwords(256));
            __m256i a = _mm256_madd_epi16(Pick(p, st, vIndex), vWeights);
            p += stRows.lPitch;
            __m256i b = _mm256_madd_epi16(Pick(p, st, vIndex), vWeights);
            const int32_t lMore = MoreOf(stRows, r);
            for (int32_t i = 1; i <= lMore; i++) {
                p += stRows.lPitch;
                a = _mm256_blendv_epi8(a, b, Reaches(vRows, i));
                b = _mm256_blendv_epi8(b, _mm256_madd_epi16(Pick(p, st, vIndex), vWeights),
                                       Reaches(vRows, i));
            }
            const __m256i vSum = _mm256_add_epi32(_mm256_slli_epi32(a, 8),
                                                  _mm256_mullo_epi32(_mm256_sub_epi32(b, a), g));
            const __m256i vRounded = _mm256_add_epi32(vSum, Dwords(32768 + INT32_MIN));
            Store(pOut, _mm256_srli_epi32(vRounded, 16), st);
            c += kPixels * (int32_t)(llColStep >> 16);
            r += kPixels * (int32_t)(llRowStep >> 16);
            pOut += 16;
        }
        llCol += kFineRun * llColStep;
        llRow += kFineRun * llRowStep;
    }
}

struct Weights {
    __m256i v[4];
};

// Of positions in Q16, as FineWeights.
QEL_AVX2 inline Weights WeightsOf(__m256i vPositions) {
    const __m256i t = _mm256_and_si256(_mm256_srli_epi32(vPositions, 10), Dwords(63));
    const __m256i s = _mm256_sub_epi32(Dwords(64), t), u = _mm256_mullo_epi16(t, s);
    const __m256i v = _mm256_mullo_epi16(u, Dwords(kSharpness));
    const __m256i vLinear =
        _mm256_sub_epi32(_mm256_mullo_epi16(t, Dwords(16 - kSharpness)), Dwords(512));
    const __m256i vProduct =
        _mm256_slli_epi32(_mm256_mulhrs_epi16(u, vLinear), 16); // gets its sign back
    Weights st;
    st.v[0] = _mm256_mulhrs_epi16(v, s);
    st.v[1] = _mm256_sub_epi32(_mm256_srai_epi32(vProduct, 16), s);
    st.v[3] = _mm256_mulhrs_epi16(v, t);
    st.v[2] =
        _mm256_sub_epi32(_mm256_sub_epi32(Dwords(-64), st.v[1]), _mm256_add_epi32(st.v[0], st.v[3]));
    return st;
}

QEL_AVX2 inline __m256i Pairs(__m256i vFirst, __m256i vSecond) {
    return _mm256_blend_epi16(vFirst, _mm256_slli_epi32(vSecond, 16), 0xAA);
}

// Pairs of neighbouring columns, and their weights.
struct Taps {
    __m256i vIndex, vFirst, vSecond;
};

template <int32_t kChannels>
QEL_AVX2 inline __m256i SumLine(const uint8_t *p, const Layout &st, const Taps &stTaps) {
    const __m256i vFirst = _mm256_madd_epi16(Pick(p, st, stTaps.vIndex), stTaps.vFirst);
    const __m256i vSecond = Pick(p + 4 * kChannels, st, stTaps.vIndex);
    return _mm256_add_epi32(vFirst, _mm256_madd_epi16(vSecond, stTaps.vSecond));
}

template <int32_t kChannels>
QEL_AVX2 void Cubic(const FineRow *pRow, uint8_t *pOut, int32_t lFirst, int32_t lEnd) {
    const int32_t kPixels = 8 / kChannels;
    const int64_t llColStep = pRow->llColStep, llRowStep = pRow->llRowStep;
    const Layout st = LayoutOf<kChannels>(pRow);
    const FineRows stRows = FineRowsOf(pRow, kPixels);
    const ptrdiff_t lPitch = stRows.lPitch;
    int64_t llCol = pRow->llCol + lFirst * llColStep, llRow = pRow->llRow + lFirst * llRowStep;
    for (int32_t x = lFirst; x < lEnd; x += kFineRun) {
        int32_t c = (int32_t)(llCol >> 16) + 512, r = (int32_t)(llRow >> 16) + 512;
        for (int32_t j = 0; j < 2 * kChannels; j++) {
            const uint8_t *p = PlaceOf(stRows, r, (c >> 16) * 2 * kChannels) - lPitch - 2 * kChannels;
            PrefetchRows(p, lPitch);
            const __m256i vColumns = _mm256_add_epi32(Dwords(c & 65535), st.vAcross);
            const __m256i vRows = _mm256_add_epi32(Dwords(r - TopOf(stRows, r) * 65536), st.vDown);
            const Weights stAcross = WeightsOf(vColumns), stDown = WeightsOf(vRows);
            const Taps stTaps = {IndexOf<kChannels>(vColumns, st), Pairs(stAcross.v[0], stAcross.v[1]),
                                 Pairs(stAcross.v[2], stAcross.v[3])};
            __m256i v0 = SumLine<kChannels>(p, st, stTaps);
            __m256i v1 = SumLine<kChannels>(p + lPitch, st, stTaps);
            __m256i v2 = SumLine<kChannels>(p + 2 * lPitch, st, stTaps);
            __m256i v3 = SumLine<kChannels>(p + 3 * lPitch, st, stTaps);
            const int32_t lMore = MoreOf(stRows, r);
            for (int32_t i = 1; i <= lMore; i++) {
                const __m256i vReached = Reaches(vRows, i);
                v0 = _mm256_blendv_epi8(v0, v1, vReached);
                v1 = _mm256_blendv_epi8(v1, v2, vReached);
                v2 = _mm256_blendv_epi8(v2, v3, vReached);
                v3 = _mm256_blendv_epi8(v3, SumLine<kChannels>(p + (i + 3) * lPitch, st, stTaps),
                                        vReached);
            }
            const __m256i vTop = _mm256_add_epi32(_mm256_mullo_epi32(v0, stDown.v[0]),
                                                  _mm256_mullo_epi32(v1, stDown.v[1]));
            const __m256i vBottom = _mm256_add_epi32(_mm256_mullo_epi32(v2, stDown.v[2]),
                                                     _mm256_mullo_epi32(v3, stDown.v[3]));
            const __m256i vSum = _mm256_add_epi32(vTop, vBottom);
            const __m256i vRounded = _mm256_add_epi32(vSum, Dwords(2048 + 32768 * 64 * 64));
            Store(pOut, _mm256_srai_epi32(vRounded, 12), st);
            c += kPixels * (int32_t)(llColStep >> 16);
            r += kPixels * (int32_t)(llRowStep >> 16);
            pOut += 16;
        }
        llCol += kFineRun * llColStep;
        llRow += kFineRun * llRowStep;
    }
}

} // namespace

void FineLinearWordsAvx2(const FineRow *pRow, uint8_t *pOut, int32_t lFirst, int32_t lEnd) {
    const FineKernel pWide = pRow->pIn->lChannels == 1 ? Linear<1> : Linear<2>;
    const FineKernel pKernel = FitsTwoLanes(pRow) ? pWide : FineLinearPortable;
    pKernel(pRow, pOut, lFirst, lEnd);
}
void FineCubicWordsAvx2(const FineRow *pRow, uint8_t *pOut, int32_t lFirst, int32_t lEnd) {
    const FineKernel pWide = pRow->pIn->lChannels == 1 ? Cubic<1> : Cubic<2>;
    const FineKernel pKernel = FitsTwoLanes(pRow) ? pWide : FineCubicPortable;
    pKernel(pRow, pOut, lFirst, lEnd);
}
#endif
