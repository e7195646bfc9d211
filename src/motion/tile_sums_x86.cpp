// SPDX-License-Identifier: BSD-2-Clause
// Gradients and differences are 16-bit words, and so are their sums down the columns of a tile.
#include "kernels.h"

#ifdef QEL_X86
#include <immintrin.h>

namespace {

// ---- SSE2: eight columns at a time ----

QEL_SSE2 inline __m128i Words128(const uint8_t *p) {
    return _mm_unpacklo_epi8(_mm_loadl_epi64((const __m128i *)p), _mm_setzero_si128());
}
QEL_SSE2 inline int32_t Total128(__m128i v) {
    v = _mm_add_epi32(v, _mm_shuffle_epi32(v, 0x4E));
    return _mm_cvtsi128_si32(_mm_add_epi32(v, _mm_shuffle_epi32(v, 0xB1)));
}
QEL_SSE2 inline int32_t WordTotal128(__m128i v) {
    return Total128(_mm_madd_epi16(v, _mm_set1_epi16(1)));
}

// Both frames' differences between two neighbours.
QEL_SSE2 inline __m128i Gradient128(const uint8_t *c, const uint8_t *p, ptrdiff_t lStep) {
    return _mm_add_epi16(_mm_sub_epi16(Words128(c + lStep), Words128(c - lStep)),
                         _mm_sub_epi16(Words128(p + lStep), Words128(p - lStep)));
}

QEL_SSE2 inline void AddProduct128(__m128i *pSum, __m128i a, __m128i b) {
    *pSum = _mm_add_epi32(*pSum, _mm_madd_epi16(a, b));
}

QEL_SSE2 void AddColumns128(const uint8_t *pCur, const uint8_t *pPrev, ptrdiff_t lStride, TileSums *p) {
    __m128i xx = _mm_setzero_si128(), xy = xx, yy = xx, xe = xx, ye = xx, ee = xx, cc = xx;
    __m128i x = xx, y = xx, e = xx, c = xx;
    for (int32_t r = 0; r < kTile; r++, pCur += lStride, pPrev += lStride) {
        const __m128i vX = Gradient128(pCur, pPrev, 1), vY = Gradient128(pCur, pPrev, lStride);
        const __m128i vC = Words128(pCur), vE = _mm_sub_epi16(Words128(pPrev), vC);
        AddProduct128(&xx, vX, vX);
        AddProduct128(&xy, vX, vY);
        AddProduct128(&yy, vY, vY);
        AddProduct128(&xe, vX, vE);
        AddProduct128(&ye, vY, vE);
        AddProduct128(&ee, vE, vE);
        AddProduct128(&cc, vC, vC);
        x = _mm_add_epi16(x, vX);
        y = _mm_add_epi16(y, vY);
        e = _mm_add_epi16(e, vE);
        c = _mm_add_epi16(c, vC);
    }
    p->lXX += Total128(xx);
    p->lXY += Total128(xy);
    p->lYY += Total128(yy);
    p->lXE += Total128(xe);
    p->lYE += Total128(ye);
    p->lEE += Total128(ee);
    p->lCC += Total128(cc);
    p->lX += WordTotal128(x);
    p->lY += WordTotal128(y);
    p->lE += WordTotal128(e);
    p->lC += WordTotal128(c);
}

#ifdef QEL_AVX2
// ---- AVX2: all columns ----

QEL_AVX2 inline __m256i Words256(const uint8_t *p) {
    return _mm256_cvtepu8_epi16(_mm_loadu_si128((const __m128i *)p));
}
QEL_AVX2 inline int32_t Total256(__m256i v) {
    return Total128(_mm_add_epi32(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1)));
}
QEL_AVX2 inline int32_t WordTotal256(__m256i v) {
    return Total256(_mm256_madd_epi16(v, _mm256_set1_epi16(1)));
}
QEL_AVX2 inline __m256i Gradient256(const uint8_t *c, const uint8_t *p, ptrdiff_t lStep) {
    return _mm256_add_epi16(_mm256_sub_epi16(Words256(c + lStep), Words256(c - lStep)),
                            _mm256_sub_epi16(Words256(p + lStep), Words256(p - lStep)));
}
QEL_AVX2 inline void AddProduct256(__m256i *pSum, __m256i a, __m256i b) {
    *pSum = _mm256_add_epi32(*pSum, _mm256_madd_epi16(a, b));
}
#endif

} // namespace

