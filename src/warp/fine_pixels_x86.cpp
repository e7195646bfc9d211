// SPDX-License-Identifier: BSD-2-Clause
// A step makes 8 samples in each lane, as 16-bit words, from one window of each source row for each
// lane; AVX2 has two lanes. Positions are fractions in 65536ths of a pixel, to which the constant
// offsets of the pixels are added: a sum that wraps around has carried into the whole pixels.
#include "warp/fine_pixels.h"

#ifdef QEL_X86
#include <immintrin.h>

namespace {

#ifdef QEL_AVX2
// ---- AVX2 ----

QEL_AVX2 inline __m256i Words256(int32_t l) { return _mm256_set1_epi16((int16_t)l); }

QEL_AVX2 inline __m256i Load256(const uint8_t *pLow, const uint8_t *pHigh) {
    const __m128i vLow = _mm_loadu_si128((const __m128i *)pLow);
    const __m128i vHigh = _mm_loadu_si128((const __m128i *)pHigh);
    return _mm256_inserti128_si256(_mm256_castsi128_si256(vLow), vHigh, 1);
}

struct Offsets256 {
    __m256i vNext, vFraction; // whole pixels + 1, and fractions
    int32_t lHigh;            // whole pixels from the low lane to the high one
};

QEL_AVX2 inline Offsets256 OffsetsOf256(int64_t llStep, int32_t lChannels) {
    const FineOffsets st = FineOffsetsOf(llStep, lChannels);
    const __m256i vWhole = _mm256_loadu_si256((const __m256i *)st.lWhole);
    return {_mm256_add_epi16(vWhole, Words256(1)), _mm256_loadu_si256((const __m256i *)st.lFraction),
            st.lWhole[8]};
}

// Index bytes of each sample's first tap, where its position carries, in both bytes of a word.
template <int32_t kChannels> QEL_AVX2 inline __m256i IndexOf256(const Offsets256 &st) {
    const __m128i vChannel = _mm_set_epi16(7 % kChannels, 6 % kChannels, 5 % kChannels, 4 % kChannels,
                                           3 % kChannels, 2 % kChannels, 1 % kChannels, 0);
    const __m256i vLanes =
        _mm256_inserti128_si256(_mm256_setzero_si256(), _mm_set1_epi16((int16_t)st.lHigh), 1);
    const __m256i vPixels = _mm256_sub_epi16(st.vNext, vLanes);
    const __m256i v = _mm256_add_epi16(_mm256_mullo_epi16(vPixels, Words256(kChannels)),
                                       _mm256_broadcastsi128_si256(vChannel));
    return _mm256_mullo_epi16(v, Words256(0x0101));
}

// All bits where the fraction has not carried.
QEL_AVX2 inline __m256i Stays256(__m256i vFraction, const Offsets256 &st) {
    return _mm256_cmpeq_epi16(_mm256_subs_epu16(st.vFraction, vFraction), _mm256_setzero_si256());
}

QEL_AVX2 inline __m256i RowsOf256(__m256i vFraction, const Offsets256 &stDown, int32_t lFirst) {
    return _mm256_add_epi16(_mm256_add_epi16(stDown.vNext, Stays256(vFraction, stDown)),
                            Words256(lFirst));
}

QEL_AVX2 inline void Store256(uint8_t *pOut, __m256i v) {
    const __m256i vBytes = _mm256_permute4x64_epi64(_mm256_packus_epi16(v, v), 8);
    _mm_storeu_si128((__m128i *)pOut, _mm256_castsi256_si128(vBytes));
}

QEL_AVX2 inline __m256i MixLine256(const uint8_t *pLow, const uint8_t *pHigh, __m256i vLeft,
                                   __m256i vRight, __m256i f) {
    const __m256i v = Load256(pLow, pHigh);
    const __m256i a = _mm256_srli_epi16(_mm256_shuffle_epi8(v, vLeft), 1);
    const __m256i b = _mm256_srli_epi16(_mm256_shuffle_epi8(v, vRight), 1);
    return _mm256_add_epi16(a, _mm256_mulhrs_epi16(_mm256_sub_epi16(b, a), f));
}

// 256ths of a pixel as Q15.
QEL_AVX2 inline __m256i Part256(__m256i vFraction) {
    return _mm256_srli_epi16(_mm256_and_si256(vFraction, Words256(0xFF00)), 1);
}

template <int32_t kChannels>
QEL_AVX2 void Linear256(const FineRow *pRow, uint8_t *pOut, int32_t lFirst, int32_t lEnd) {
    const int32_t kPixels = 16 / kChannels;
    const int64_t llColStep = pRow->llColStep, llRowStep = pRow->llRowStep;
    const FineRows stRows = FineRowsOf(pRow, kPixels);
    const ptrdiff_t lPitch = stRows.lPitch;
    const Offsets256 stAcross = OffsetsOf256(llColStep, kChannels);
    const Offsets256 stDown = OffsetsOf256(llRowStep, kChannels);
    const ptrdiff_t lHigh = stAcross.lHigh * kChannels;
    // a tap's byte becomes the upper one of a word, over 0
    const __m256i vIndex = _mm256_or_si256(
        _mm256_and_si256(IndexOf256<kChannels>(stAcross), Words256(0xFF00)), Words256(0x80));
    int64_t llCol = pRow->llCol + lFirst * llColStep, llRow = pRow->llRow + lFirst * llRowStep;
    for (int32_t x = lFirst; x < lEnd; x += kFineRun) {
        int32_t c = (int32_t)(llCol >> 16), r = (int32_t)(llRow >> 16);
        for (int32_t j = 0; j < kChannels; j++) {
            const uint8_t *p = PlaceOf(stRows, r, (c >> 16) * kChannels);
            PrefetchRows(p, lPitch);
            const __m256i vCol = _mm256_add_epi16(Words256(c), stAcross.vFraction);
            const __m256i vStays = _mm256_and_si256(Stays256(vCol, stAcross), Words256(kChannels << 8));
            const __m256i vLeft = _mm256_sub_epi16(vIndex, vStays);
            const __m256i vRight = _mm256_add_epi16(vLeft, Words256(kChannels << 8));
            const __m256i f = Part256(vCol);
            const __m256i vRow = _mm256_add_epi16(Words256(r), stDown.vFraction);
            __m256i a = MixLine256(p, p + lHigh, vLeft, vRight, f);
            p += lPitch;
            __m256i b = MixLine256(p, p + lHigh, vLeft, vRight, f);
            const int32_t lMore = MoreOf(stRows, r);
            for (int32_t i = 1; i <= lMore; i++) {
                const __m256i vRows = RowsOf256(vRow, stDown, (r >> 16) - TopOf(stRows, r));
                const __m256i vReached = _mm256_cmpgt_epi16(vRows, Words256(i - 1));
                p += lPitch;
                a = _mm256_blendv_epi8(a, b, vReached);
                b = _mm256_blendv_epi8(b, MixLine256(p, p + lHigh, vLeft, vRight, f), vReached);
            }
            const __m256i v =
                _mm256_add_epi16(a, _mm256_mulhrs_epi16(_mm256_sub_epi16(b, a), Part256(vRow)));
            Store256(pOut, _mm256_srli_epi16(_mm256_add_epi16(v, Words256(64)), 7));
            c += kPixels * (int32_t)(llColStep >> 16);
            r += kPixels * (int32_t)(llRowStep >> 16);
            pOut += 16;
        }
        llCol += kFineRun * llColStep;
        llRow += kFineRun * llRowStep;
    }
}

struct Weights256 {
    __m256i v[4];
};

// Of positions in 65536ths, as FineWeights.
QEL_AVX2 inline Weights256 WeightsOf256(__m256i vFraction) {
    const __m256i t = _mm256_srli_epi16(vFraction, 10), s = _mm256_sub_epi16(Words256(64), t);
    const __m256i u = _mm256_mullo_epi16(t, s), v = _mm256_mullo_epi16(u, Words256(kSharpness));
    const __m256i vLinear =
        _mm256_sub_epi16(_mm256_mullo_epi16(t, Words256(16 - kSharpness)), Words256(512));
    Weights256 st;
    st.v[0] = _mm256_mulhrs_epi16(v, s);
    st.v[1] = _mm256_sub_epi16(_mm256_mulhrs_epi16(u, vLinear), s);
    st.v[3] = _mm256_mulhrs_epi16(v, t);
    st.v[2] =
        _mm256_sub_epi16(_mm256_sub_epi16(Words256(-64), st.v[1]), _mm256_add_epi16(st.v[0], st.v[3]));
    return st;
}

QEL_AVX2 inline __m256i Pairs256(__m256i vFirst, __m256i vSecond) {
    return _mm256_or_si256(_mm256_and_si256(vFirst, Words256(255)), _mm256_slli_epi16(vSecond, 8));
}

// Taps of columns: pairs of neighbours, and their weights.
struct Taps256 {
    __m256i vIndex, vFirst, vSecond;
    ptrdiff_t lHigh;
};

template <int32_t kChannels> QEL_AVX2 inline __m256i SumLine256(const uint8_t *p, const Taps256 &st) {
    const __m256i vFirst = Load256(p, p + st.lHigh);
    p += 2 * kChannels;
    const __m256i vSecond = Load256(p, p + st.lHigh);
    return _mm256_add_epi16(_mm256_maddubs_epi16(_mm256_shuffle_epi8(vFirst, st.vIndex), st.vFirst),
                            _mm256_maddubs_epi16(_mm256_shuffle_epi8(vSecond, st.vIndex), st.vSecond));
}

QEL_AVX2 inline __m256i Product256(__m256i v, __m256i vWeight) {
    return _mm256_mulhrs_epi16(v, _mm256_slli_epi16(vWeight, 9));
}

template <int32_t kChannels>
QEL_AVX2 void Cubic256(const FineRow *pRow, uint8_t *pOut, int32_t lFirst, int32_t lEnd) {
    const int32_t kPixels = 16 / kChannels;
    const int64_t llColStep = pRow->llColStep, llRowStep = pRow->llRowStep;
    const FineRows stRows = FineRowsOf(pRow, kPixels);
    const ptrdiff_t lPitch = stRows.lPitch;
    const Offsets256 stAcross = OffsetsOf256(llColStep, kChannels);
    const Offsets256 stDown = OffsetsOf256(llRowStep, kChannels);
    const __m256i vIndex = _mm256_add_epi16(IndexOf256<kChannels>(stAcross), Words256(kChannels << 8));
    int64_t llCol = pRow->llCol + lFirst * llColStep, llRow = pRow->llRow + lFirst * llRowStep;
    for (int32_t x = lFirst; x < lEnd; x += kFineRun) {
        int32_t c = (int32_t)(llCol >> 16) + 512, r = (int32_t)(llRow >> 16) + 512;
        for (int32_t j = 0; j < kChannels; j++) {
            const uint8_t *p = PlaceOf(stRows, r, (c >> 16) * kChannels) - lPitch - kChannels;
            PrefetchRows(p, lPitch);
            const __m256i vCol = _mm256_add_epi16(Words256(c), stAcross.vFraction);
            const __m256i vStays =
                _mm256_and_si256(Stays256(vCol, stAcross), Words256(kChannels * 0x0101));
            const Weights256 stCol = WeightsOf256(vCol);
            const Taps256 stTaps = {_mm256_sub_epi16(vIndex, vStays), Pairs256(stCol.v[0], stCol.v[1]),
                                    Pairs256(stCol.v[2], stCol.v[3]), stAcross.lHigh * kChannels};
            const __m256i vRow = _mm256_add_epi16(Words256(r), stDown.vFraction);
            __m256i v0 = SumLine256<kChannels>(p, stTaps);
            __m256i v1 = SumLine256<kChannels>(p + lPitch, stTaps);
            __m256i v2 = SumLine256<kChannels>(p + 2 * lPitch, stTaps);
            __m256i v3 = SumLine256<kChannels>(p + 3 * lPitch, stTaps);
            const int32_t lMore = MoreOf(stRows, r);
            for (int32_t i = 1; i <= lMore; i++) {
                const __m256i vRows = RowsOf256(vRow, stDown, (r >> 16) - TopOf(stRows, r));
                const __m256i vReached = _mm256_cmpgt_epi16(vRows, Words256(i - 1));
                v0 = _mm256_blendv_epi8(v0, v1, vReached);
                v1 = _mm256_blendv_epi8(v1, v2, vReached);
                v2 = _mm256_blendv_epi8(v2, v3, vReached);
                v3 = _mm256_blendv_epi8(v3, SumLine256<kChannels>(p + (i + 3) * lPitch, stTaps),
                                        vReached);
            }
            const Weights256 stRow = WeightsOf256(vRow);
            const __m256i vSum = _mm256_add_epi16(
                _mm256_add_epi16(Product256(v0, stRow.v[0]), Product256(v1, stRow.v[1])),
                _mm256_add_epi16(Product256(v2, stRow.v[2]), Product256(v3, stRow.v[3])));
            Store256(pOut, _mm256_srai_epi16(_mm256_add_epi16(vSum, Words256(32)), 6));
            c += kPixels * (int32_t)(llColStep >> 16);
            r += kPixels * (int32_t)(llRowStep >> 16);
            pOut += 16;
        }
        llCol += kFineRun * llColStep;
        llRow += kFineRun * llRowStep;
    }
}
#endif

// ---- SSSE3 ----

QEL_SSSE3 inline __m128i Words128(int32_t l) { return _mm_set1_epi16((int16_t)l); }
QEL_SSSE3 inline __m128i Load128(const uint8_t *p) { return _mm_loadu_si128((const __m128i *)p); }

// a * b / 32768, rounded. Emscripten translates the intrinsic into several instructions. WebAssembly's
// own differs only where a and b are both -32768, which does not happen here.
QEL_SSSE3 inline __m128i Scale128(__m128i a, __m128i b) {
#ifdef __wasm__
    return (__m128i)wasm_i16x8_q15mulr_sat((v128_t)a, (v128_t)b);
#else
    return _mm_mulhrs_epi16(a, b);
#endif
}

// b where the mask is set, else a.
QEL_SSSE3 inline __m128i Select128(__m128i a, __m128i b, __m128i vMask) {
    return _mm_xor_si128(a, _mm_and_si128(_mm_xor_si128(a, b), vMask));
}

struct Offsets128 {
    __m128i vNext, vFraction;
};

QEL_SSSE3 inline Offsets128 OffsetsOf128(int64_t llStep, int32_t lChannels) {
    const FineOffsets st = FineOffsetsOf(llStep, lChannels);
    const __m128i vWhole = _mm_loadu_si128((const __m128i *)st.lWhole);
    return {_mm_add_epi16(vWhole, Words128(1)), _mm_loadu_si128((const __m128i *)st.lFraction)};
}

template <int32_t kChannels> QEL_SSSE3 inline __m128i IndexOf128(const Offsets128 &st) {
    const __m128i vChannel = _mm_set_epi16(7 % kChannels, 6 % kChannels, 5 % kChannels, 4 % kChannels,
                                           3 % kChannels, 2 % kChannels, 1 % kChannels, 0);
    const __m128i v = _mm_add_epi16(_mm_mullo_epi16(st.vNext, Words128(kChannels)), vChannel);
    return _mm_mullo_epi16(v, Words128(0x0101));
}

QEL_SSSE3 inline __m128i Stays128(__m128i vFraction, const Offsets128 &st) {
    return _mm_cmpeq_epi16(_mm_subs_epu16(st.vFraction, vFraction), _mm_setzero_si128());
}

QEL_SSSE3 inline __m128i RowsOf128(__m128i vFraction, const Offsets128 &stDown, int32_t lFirst) {
    return _mm_add_epi16(_mm_add_epi16(stDown.vNext, Stays128(vFraction, stDown)), Words128(lFirst));
}

QEL_SSSE3 inline void Store128(uint8_t *pOut, __m128i v) {
    _mm_storel_epi64((__m128i *)pOut, _mm_packus_epi16(v, v));
}

QEL_SSSE3 inline __m128i MixLine128(const uint8_t *p, __m128i vLeft, __m128i vRight, __m128i f) {
    const __m128i v = Load128(p);
    const __m128i a = _mm_srli_epi16(_mm_shuffle_epi8(v, vLeft), 1);
    const __m128i b = _mm_srli_epi16(_mm_shuffle_epi8(v, vRight), 1);
    return _mm_add_epi16(a, Scale128(_mm_sub_epi16(b, a), f));
}

QEL_SSSE3 inline __m128i Part128(__m128i vFraction) {
    return _mm_srli_epi16(_mm_and_si128(vFraction, Words128(0xFF00)), 1);
}

template <int32_t kChannels>
QEL_SSSE3 void Linear128(const FineRow *pRow, uint8_t *pOut, int32_t lFirst, int32_t lEnd) {
    const int32_t kPixels = 8 / kChannels;
    const int64_t llColStep = pRow->llColStep, llRowStep = pRow->llRowStep;
    const FineRows stRows = FineRowsOf(pRow, kPixels);
    const ptrdiff_t lPitch = stRows.lPitch;
    const Offsets128 stAcross = OffsetsOf128(llColStep, kChannels);
    const Offsets128 stDown = OffsetsOf128(llRowStep, kChannels);
    const __m128i vIndex =
        _mm_or_si128(_mm_and_si128(IndexOf128<kChannels>(stAcross), Words128(0xFF00)), Words128(0x80));
    int64_t llCol = pRow->llCol + lFirst * llColStep, llRow = pRow->llRow + lFirst * llRowStep;
    for (int32_t x = lFirst; x < lEnd; x += kFineRun) {
        int32_t c = (int32_t)(llCol >> 16), r = (int32_t)(llRow >> 16);
        for (int32_t j = 0; j < 2 * kChannels; j++) {
            const uint8_t *p = PlaceOf(stRows, r, (c >> 16) * kChannels);
            PrefetchRows(p, lPitch);
            const __m128i vCol = _mm_add_epi16(Words128(c), stAcross.vFraction);
            const __m128i vStays = _mm_and_si128(Stays128(vCol, stAcross), Words128(kChannels << 8));
            const __m128i vLeft = _mm_sub_epi16(vIndex, vStays);
            const __m128i vRight = _mm_add_epi16(vLeft, Words128(kChannels << 8));
            const __m128i f = Part128(vCol);
            const __m128i vRow = _mm_add_epi16(Words128(r), stDown.vFraction);
            __m128i a = MixLine128(p, vLeft, vRight, f);
            p += lPitch;
            __m128i b = MixLine128(p, vLeft, vRight, f);
            const int32_t lMore = MoreOf(stRows, r);
            for (int32_t i = 1; i <= lMore; i++) {
                const __m128i vRows = RowsOf128(vRow, stDown, (r >> 16) - TopOf(stRows, r));
                const __m128i vReached = _mm_cmpgt_epi16(vRows, Words128(i - 1));
                p += lPitch;
                a = Select128(a, b, vReached);
                b = Select128(b, MixLine128(p, vLeft, vRight, f), vReached);
            }
            const __m128i v = _mm_add_epi16(a, Scale128(_mm_sub_epi16(b, a), Part128(vRow)));
            Store128(pOut, _mm_srli_epi16(_mm_add_epi16(v, Words128(64)), 7));
            c += kPixels * (int32_t)(llColStep >> 16);
            r += kPixels * (int32_t)(llRowStep >> 16);
            pOut += 8;
        }
        llCol += kFineRun * llColStep;
        llRow += kFineRun * llRowStep;
    }
}

struct Weights128 {
    __m128i v[4];
};

QEL_SSSE3 inline Weights128 WeightsOf128(__m128i vFraction) {
    const __m128i t = _mm_srli_epi16(vFraction, 10), s = _mm_sub_epi16(Words128(64), t);
    const __m128i u = _mm_mullo_epi16(t, s), v = _mm_mullo_epi16(u, Words128(kSharpness));
    const __m128i vLinear = _mm_sub_epi16(_mm_mullo_epi16(t, Words128(16 - kSharpness)), Words128(512));
    Weights128 st;
    st.v[0] = Scale128(v, s);
    st.v[1] = _mm_sub_epi16(Scale128(u, vLinear), s);
    st.v[3] = Scale128(v, t);
    st.v[2] = _mm_sub_epi16(_mm_sub_epi16(Words128(-64), st.v[1]), _mm_add_epi16(st.v[0], st.v[3]));
    return st;
}

QEL_SSSE3 inline __m128i Pairs128(__m128i vFirst, __m128i vSecond) {
    return _mm_or_si128(_mm_and_si128(vFirst, Words128(255)), _mm_slli_epi16(vSecond, 8));
}

struct Taps128 {
    __m128i vIndex, vFirst, vSecond;
};

template <int32_t kChannels> QEL_SSSE3 inline __m128i SumLine128(const uint8_t *p, const Taps128 &st) {
    const __m128i vFirst = _mm_shuffle_epi8(Load128(p), st.vIndex);
    const __m128i vSecond = _mm_shuffle_epi8(Load128(p + 2 * kChannels), st.vIndex);
    return _mm_add_epi16(_mm_maddubs_epi16(vFirst, st.vFirst), _mm_maddubs_epi16(vSecond, st.vSecond));
}

QEL_SSSE3 inline __m128i Product128(__m128i v, __m128i vWeight) {
    return Scale128(v, _mm_slli_epi16(vWeight, 9));
}

template <int32_t kChannels>
QEL_SSSE3 void Cubic128(const FineRow *pRow, uint8_t *pOut, int32_t lFirst, int32_t lEnd) {
    const int32_t kPixels = 8 / kChannels;
    const int64_t llColStep = pRow->llColStep, llRowStep = pRow->llRowStep;
    const FineRows stRows = FineRowsOf(pRow, kPixels);
    const ptrdiff_t lPitch = stRows.lPitch;
    const Offsets128 stAcross = OffsetsOf128(llColStep, kChannels);
    const Offsets128 stDown = OffsetsOf128(llRowStep, kChannels);
    const __m128i vIndex = _mm_add_epi16(IndexOf128<kChannels>(stAcross), Words128(kChannels << 8));
    int64_t llCol = pRow->llCol + lFirst * llColStep, llRow = pRow->llRow + lFirst * llRowStep;
    for (int32_t x = lFirst; x < lEnd; x += kFineRun) {
        int32_t c = (int32_t)(llCol >> 16) + 512, r = (int32_t)(llRow >> 16) + 512;
        for (int32_t j = 0; j < 2 * kChannels; j++) {
            const uint8_t *p = PlaceOf(stRows, r, (c >> 16) * kChannels) - lPitch - kChannels;
            PrefetchRows(p, lPitch);
            const __m128i vCol = _mm_add_epi16(Words128(c), stAcross.vFraction);
            const __m128i vStays =
                _mm_and_si128(Stays128(vCol, stAcross), Words128(kChannels * 0x0101));
            const Weights128 stCol = WeightsOf128(vCol);
            const Taps128 stTaps = {_mm_sub_epi16(vIndex, vStays), Pairs128(stCol.v[0], stCol.v[1]),
                                    Pairs128(stCol.v[2], stCol.v[3])};
            const __m128i vRow = _mm_add_epi16(Words128(r), stDown.vFraction);
            __m128i v0 = SumLine128<kChannels>(p, stTaps);
            __m128i v1 = SumLine128<kChannels>(p + lPitch, stTaps);
            __m128i v2 = SumLine128<kChannels>(p + 2 * lPitch, stTaps);
            __m128i v3 = SumLine128<kChannels>(p + 3 * lPitch, stTaps);
            const int32_t lMore = MoreOf(stRows, r);
            for (int32_t i = 1; i <= lMore; i++) {
                const __m128i vRows = RowsOf128(vRow, stDown, (r >> 16) - TopOf(stRows, r));
                const __m128i vReached = _mm_cmpgt_epi16(vRows, Words128(i - 1));
                v0 = Select128(v0, v1, vReached);
                v1 = Select128(v1, v2, vReached);
                v2 = Select128(v2, v3, vReached);
                v3 = Select128(v3, SumLine128<kChannels>(p + (i + 3) * lPitch, stTaps), vReached);
            }
            const Weights128 stRow = WeightsOf128(vRow);
            const __m128i vSum =
                _mm_add_epi16(_mm_add_epi16(Product128(v0, stRow.v[0]), Product128(v1, stRow.v[1])),
                              _mm_add_epi16(Product128(v2, stRow.v[2]), Product128(v3, stRow.v[3])));
            Store128(pOut, _mm_srai_epi16(_mm_add_epi16(vSum, Words128(32)), 6));
            c += kPixels * (int32_t)(llColStep >> 16);
            r += kPixels * (int32_t)(llRowStep >> 16);
            pOut += 8;
        }
        llCol += kFineRun * llColStep;
        llRow += kFineRun * llRowStep;
    }
}

} // namespace

