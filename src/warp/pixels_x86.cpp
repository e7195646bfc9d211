// SPDX-License-Identifier: BSD-2-Clause
// Each lane makes 16 bytes from one window of each source row; AVX2 has two lanes. Positions are
// 16-bit words, Q10: rows relative to the topmost row of the step, columns relative to the lane's
// window. They are at most 1023 + 31 * 1024.
#include "warp/pixels.h"

#ifdef QEL_X86
#include <immintrin.h>

namespace {

int32_t At(int32_t lStart, int32_t lStep, int32_t x) { return WrapAdd32(lStart, WrapMul32(lStep, x)); }

#ifdef QEL_AVX2
// ---- AVX2 ----

QEL_AVX2 inline __m256i Words256(int32_t l) { return _mm256_set1_epi16((int16_t)l); }
QEL_AVX2 inline __m256i Bytes256(int32_t l) { return _mm256_set1_epi8((int8_t)l); }

QEL_AVX2 inline __m256i Load256(const uint8_t *pLow, const uint8_t *pHigh) {
    const __m128i vLow = _mm_loadu_si128((const __m128i *)pLow);
    const __m128i vHigh = _mm_loadu_si128((const __m128i *)pHigh);
    return _mm256_inserti128_si256(_mm256_castsi128_si256(vLow), vHigh, 1);
}

// Offsets along one axis: of the first eight pixels of a lane, from the low lane to the high one, and
// from the first eight pixels to the next eight.
struct Moves256 {
    __m256i vPixels, vLanes, vEight;
};

QEL_AVX2 inline Moves256 MovesOf256(int32_t lStep, int32_t lLane) {
    const __m256i v = _mm256_setr_epi16(0, 1, 2, 3, 4, 5, 6, 7, 0, 1, 2, 3, 4, 5, 6, 7);
    const __m128i vHigh = _mm_set1_epi16((int16_t)(lStep * lLane));
    return {_mm256_mullo_epi16(v, Words256(lStep)),
            _mm256_inserti128_si256(_mm256_setzero_si256(), vHigh, 1), Words256(8 * lStep)};
}

QEL_AVX2 inline __m256i Rows256(int32_t lOffset, const Moves256 &stMoves) {
    return _mm256_add_epi16(_mm256_add_epi16(Words256(lOffset), stMoves.vLanes), stMoves.vPixels);
}
QEL_AVX2 inline __m256i Columns256(int32_t c, const Moves256 &stMoves) {
    const __m256i v = _mm256_and_si256(_mm256_add_epi16(Words256(c), stMoves.vLanes), Words256(1023));
    return _mm256_add_epi16(v, stMoves.vPixels);
}

// Positions in quarters, as bytes: 16 pixels in each lane.
QEL_AVX2 inline __m256i Quarters256(__m256i v, const Moves256 &stMoves) {
    const __m256i vNext = _mm256_add_epi16(v, stMoves.vEight);
    return _mm256_packus_epi16(_mm256_srli_epi16(v, 8), _mm256_srli_epi16(vNext, 8));
}

// Indices for byte shuffles: of single bytes, and of both bytes of pairs.
QEL_AVX2 inline __m256i PixelIndex256(__m256i vQuarters) {
    return _mm256_and_si256(_mm256_srli_epi16(vQuarters, 2), Bytes256(15));
}
QEL_AVX2 inline __m256i PairIndex256(__m256i vColumns) {
    const __m256i vFirst = _mm256_mullo_epi16(_mm256_srli_epi16(vColumns, 10), Words256(0x0202));
    return _mm256_add_epi16(vFirst, Words256(0x0100));
}

// Interleaved weights of a pixel and its neighbour, in quarters: pixels 0 .. 7 and 8 .. 15 of each
// lane.
struct Weights256 {
    __m256i vLow, vHigh;
};

QEL_AVX2 inline Weights256 WeightsOf256(__m256i vQuarters) {
    const __m256i f = _mm256_and_si256(vQuarters, Bytes256(3)), v = _mm256_sub_epi8(Bytes256(4), f);
    return {_mm256_unpacklo_epi8(v, f), _mm256_unpackhi_epi8(v, f)};
}

QEL_AVX2 inline __m256i Mix256(__m256i a, __m256i b, const Weights256 &stWeights) {
    const __m256i vLow = _mm256_maddubs_epi16(_mm256_unpacklo_epi8(a, b), stWeights.vLow);
    const __m256i vHigh = _mm256_maddubs_epi16(_mm256_unpackhi_epi8(a, b), stWeights.vHigh);
    return _mm256_packus_epi16(_mm256_srli_epi16(vLow, 2), _mm256_srli_epi16(vHigh, 2));
}

template <bool kZoom>
QEL_AVX2 inline __m256i Line256(const uint8_t *pLow, const uint8_t *pHigh, __m256i vIndex,
                                const Weights256 &stWeights) {
    __m256i a = Load256(pLow, pHigh), b = Load256(pLow + 1, pHigh + 1);
    if (kZoom) {
        a = _mm256_shuffle_epi8(a, vIndex);
        b = _mm256_shuffle_epi8(b, vIndex);
    }
    return Mix256(a, b, stWeights);
}

template <bool kZoom>
QEL_AVX2 void Luma256(const PixelPlane *pPlane, uint8_t *pOut, int32_t lR, int32_t lC, int32_t lZ,
                      int32_t lS, int32_t lFirst, int32_t lEnd) {
    const ptrdiff_t lStride = pPlane->lStride;
    const Moves256 stDown = MovesOf256(lS, 16), stAcross = MovesOf256(lZ, 16);
    __m256i vIndex = _mm256_setzero_si256();
    Weights256 stWeights = WeightsOf256(Bytes256(lC >> 8 & 3));
    for (int32_t x = lFirst;;) {
        const int32_t c = At(lC, lZ, x);
        const PixelRows stRows = PixelRowsOf(pPlane, At(lR, lS, x), lS, 32);
        const uint8_t *pLow = stRows.pTop + (c >> 10), *pHigh = stRows.pTop + ((c + 16 * lZ) >> 10);
        PrefetchBelow(pLow, lStride);
        if (kZoom) {
            const __m256i vQuarters = Quarters256(Columns256(c, stAcross), stAcross);
            vIndex = PixelIndex256(vQuarters);
            stWeights = WeightsOf256(vQuarters);
        }
        const __m256i vRows = Quarters256(Rows256(stRows.lOffset, stDown), stDown);
        __m256i vTop = Line256<kZoom>(pLow, pHigh, vIndex, stWeights);
        __m256i vNext = Line256<kZoom>(pLow + lStride, pHigh + lStride, vIndex, stWeights);
        __m256i vBelow = vNext;
        for (int32_t i = 1; i <= stRows.lMore; i++) {
            const ptrdiff_t lNext = (i + 1) * lStride;
            const __m256i vReached = _mm256_cmpgt_epi8(vRows, Bytes256(4 * i - 1));
            vTop = _mm256_blendv_epi8(vTop, vNext, vReached);
            vNext = Line256<kZoom>(pLow + lNext, pHigh + lNext, vIndex, stWeights);
            vBelow = _mm256_blendv_epi8(vBelow, vNext, vReached);
        }
        _mm256_storeu_si256((__m256i *)(pOut + x), Mix256(vTop, vBelow, WeightsOf256(vRows)));
        x += 32;
        if (x >= lEnd) return;
        x = Min32(x, lEnd - 32);
    }
}

// Samples of kBytes bytes; rows are held in elements of that size.
template <int32_t kBytes>
QEL_AVX2 void Nearest256(const PixelPlane *pPlane, uint8_t *pOut, int32_t lR, int32_t lC, int32_t lZ,
                         int32_t lS, int32_t lFirst, int32_t lEnd) {
    const ptrdiff_t lStride = pPlane->lStride;
    const int32_t lLane = 16 / kBytes;
    const Moves256 stDown = MovesOf256(lS, lLane), stAcross = MovesOf256(lZ, lLane);
    for (int32_t x = lFirst;;) {
        const int32_t c = At(lC, lZ, x);
        const PixelRows stRows = PixelRowsOf(pPlane, At(lR, lS, x), lS, 2 * lLane);
        const uint8_t *pLow = stRows.pTop + kBytes * (c >> 10);
        const uint8_t *pHigh = stRows.pTop + kBytes * ((c + lLane * lZ) >> 10);
        PrefetchBelow(pLow, lStride);
        const __m256i vColumns = Columns256(c, stAcross);
        const __m256i vIndex =
            kBytes == 1 ? PixelIndex256(Quarters256(vColumns, stAcross)) : PairIndex256(vColumns);
        __m256i v = _mm256_shuffle_epi8(Load256(pLow, pHigh), vIndex);
        for (int32_t i = 1; i <= stRows.lMore; i++) {
            const __m256i vRows = Rows256(stRows.lOffset, stDown);
            const __m256i vReached =
                kBytes == 1 ? _mm256_cmpgt_epi8(Quarters256(vRows, stDown), Bytes256(4 * i - 1))
                            : _mm256_cmpgt_epi16(vRows, Words256(1024 * i - 1));
            const __m256i vLine = Load256(pLow + i * lStride, pHigh + i * lStride);
            v = _mm256_blendv_epi8(v, _mm256_shuffle_epi8(vLine, vIndex), vReached);
        }
        _mm256_storeu_si256((__m256i *)(pOut + (ptrdiff_t)kBytes * x), v);
        x += 2 * lLane;
        if (x >= lEnd) return;
        x = Min32(x, lEnd - 2 * lLane);
    }
}
#endif

// ---- SSSE3 ----

QEL_SSSE3 inline __m128i Words128(int32_t l) { return _mm_set1_epi16((int16_t)l); }
QEL_SSSE3 inline __m128i Bytes128(int32_t l) { return _mm_set1_epi8((int8_t)l); }
QEL_SSSE3 inline __m128i Load128(const uint8_t *p) { return _mm_loadu_si128((const __m128i *)p); }

// b where the mask is set, else a.
QEL_SSSE3 inline __m128i Select128(__m128i a, __m128i b, __m128i vMask) {
    return _mm_xor_si128(a, _mm_and_si128(_mm_xor_si128(a, b), vMask));
}

struct Moves128 {
    __m128i vPixels, vEight;
};

QEL_SSSE3 inline Moves128 MovesOf128(int32_t lStep) {
    return {_mm_mullo_epi16(_mm_setr_epi16(0, 1, 2, 3, 4, 5, 6, 7), Words128(lStep)),
            Words128(8 * lStep)};
}

QEL_SSSE3 inline __m128i Positions128(int32_t lFirst, const Moves128 &stMoves) {
    return _mm_add_epi16(Words128(lFirst), stMoves.vPixels);
}

QEL_SSSE3 inline __m128i Quarters128(__m128i v, const Moves128 &stMoves) {
    return _mm_packus_epi16(_mm_srli_epi16(v, 8), _mm_srli_epi16(_mm_add_epi16(v, stMoves.vEight), 8));
}

QEL_SSSE3 inline __m128i PixelIndex128(__m128i vQuarters) {
    return _mm_and_si128(_mm_srli_epi16(vQuarters, 2), Bytes128(15));
}
QEL_SSSE3 inline __m128i PairIndex128(__m128i vColumns) {
    return _mm_add_epi16(_mm_mullo_epi16(_mm_srli_epi16(vColumns, 10), Words128(0x0202)),
                         Words128(0x0100));
}

struct Weights128 {
    __m128i vLow, vHigh;
};

QEL_SSSE3 inline Weights128 WeightsOf128(__m128i vQuarters) {
    const __m128i f = _mm_and_si128(vQuarters, Bytes128(3)), v = _mm_sub_epi8(Bytes128(4), f);
    return {_mm_unpacklo_epi8(v, f), _mm_unpackhi_epi8(v, f)};
}

QEL_SSSE3 inline __m128i Mix128(__m128i a, __m128i b, const Weights128 &stWeights) {
    const __m128i vLow = _mm_maddubs_epi16(_mm_unpacklo_epi8(a, b), stWeights.vLow);
    const __m128i vHigh = _mm_maddubs_epi16(_mm_unpackhi_epi8(a, b), stWeights.vHigh);
    return _mm_packus_epi16(_mm_srli_epi16(vLow, 2), _mm_srli_epi16(vHigh, 2));
}

template <bool kZoom>
QEL_SSSE3 inline __m128i Line128(const uint8_t *p, __m128i vIndex, const Weights128 &stWeights) {
    __m128i a = Load128(p), b = Load128(p + 1);
    if (kZoom) {
        a = _mm_shuffle_epi8(a, vIndex);
        b = _mm_shuffle_epi8(b, vIndex);
    }
    return Mix128(a, b, stWeights);
}

template <bool kZoom>
QEL_SSSE3 void Luma128(const PixelPlane *pPlane, uint8_t *pOut, int32_t lR, int32_t lC, int32_t lZ,
                       int32_t lS, int32_t lFirst, int32_t lEnd) {
    const ptrdiff_t lStride = pPlane->lStride;
    const Moves128 stDown = MovesOf128(lS), stAcross = MovesOf128(lZ);
    __m128i vIndex = _mm_setzero_si128();
    Weights128 stWeights = WeightsOf128(Bytes128(lC >> 8 & 3));
    for (int32_t x = lFirst;;) {
        const int32_t c = At(lC, lZ, x);
        const PixelRows stRows = PixelRowsOf(pPlane, At(lR, lS, x), lS, 16);
        const uint8_t *p = stRows.pTop + (c >> 10);
        PrefetchBelow(p, lStride);
        if (kZoom) {
            const __m128i vQuarters = Quarters128(Positions128(c & 1023, stAcross), stAcross);
            vIndex = PixelIndex128(vQuarters);
            stWeights = WeightsOf128(vQuarters);
        }
        const __m128i vRows = Quarters128(Positions128(stRows.lOffset, stDown), stDown);
        __m128i vTop = Line128<kZoom>(p, vIndex, stWeights);
        __m128i vNext = Line128<kZoom>(p + lStride, vIndex, stWeights);
        __m128i vBelow = vNext;
        for (int32_t i = 1; i <= stRows.lMore; i++) {
            const __m128i vReached = _mm_cmpgt_epi8(vRows, Bytes128(4 * i - 1));
            vTop = Select128(vTop, vNext, vReached);
            vNext = Line128<kZoom>(p + (i + 1) * lStride, vIndex, stWeights);
            vBelow = Select128(vBelow, vNext, vReached);
        }
        _mm_storeu_si128((__m128i *)(pOut + x), Mix128(vTop, vBelow, WeightsOf128(vRows)));
        x += 16;
        if (x >= lEnd) return;
        x = Min32(x, lEnd - 16);
    }
}

template <int32_t kBytes>
QEL_SSSE3 void Nearest128(const PixelPlane *pPlane, uint8_t *pOut, int32_t lR, int32_t lC, int32_t lZ,
                          int32_t lS, int32_t lFirst, int32_t lEnd) {
    const ptrdiff_t lStride = pPlane->lStride;
    const int32_t lLane = 16 / kBytes;
    const Moves128 stDown = MovesOf128(lS), stAcross = MovesOf128(lZ);
    for (int32_t x = lFirst;;) {
        const int32_t c = At(lC, lZ, x);
        const PixelRows stRows = PixelRowsOf(pPlane, At(lR, lS, x), lS, lLane);
        const uint8_t *p = stRows.pTop + kBytes * (c >> 10);
        PrefetchBelow(p, lStride);
        const __m128i vColumns = Positions128(c & 1023, stAcross);
        const __m128i vIndex =
            kBytes == 1 ? PixelIndex128(Quarters128(vColumns, stAcross)) : PairIndex128(vColumns);
        __m128i v = _mm_shuffle_epi8(Load128(p), vIndex);
        for (int32_t i = 1; i <= stRows.lMore; i++) {
            const __m128i vRows = Positions128(stRows.lOffset, stDown);
            const __m128i vReached =
                kBytes == 1 ? _mm_cmpgt_epi8(Quarters128(vRows, stDown), Bytes128(4 * i - 1))
                            : _mm_cmpgt_epi16(vRows, Words128(1024 * i - 1));
            v = Select128(v, _mm_shuffle_epi8(Load128(p + i * lStride), vIndex), vReached);
        }
        _mm_storeu_si128((__m128i *)(pOut + (ptrdiff_t)kBytes * x), v);
        x += lLane;
        if (x >= lEnd) return;
        x = Min32(x, lEnd - lLane);
    }
}

} // namespace

