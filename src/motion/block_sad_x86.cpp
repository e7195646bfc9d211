// SPDX-License-Identifier: BSD-2-Clause
// The 32x32 pattern, two runs of eight bytes at a time.
#include "kernels.h"

#ifdef QEL_X86
#include <immintrin.h>

namespace {

// Both 64-bit sums of psadbw fit 32 bits.
QEL_SSE2 inline uint32_t Total128(__m128i v) {
    return (uint32_t)_mm_cvtsi128_si32(_mm_add_epi32(v, _mm_shuffle_epi32(v, 0x4E)));
}

// Two runs of the pattern side by side.
QEL_SSE2 inline __m128i TwoRuns(const uint8_t *pFirst, const uint8_t *pSecond) {
    return _mm_unpacklo_epi64(_mm_loadl_epi64((const __m128i *)pFirst),
                              _mm_loadl_epi64((const __m128i *)pSecond));
}

} // namespace

QEL_SSE2 uint32_t BlockSad32Sse2(const uint8_t *pCurBlock, const uint8_t *pCandBlock,
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
