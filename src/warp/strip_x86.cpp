// SPDX-License-Identifier: BSD-2-Clause
// Strips by byte shuffles: horizontally first, as words in quarters (at most 1020), then vertically in
// sixteenths (at most 4080), so that the sum is truncated once.
#include "warp/strip.h"

#ifdef QEL_X86
#include <immintrin.h>

namespace {

// Prefetches what the next row of blocks reads: with rotation the hardware prefetcher does not
// recognise the pattern.
inline void PrefetchBelow(const uint8_t *pSrc, ptrdiff_t lStride) {
    for (ptrdiff_t i = 5; i < 9; i++)
        __builtin_prefetch((const void *)((uintptr_t)pSrc + (uintptr_t)(i * lStride)));
}

#ifdef QEL_AVX2
// ---- AVX2: the 16 output bytes of a row as 16 words ----

struct Taps256 {
    __m256i vIndex, vWeight;
};

QEL_AVX2 inline __m256i Row256(const uint8_t *pSrc, const Taps256 &stTaps) {
    const __m256i v = _mm256_broadcastsi128_si256(_mm_loadu_si128((const __m128i *)pSrc));
    return _mm256_maddubs_epi16(_mm256_shuffle_epi8(v, stTaps.vIndex), stTaps.vWeight);
}

template <int32_t F> QEL_AVX2 inline __m256i Mix256(__m256i vTop, __m256i vBottom) {
    if (F == 0) return _mm256_srli_epi16(vTop, 2);
    const __m256i vSum = _mm256_add_epi16(vTop, vBottom);
    if (F == 2) return _mm256_srli_epi16(vSum, 3);
    const __m256i vHeavy = F == 1 ? vTop : vBottom;
    return _mm256_srli_epi16(_mm256_add_epi16(vSum, _mm256_add_epi16(vHeavy, vHeavy)), 4);
}

template <int32_t A, int32_t I> QEL_AVX2 inline __m256i OutRow256(const __m256i *pRows) {
    constexpr int32_t lRow = StripRowQuarters(A, I) >> 2, lFraction = StripRowQuarters(A, I) & 3;
    return Mix256<lFraction>(pRows[lRow], pRows[lFraction ? lRow + 1 : lRow]);
}

QEL_AVX2 inline void Store256(uint8_t *pDst, ptrdiff_t lStride, __m256i vFirst, __m256i vSecond) {
    const __m256i v = _mm256_permute4x64_epi64(_mm256_packus_epi16(vFirst, vSecond), 0xD8);
    _mm_storeu_si128((__m128i *)pDst, _mm256_castsi256_si128(v));
    _mm_storeu_si128((__m128i *)(pDst + lStride), _mm256_extracti128_si256(v, 1));
}

template <int32_t A>
QEL_AVX2 void Strip256(const uint8_t *pSrc, uint8_t *pDst, ptrdiff_t lStride, const StripTaps *pTaps,
                       int32_t lSteps) {
    const Taps256 stTaps = {_mm256_load_si256((const __m256i *)pTaps->lIndex),
                            _mm256_load_si256((const __m256i *)pTaps->lWeight)};
    for (int32_t i = 0; i < lSteps; i++, pSrc += QEL_STEP_IN, pDst += QEL_STEP_OUT) {
        PrefetchBelow(pSrc, lStride);
        __m256i vRows[5];
        vRows[0] = Row256(pSrc, stTaps);
        vRows[1] = Row256(pSrc + lStride, stTaps);
        vRows[2] = Row256(pSrc + 2 * lStride, stTaps);
        vRows[3] = Row256(pSrc + 3 * lStride, stTaps);
        vRows[4] = A == 3 ? Row256(pSrc + 4 * lStride, stTaps) : vRows[3];
        Store256(pDst, lStride, OutRow256<A, 0>(vRows), OutRow256<A, 1>(vRows));
        Store256(pDst + 2 * lStride, lStride, OutRow256<A, 2>(vRows), OutRow256<A, 3>(vRows));
    }
}
#endif

// ---- SSSE3: in two halves of 8 words ----

struct Taps128 {
    __m128i vIndex[2], vWeight[2];
};

struct Words {
    __m128i v[2];
};

QEL_SSSE3 inline Words Row128(const uint8_t *pSrc, const Taps128 &stTaps) {
    const __m128i v = _mm_loadu_si128((const __m128i *)pSrc);
    return {{_mm_maddubs_epi16(_mm_shuffle_epi8(v, stTaps.vIndex[0]), stTaps.vWeight[0]),
             _mm_maddubs_epi16(_mm_shuffle_epi8(v, stTaps.vIndex[1]), stTaps.vWeight[1])}};
}

template <int32_t F> QEL_SSSE3 inline __m128i Mix128(__m128i vTop, __m128i vBottom) {
    if (F == 0) return _mm_srli_epi16(vTop, 2);
    const __m128i vSum = _mm_add_epi16(vTop, vBottom);
    if (F == 2) return _mm_srli_epi16(vSum, 3);
    const __m128i vHeavy = F == 1 ? vTop : vBottom;
    return _mm_srli_epi16(_mm_add_epi16(vSum, _mm_add_epi16(vHeavy, vHeavy)), 4);
}

template <int32_t A, int32_t I> QEL_SSSE3 inline void OutRow128(uint8_t *pDst, const Words *pRows) {
    constexpr int32_t lRow = StripRowQuarters(A, I) >> 2, lFraction = StripRowQuarters(A, I) & 3;
    const Words &stTop = pRows[lRow], &stBottom = pRows[lFraction ? lRow + 1 : lRow];
    _mm_storeu_si128((__m128i *)pDst, _mm_packus_epi16(Mix128<lFraction>(stTop.v[0], stBottom.v[0]),
                                                       Mix128<lFraction>(stTop.v[1], stBottom.v[1])));
}

template <int32_t A>
QEL_SSSE3 void Strip128(const uint8_t *pSrc, uint8_t *pDst, ptrdiff_t lStride, const StripTaps *pTaps,
                        int32_t lSteps) {
    const __m128i *pIndex = (const __m128i *)pTaps->lIndex, *pWeight = (const __m128i *)pTaps->lWeight;
    const Taps128 stTaps = {{_mm_load_si128(pIndex), _mm_load_si128(pIndex + 1)},
                            {_mm_load_si128(pWeight), _mm_load_si128(pWeight + 1)}};
    for (int32_t i = 0; i < lSteps; i++, pSrc += QEL_STEP_IN, pDst += QEL_STEP_OUT) {
        PrefetchBelow(pSrc, lStride);
        Words stRows[5];
        stRows[0] = Row128(pSrc, stTaps);
        stRows[1] = Row128(pSrc + lStride, stTaps);
        stRows[2] = Row128(pSrc + 2 * lStride, stTaps);
        stRows[3] = Row128(pSrc + 3 * lStride, stTaps);
        stRows[4] = A == 3 ? Row128(pSrc + 4 * lStride, stTaps) : stRows[3];
        OutRow128<A, 0>(pDst, stRows);
        OutRow128<A, 1>(pDst + lStride, stRows);
        OutRow128<A, 2>(pDst + 2 * lStride, stRows);
        OutRow128<A, 3>(pDst + 3 * lStride, stRows);
    }
}

} // namespace

