// SPDX-License-Identifier: BSD-2-Clause
// Sums of absolute differences by eight bytes at a time.
#include "motion/cost_table.h"

#ifdef QEL_X86
#include <immintrin.h>

namespace {

#define QEL_AVX2 QEL_TARGET("avx2")
#define QEL_SSE2 QEL_TARGET("sse2")

// Both 64-bit sums of psadbw fit 32 bits.
QEL_SSE2 inline uint32_t Total128(__m128i v) {
    return (uint32_t)_mm_cvtsi128_si32(_mm_add_epi32(v, _mm_shuffle_epi32(v, 0x4E)));
}

// Every fourth of 64 bytes, in order.
QEL_SSE2 inline __m128i Group128(const uint8_t *p) {
    const __m128i vMask = _mm_set1_epi32(0xFF);
    const __m128i *pWide = (const __m128i *)p;
    const __m128i v0 = _mm_and_si128(_mm_loadu_si128(pWide), vMask);
    const __m128i v1 = _mm_and_si128(_mm_loadu_si128(pWide + 1), vMask);
    const __m128i v2 = _mm_and_si128(_mm_loadu_si128(pWide + 2), vMask);
    const __m128i v3 = _mm_and_si128(_mm_loadu_si128(pWide + 3), vMask);
    return _mm_packus_epi16(_mm_packs_epi32(v0, v1), _mm_packs_epi32(v2, v3));
}

// The last group: its samples end three bytes before the 64th, which may lie outside the plane.
QEL_SSE2 inline __m128i LastGroup128(const uint8_t *p) {
    const __m128i vMask = _mm_set1_epi32(0xFF);
    const __m128i *pWide = (const __m128i *)p;
    const __m128i v0 = _mm_and_si128(_mm_loadu_si128(pWide), vMask);
    const __m128i v1 = _mm_and_si128(_mm_loadu_si128(pWide + 1), vMask);
    const __m128i v2 = _mm_and_si128(_mm_loadu_si128(pWide + 2), vMask);
    const __m128i v3 = _mm_srli_epi32(_mm_loadu_si128((const __m128i *)(p + 45)), 24);
    return _mm_packus_epi16(_mm_packs_epi32(v0, v1), _mm_packs_epi32(v2, v3));
}

// Two groups: 32 samples, in order.
QEL_AVX2 inline __m256i TwoGroups256(const uint8_t *p) {
    const __m256i vMask = _mm256_set1_epi32(0xFF);
    const __m256i *pWide = (const __m256i *)p;
    const __m256i v0 = _mm256_and_si256(_mm256_loadu_si256(pWide), vMask);
    const __m256i v1 = _mm256_and_si256(_mm256_loadu_si256(pWide + 1), vMask);
    const __m256i v2 = _mm256_and_si256(_mm256_loadu_si256(pWide + 2), vMask);
    const __m256i v3 = _mm256_and_si256(_mm256_loadu_si256(pWide + 3), vMask);
    const __m256i v = _mm256_packus_epi16(_mm256_packs_epi32(v0, v1), _mm256_packs_epi32(v2, v3));
    return _mm256_permutevar8x32_epi32(v, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
}

// Two runs of the pattern side by side.
QEL_SSE2 inline __m128i TwoRuns(const uint8_t *pFirst, const uint8_t *pSecond) {
    return _mm_unpacklo_epi64(_mm_loadl_epi64((const __m128i *)pFirst),
                              _mm_loadl_epi64((const __m128i *)pSecond));
}

} // namespace

QEL_SSE2 void GatherGridSse2(uint8_t *pSamples, const uint8_t *pArea, int32_t lAreaW, int32_t lAreaH,
                             int32_t lRowSkip) {
    const int32_t lGroups = GridGroups(lAreaW), lRows = GridRows(lAreaH);
    for (int32_t r = 0; r < lRows; r++) {
        for (int32_t g = 1; g < lGroups; g++, pSamples += 16, pArea += 64) {
            PrefetchNextRow(pArea, lGroups, lRowSkip);
            _mm_storeu_si128((__m128i *)pSamples, Group128(pArea));
        }
        _mm_storeu_si128((__m128i *)pSamples, LastGroup128(pArea));
        pSamples += 16;
        pArea += 64 + lRowSkip;
    }
}

QEL_SSE2 uint32_t GlobalSadSse2(const uint8_t *pSamples, const uint8_t *pPrevArea, int32_t lAreaW,
                                int32_t lAreaH, int32_t lRowSkip, uint32_t lBound) {
    const int32_t lGroups = GridGroups(lAreaW), lRows = GridRows(lAreaH);
    uint32_t lSum = 0;
    for (int32_t r = 0; r < lRows && lSum < lBound; r++) {
        __m128i vSum = _mm_setzero_si128();
        for (int32_t g = 1; g < lGroups; g++, pSamples += 16, pPrevArea += 64) {
            const __m128i vSamples = _mm_loadu_si128((const __m128i *)pSamples);
            PrefetchNextRow(pPrevArea, lGroups, lRowSkip);
            vSum = _mm_add_epi32(vSum, _mm_sad_epu8(Group128(pPrevArea), vSamples));
        }
        const __m128i vSamples = _mm_loadu_si128((const __m128i *)pSamples);
        vSum = _mm_add_epi32(vSum, _mm_sad_epu8(LastGroup128(pPrevArea), vSamples));
        lSum += Total128(vSum);
        pSamples += 16;
        pPrevArea += 64 + lRowSkip;
    }
    return lSum;
}

QEL_AVX2 uint32_t GlobalSadAvx2(const uint8_t *pSamples, const uint8_t *pPrevArea, int32_t lAreaW,
                                int32_t lAreaH, int32_t lRowSkip, uint32_t lBound) {
    const int32_t lGroups = GridGroups(lAreaW), lRows = GridRows(lAreaH);
    uint32_t lSum = 0;
    for (int32_t r = 0; r < lRows && lSum < lBound; r++) {
        __m256i vSum = _mm256_setzero_si256();
        int32_t g = 2;
        for (; g < lGroups; g += 2, pSamples += 32, pPrevArea += 128) {
            const __m256i vSamples = _mm256_loadu_si256((const __m256i *)pSamples);
            PrefetchNextRow(pPrevArea, lGroups, lRowSkip);
            PrefetchNextRow(pPrevArea + 64, lGroups, lRowSkip);
            vSum = _mm256_add_epi32(vSum, _mm256_sad_epu8(TwoGroups256(pPrevArea), vSamples));
        }
        __m128i vRest = _mm_add_epi32(_mm256_castsi256_si128(vSum), _mm256_extracti128_si256(vSum, 1));
        if (g == lGroups) {
            const __m128i vSamples = _mm_loadu_si128((const __m128i *)pSamples);
            vRest = _mm_add_epi32(vRest, _mm_sad_epu8(Group128(pPrevArea), vSamples));
            pSamples += 16;
            pPrevArea += 64;
        }
        const __m128i vSamples = _mm_loadu_si128((const __m128i *)pSamples);
        lSum += Total128(_mm_add_epi32(vRest, _mm_sad_epu8(LastGroup128(pPrevArea), vSamples)));
        pSamples += 16;
        pPrevArea += 64 + lRowSkip;
    }
    return lSum;
}

QEL_SSE2 uint32_t Sad32Sse2(const uint8_t *pCurBlock, const uint8_t *pCandBlock,
                            int32_t lPatternStride) {
    const ptrdiff_t S = lPatternStride;
    __m128i vSum = _mm_setzero_si128();
    for (int32_t i = 0; i < 2; i++) { // the second four runs begin 32 columns back
        for (int32_t k = 0; k < 2; k++) {
            const ptrdiff_t lFirst = (4 * i + 2 * k) * S - 32 * i;
            vSum = _mm_add_epi32(vSum,
                                 _mm_sad_epu8(TwoRuns(pCurBlock + lFirst, pCurBlock + lFirst + S),
                                              TwoRuns(pCandBlock + lFirst, pCandBlock + lFirst + S)));
        }
    }
    return Total128(vSum);
}

// Each pair of runs against the pair that begins one run later.
QEL_SSE2 uint32_t Texture32Sse2(const uint8_t *pCurBlock, int32_t lPitch) {
    const ptrdiff_t S = 4 * (ptrdiff_t)lPitch + 8;
    __m128i vRuns[5];
    for (int32_t k = 0; k < 4; k++) {
        const uint8_t *pFirst = pCurBlock + 2 * k * S - (k >= 2 ? 32 : 0);
        vRuns[k] = TwoRuns(pFirst, pFirst + S);
    }
    vRuns[4] = vRuns[0];
    __m128i vSum = _mm_setzero_si128();
    for (int32_t k = 0; k < 4; k++) {
        const __m128d vNext =
            _mm_shuffle_pd(_mm_castsi128_pd(vRuns[k]), _mm_castsi128_pd(vRuns[k + 1]), 1);
        vSum = _mm_add_epi32(vSum, _mm_sad_epu8(vRuns[k], _mm_castpd_si128(vNext)));
    }
    return Total128(vSum);
}
#endif