// Without a zoom all columns have the same phase, and the bytes of a window need no shuffle. Spans
// that are shorter than a step go to the narrower kernel.

#ifdef QEL_AVX2
void LumaPixelsAvx2(const PixelPlane *pPlane, uint8_t *pOut, int32_t lR, int32_t lC, int32_t lZ,
                    int32_t lS, int32_t lFirst, int32_t lEnd) {
    const PixelKernel pWide = lZ == 1024 ? Luma256<false> : Luma256<true>;
    const PixelKernel pKernel = lEnd - lFirst < 32 ? LumaPixelsSsse3 : pWide;
    pKernel(pPlane, pOut, lR, lC, lZ, lS, lFirst, lEnd);
}
void NearestPixelsAvx2(const PixelPlane *pPlane, uint8_t *pOut, int32_t lR, int32_t lC, int32_t lZ,
                       int32_t lS, int32_t lFirst, int32_t lEnd) {
    const PixelKernel pKernel = lEnd - lFirst < 32 ? NearestPixelsSsse3 : Nearest256<1>;
    pKernel(pPlane, pOut, lR, lC, lZ, lS, lFirst, lEnd);
}
void NearestPairsAvx2(const PixelPlane *pPlane, uint8_t *pOut, int32_t lR, int32_t lC, int32_t lZ,
                      int32_t lS, int32_t lFirst, int32_t lEnd) {
    const PixelKernel pKernel = lEnd - lFirst < 16 ? NearestPairsSsse3 : Nearest256<2>;
    pKernel(pPlane, pOut, lR, lC, lZ, lS, lFirst, lEnd);
}
#endif