QEL_SSE2 void HalveRowSse2(const uint8_t *pFine, int32_t lFineWidth, uint8_t *pCoarse, int32_t lCount) {
    const uint8_t *pBelow = pFine + lFineWidth;
    const __m128i vLow = _mm_set1_epi16(0xFF), vTwo = _mm_set1_epi16(2);
    int32_t x = 0;
    for (; x + 8 <= lCount; x += 8) {
        const __m128i a = _mm_loadu_si128((const __m128i *)(pFine + 2 * x));
        const __m128i b = _mm_loadu_si128((const __m128i *)(pBelow + 2 * x));
        const __m128i vEven = _mm_add_epi16(_mm_and_si128(a, vLow), _mm_and_si128(b, vLow));
        const __m128i vOdd = _mm_add_epi16(_mm_srli_epi16(a, 8), _mm_srli_epi16(b, 8));
        const __m128i vMean = _mm_srli_epi16(_mm_add_epi16(_mm_add_epi16(vEven, vOdd), vTwo), 2);
        _mm_storel_epi64((__m128i *)(pCoarse + x), _mm_packus_epi16(vMean, vMean));
    }
    if (x < lCount) HalveRowPortable(pFine + 2 * x, lFineWidth, pCoarse + x, lCount - x);
}

QEL_SSE2 void TileSumsSse2(const uint8_t *pCur, const uint8_t *pPrev, ptrdiff_t lStride,
                           TileSums *pSums) {
    *pSums = {};
    AddColumns128(pCur, pPrev, lStride, pSums);
    AddColumns128(pCur + 8, pPrev + 8, lStride, pSums);
}

QEL_SSE2 int32_t PatchErrorSse2(const uint8_t *pCur, const uint8_t *pPrev, ptrdiff_t lStride) {
    __m128i vSum = _mm_setzero_si128(), vSquares = vSum;
    for (int32_t r = 0; r < kPatch; r++, pCur += lStride, pPrev += lStride) {
        const __m128i e = _mm_sub_epi16(Words128(pPrev), Words128(pCur));
        vSum = _mm_add_epi16(vSum, e);
        AddProduct128(&vSquares, e, e);
    }
    const int32_t lSum = WordTotal128(vSum);
    return Total128(vSquares) - lSum * lSum / (kPatch * kPatch);
}

#ifdef QEL_AVX2
QEL_AVX2 void TileSumsAvx2(const uint8_t *pCur, const uint8_t *pPrev, ptrdiff_t lStride,
                           TileSums *pSums) {
    __m256i xx = _mm256_setzero_si256(), xy = xx, yy = xx, xe = xx, ye = xx, ee = xx, cc = xx;
    __m256i x = xx, y = xx, e = xx, c = xx;
    for (int32_t r = 0; r < kTile; r++, pCur += lStride, pPrev += lStride) {
        const __m256i vX = Gradient256(pCur, pPrev, 1), vY = Gradient256(pCur, pPrev, lStride);
        const __m256i vC = Words256(pCur), vE = _mm256_sub_epi16(Words256(pPrev), vC);
        AddProduct256(&xx, vX, vX);
        AddProduct256(&xy, vX, vY);
        AddProduct256(&yy, vY, vY);
        AddProduct256(&xe, vX, vE);
        AddProduct256(&ye, vY, vE);
        AddProduct256(&ee, vE, vE);
        AddProduct256(&cc, vC, vC);
        x = _mm256_add_epi16(x, vX);
        y = _mm256_add_epi16(y, vY);
        e = _mm256_add_epi16(e, vE);
        c = _mm256_add_epi16(c, vC);
    }
    *pSums = {Total256(xx),    Total256(xy),    Total256(yy),   Total256(xe),
              Total256(ye),    Total256(ee),    Total256(cc),   WordTotal256(x),
              WordTotal256(y), WordTotal256(e), WordTotal256(c)};
}
#endif

#endif
