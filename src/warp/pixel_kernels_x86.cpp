// SPDX-License-Identifier: BSD-2-Clause
// Eight pixels a step: positions in vectors, the two rows of each pixel's square by gathers of four
// bytes.
#include "warp/pixel_kernels.h"

#ifdef QEL_X86
#include <immintrin.h>

#include "platform/fixed.h"

#define QEL_AVX2 QEL_TARGET("avx2")

// Each 32-bit lane holds one pixel; its low two bytes are a pixel and its right neighbour.
QEL_AVX2 void InsidePixelsAvx2(const PixelPlane *pPlane, uint8_t *pOut, int32_t lR, int32_t lC,
                               int32_t lZ, int32_t lS, int32_t lFirst, int32_t lEnd) {
    const __m256i vLane = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7), vThree = _mm256_set1_epi32(3);
    const __m256i vFour = _mm256_set1_epi32(4), vPair = _mm256_set1_epi32(0xFFFF);
    const __m256i vStride = _mm256_set1_epi32(pPlane->lStride);
    const __m256i vStepR = _mm256_set1_epi32(WrapMul32(8, lS)),
                  vStepC = _mm256_set1_epi32(WrapMul32(8, lZ));
    __m256i r = _mm256_add_epi32(_mm256_set1_epi32(WrapAdd32(lR, WrapMul32(lS, lFirst))),
                                 _mm256_mullo_epi32(vLane, _mm256_set1_epi32(lS)));
    __m256i c = _mm256_add_epi32(_mm256_set1_epi32(WrapAdd32(lC, WrapMul32(lZ, lFirst))),
                                 _mm256_mullo_epi32(vLane, _mm256_set1_epi32(lZ)));
    const uint8_t *pBelow = pPlane->pIn + pPlane->lStride;
    int32_t x = lFirst;
    for (; x + 8 <= lEnd; x += 8) {
        const __m256i vOffset = _mm256_add_epi32(_mm256_mullo_epi32(_mm256_srli_epi32(r, 10), vStride),
                                                 _mm256_srli_epi32(c, 10));
        const __m256i fx = _mm256_and_si256(_mm256_srli_epi32(c, 8), vThree);
        const __m256i fy = _mm256_and_si256(_mm256_srli_epi32(r, 8), vThree);
        const __m256i vTop =
            _mm256_and_si256(_mm256_i32gather_epi32((const int *)pPlane->pIn, vOffset, 1), vPair);
        const __m256i vBottom =
            _mm256_and_si256(_mm256_i32gather_epi32((const int *)pBelow, vOffset, 1), vPair);
        const __m256i vWeightX = _mm256_or_si256(_mm256_sub_epi32(vFour, fx), _mm256_slli_epi32(fx, 8));
        const __m256i vWeightY =
            _mm256_or_si256(_mm256_sub_epi32(vFour, fy), _mm256_slli_epi32(fy, 16));
        const __m256i t = _mm256_srli_epi32(_mm256_maddubs_epi16(vTop, vWeightX), 2);
        const __m256i b = _mm256_srli_epi32(_mm256_maddubs_epi16(vBottom, vWeightX), 2);
        const __m256i vBoth = _mm256_or_si256(t, _mm256_slli_epi32(b, 16));
        const __m256i v = _mm256_srli_epi32(_mm256_madd_epi16(vBoth, vWeightY), 2);
        const __m128i vWords =
            _mm_packs_epi32(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
        _mm_storel_epi64((__m128i *)(pOut + x), _mm_packus_epi16(vWords, vWords));
        r = _mm256_add_epi32(r, vStepR);
        c = _mm256_add_epi32(c, vStepC);
    }
    WarpPixels(pPlane, pOut, lR, lC, lZ, lS, x, lEnd);
}
#endif