void LumaPixelsSsse3(const PixelPlane *pPlane, uint8_t *pOut, int32_t lR, int32_t lC, int32_t lZ,
                     int32_t lS, int32_t lFirst, int32_t lEnd) {
    const PixelKernel pWide = lZ == 1024 ? Luma128<false> : Luma128<true>;
    const PixelKernel pKernel = lEnd - lFirst < 16 ? LumaPixelsPortable : pWide;
    pKernel(pPlane, pOut, lR, lC, lZ, lS, lFirst, lEnd);
}
void NearestPixelsSsse3(const PixelPlane *pPlane, uint8_t *pOut, int32_t lR, int32_t lC, int32_t lZ,
                        int32_t lS, int32_t lFirst, int32_t lEnd) {
    const PixelKernel pKernel = lEnd - lFirst < 16 ? NearestPixelsPortable : Nearest128<1>;
    pKernel(pPlane, pOut, lR, lC, lZ, lS, lFirst, lEnd);
}
void NearestPairsSsse3(const PixelPlane *pPlane, uint8_t *pOut, int32_t lR, int32_t lC, int32_t lZ,
                       int32_t lS, int32_t lFirst, int32_t lEnd) {
    const PixelKernel pKernel = lEnd - lFirst < 8 ? NearestPairsPortable : Nearest128<2>;
    pKernel(pPlane, pOut, lR, lC, lZ, lS, lFirst, lEnd);
}
#endif