#ifdef QEL_AVX2
QEL_AVX2 void StripAvx2(const uint8_t *pSrc, uint8_t *pDst, ptrdiff_t lStride, int32_t lRowPhase,
                        int32_t lColPhase, int32_t lSampleBytes, int32_t lSteps) {
    const StripTaps *pTaps = &kStripTaps[lSampleBytes - 1][lColPhase];
    switch (lRowPhase) {
    case 0:
        Strip256<0>(pSrc, pDst, lStride, pTaps, lSteps);
        break;
    case 1:
        Strip256<1>(pSrc, pDst, lStride, pTaps, lSteps);
        break;
    case 2:
        Strip256<2>(pSrc, pDst, lStride, pTaps, lSteps);
        break;
    default:
        Strip256<3>(pSrc, pDst, lStride, pTaps, lSteps);
        break;
    }
}
#endif

QEL_SSSE3 void StripSsse3(const uint8_t *pSrc, uint8_t *pDst, ptrdiff_t lStride, int32_t lRowPhase,
                          int32_t lColPhase, int32_t lSampleBytes, int32_t lSteps) {
    const StripTaps *pTaps = &kStripTaps[lSampleBytes - 1][lColPhase];
    switch (lRowPhase) {
    case 0:
        Strip128<0>(pSrc, pDst, lStride, pTaps, lSteps);
        break;
    case 1:
        Strip128<1>(pSrc, pDst, lStride, pTaps, lSteps);
        break;
    case 2:
        Strip128<2>(pSrc, pDst, lStride, pTaps, lSteps);
        break;
    default:
        Strip128<3>(pSrc, pDst, lStride, pTaps, lSteps);
        break;
    }
}
#endif
