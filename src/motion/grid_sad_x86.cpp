// SPDX-License-Identifier: BSD-2-Clause
// The grid, a group of 64 columns at a time. A group's last sample is its 61st byte, and the bytes
// after it may be outside the plane, so the last load of a row's last group begins three bytes
// earlier.
#include "motion/grid.h"

#ifdef QEL_X86
#include <immintrin.h>

namespace {

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

QEL_SSE2 inline __m128i LastGroup128(const uint8_t *p) {
    const __m128i vMask = _mm_set1_epi32(0xFF);
    const __m128i *pWide = (const __m128i *)p;
    const __m128i v0 = _mm_and_si128(_mm_loadu_si128(pWide), vMask);
    const __m128i v1 = _mm_and_si128(_mm_loadu_si128(pWide + 1), vMask);
    const __m128i v2 = _mm_and_si128(_mm_loadu_si128(pWide + 2), vMask);
    const __m128i v3 = _mm_srli_epi32(_mm_loadu_si128((const __m128i *)(p + 45)), 24);
    return _mm_packus_epi16(_mm_packs_epi32(v0, v1), _mm_packs_epi32(v2, v3));
}

#ifdef QEL_AVX2
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
#endif

} // namespace

QEL_SSE2 void GatherGridSse2(uint8_t *pSamples, const uint8_t *pArea, const Grid *pGrid) {
    const int32_t lGroups = pGrid->lGroups, lRows = pGrid->lRows;
    for (int32_t r = 0; r < lRows; r++) {
        for (int32_t g = 1; g < lGroups; g++, pSamples += 16, pArea += 64) {
            PrefetchNextRow(pArea, pGrid);
            _mm_storeu_si128((__m128i *)pSamples, Group128(pArea));
        }
        _mm_storeu_si128((__m128i *)pSamples, LastGroup128(pArea));
        pSamples += 16;
        pArea += 64 + pGrid->lRowSkip;
    }
}

QEL_SSE2 uint32_t GridSadSse2(const uint8_t *pSamples, const uint8_t *pArea, const Grid *pGrid,
                              uint32_t lBound) {
    const int32_t lGroups = pGrid->lGroups, lRows = pGrid->lRows;
    uint32_t lSum = 0;
    for (int32_t r = 0; r < lRows && lSum < lBound; r++) {
        __m128i vSum = _mm_setzero_si128();
        for (int32_t g = 1; g < lGroups; g++, pSamples += 16, pArea += 64) {
            const __m128i vSamples = _mm_loadu_si128((const __m128i *)pSamples);
            PrefetchNextRow(pArea, pGrid);
            vSum = _mm_add_epi32(vSum, _mm_sad_epu8(Group128(pArea), vSamples));
        }
        const __m128i vSamples = _mm_loadu_si128((const __m128i *)pSamples);
        vSum = _mm_add_epi32(vSum, _mm_sad_epu8(LastGroup128(pArea), vSamples));
        lSum += Total128(vSum);
        pSamples += 16;
        pArea += 64 + pGrid->lRowSkip;
    }
    return lSum;
}

#ifdef QEL_AVX2
QEL_AVX2 uint32_t GridSadAvx2(const uint8_t *pSamples, const uint8_t *pArea, const Grid *pGrid,
                              uint32_t lBound) {
    const int32_t lGroups = pGrid->lGroups, lRows = pGrid->lRows;
    uint32_t lSum = 0;
    for (int32_t r = 0; r < lRows && lSum < lBound; r++) {
        __m256i vSum = _mm256_setzero_si256();
        int32_t g = 2;
        for (; g < lGroups; g += 2, pSamples += 32, pArea += 128) {
            const __m256i vSamples = _mm256_loadu_si256((const __m256i *)pSamples);
            PrefetchNextRow(pArea, pGrid);
            PrefetchNextRow(pArea + 64, pGrid);
            vSum = _mm256_add_epi32(vSum, _mm256_sad_epu8(TwoGroups256(pArea), vSamples));
        }
        __m128i vRest = _mm_add_epi32(_mm256_castsi256_si128(vSum), _mm256_extracti128_si256(vSum, 1));
        if (g == lGroups) {
            const __m128i vSamples = _mm_loadu_si128((const __m128i *)pSamples);
            vRest = _mm_add_epi32(vRest, _mm_sad_epu8(Group128(pArea), vSamples));
            pSamples += 16;
            pArea += 64;
        }
        const __m128i vSamples = _mm_loadu_si128((const __m128i *)pSamples);
        lSum += Total128(_mm_add_epi32(vRest, _mm_sad_epu8(LastGroup128(pArea), vSamples)));
        pSamples += 16;
        pArea += 64 + pGrid->lRowSkip;
    }
    return lSum;
}
#endif

#endif
