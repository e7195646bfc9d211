// SPDX-License-Identifier: BSD-2-Clause
// Eight blocks at a time. SSSE3 has no kernel: it lacks a product of 32-bit lanes.
#include "context.h"
#include "kernels.h"

#ifdef QEL_AVX2
#include <immintrin.h>

namespace {

// Squared differences of vectors and model, Q10. The products keep their low 32 bits.
QEL_AVX2 inline __m256i Squares(__m256i vMv, __m256i vModel) {
    const __m256i v = _mm256_sub_epi32(_mm256_slli_epi32(vMv, 10), vModel);
    return _mm256_srai_epi32(_mm256_mullo_epi32(v, v), 10);
}

// Every third word of three vectors, from the first, second or third on.
template <int kFirst> QEL_AVX2 inline __m256i Third(__m256i v0, __m256i v1, __m256i v2) {
    // Word 3 k + kFirst of the 24 is word (3 k + kFirst) % 8 of its vector. For k = 0 .. 7 these
    // places are all different, so two blends collect the words, and a permutation puts them in order.
    const int kOf1 = kFirst == 0 ? 0x92 : kFirst == 1 ? 0x24 : 0x49;
    const int kOf2 = kFirst == 0 ? 0x24 : kFirst == 1 ? 0x49 : 0x92;
    const __m256i v = _mm256_blend_epi32(_mm256_blend_epi32(v0, v1, kOf1), v2, kOf2);
    const __m256i vOrder =
        _mm256_setr_epi32(kFirst, (kFirst + 3) % 8, (kFirst + 6) % 8, (kFirst + 9) % 8,
                          (kFirst + 12) % 8, (kFirst + 15) % 8, (kFirst + 18) % 8, (kFirst + 21) % 8);
    return _mm256_permutevar8x32_epi32(v, vOrder);
}

} // namespace

QEL_AVX2 int64_t RowErrorAvx2(const MVS_BlockMV *pBlockMV, int32_t lCount, const int32_t *pModelRow,
                              int32_t lModelCol) {
    static_assert(sizeof(MVS_BlockMV) == 12, "three words: valid, row, column");
    const __m256i vModelCol = _mm256_set1_epi32(lModelCol), vZero = _mm256_setzero_si256();
    __m256i vSum = vZero;
    int32_t i = 0;
    for (; i + 8 <= lCount; i += 8) {
        const __m256i *p = (const __m256i *)(pBlockMV + i);
        const __m256i v0 = _mm256_loadu_si256(p), v1 = _mm256_loadu_si256(p + 1);
        const __m256i v2 = _mm256_loadu_si256(p + 2);
        const __m256i vInvalid = _mm256_cmpeq_epi32(Third<0>(v0, v1, v2), vZero);
        const __m256i vModelRow = _mm256_loadu_si256((const __m256i *)(pModelRow + i));
        const __m256i vError = _mm256_add_epi32(Squares(Third<1>(v0, v1, v2), vModelRow),
                                                Squares(Third<2>(v0, v1, v2), vModelCol));
        vSum = _mm256_add_epi32(vSum, _mm256_andnot_si256(vInvalid, vError));
    }
    __m128i v = _mm_add_epi32(_mm256_castsi256_si128(vSum), _mm256_extracti128_si256(vSum, 1));
    v = _mm_add_epi32(v, _mm_shuffle_epi32(v, 0x4E));
    v = _mm_add_epi32(v, _mm_shuffle_epi32(v, 0xB1));
    return _mm_cvtsi128_si32(v) + RowErrorPortable(pBlockMV + i, lCount - i, pModelRow + i, lModelCol);
}
#endif