#ifdef QEL_AVX2
void FineLinearAvx2(const FineRow *pRow, uint8_t *pOut, int32_t lFirst, int32_t lEnd) {
    const int32_t lChannels = pRow->pIn->lChannels;
    const FineKernel pWide = lChannels == 1   ? Linear256<1>
                             : lChannels == 2 ? Linear256<2>
                                              : Linear256<4>;
    const FineKernel pKernel = FitsTwoLanes(pRow) ? pWide : FineLinearSsse3;
    pKernel(pRow, pOut, lFirst, lEnd);
}
void FineCubicAvx2(const FineRow *pRow, uint8_t *pOut, int32_t lFirst, int32_t lEnd) {
    const int32_t lChannels = pRow->pIn->lChannels;
    const FineKernel pWide = lChannels == 1 ? Cubic256<1> : lChannels == 2 ? Cubic256<2> : Cubic256<4>;
    const FineKernel pKernel = FitsTwoLanes(pRow) ? pWide : FineCubicSsse3;
    pKernel(pRow, pOut, lFirst, lEnd);
}
#endif

void FineLinearSsse3(const FineRow *pRow, uint8_t *pOut, int32_t lFirst, int32_t lEnd) {
    const int32_t lChannels = pRow->pIn->lChannels;
    const FineKernel pKernel = lChannels == 1   ? Linear128<1>
                               : lChannels == 2 ? Linear128<2>
                                                : Linear128<4>;
    pKernel(pRow, pOut, lFirst, lEnd);
}
void FineCubicSsse3(const FineRow *pRow, uint8_t *pOut, int32_t lFirst, int32_t lEnd) {
    const int32_t lChannels = pRow->pIn->lChannels;
    const FineKernel pKernel = lChannels == 1   ? Cubic128<1>
                               : lChannels == 2 ? Cubic128<2>
                                                : Cubic128<4>;
    pKernel(pRow, pOut, lFirst, lEnd);
}
#endif
