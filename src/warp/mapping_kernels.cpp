// SPDX-License-Identifier: BSD-2-Clause
#include "warp/mapping_kernels.h"

namespace {

// Quarters from the block's corner to output sample k, before the phase is added.
constexpr int32_t QuartersTo(int32_t k) { return 7 * k / 2; }

// Samples of weight 0 are not read: they may lie outside the plane.
inline int32_t Weighted(const uint8_t *p, int32_t lWeight) { return lWeight ? lWeight * *p : 0; }

inline uint8_t Sample(const uint8_t *pSrc, ptrdiff_t lStride, ptrdiff_t lStep, int32_t lRowQuarters,
                      int32_t lColQuarters) {
    const uint8_t *p = pSrc + (lRowQuarters >> 2) * lStride + (lColQuarters >> 2) * lStep;
    const int32_t lFy = lRowQuarters & 3, lFx = lColQuarters & 3;
    return (uint8_t)((Weighted(p, (4 - lFy) * (4 - lFx)) + Weighted(p + lStep, (4 - lFy) * lFx) +
                      Weighted(p + lStride, lFy * (4 - lFx)) +
                      Weighted(p + lStride + lStep, lFy * lFx)) >>
                     4);
}

template <int32_t A, int32_t B, int32_t STEP, int32_t I>
inline void MapRow(const uint8_t *pSrc, uint8_t *pDst, ptrdiff_t lStride) {
    const int32_t lRow = A + QuartersTo(I);
    pDst[0 * STEP] = Sample(pSrc, lStride, STEP, lRow, B + QuartersTo(0));
    pDst[1 * STEP] = Sample(pSrc, lStride, STEP, lRow, B + QuartersTo(1));
    pDst[2 * STEP] = Sample(pSrc, lStride, STEP, lRow, B + QuartersTo(2));
    pDst[3 * STEP] = Sample(pSrc, lStride, STEP, lRow, B + QuartersTo(3));
}

// Phases and offsets are constants here, so each kernel keeps only its weights.
template <int32_t A, int32_t B, int32_t STEP>
inline void MapBlock(const uint8_t *pSrc, uint8_t *pDst, ptrdiff_t lStride) {
    MapRow<A, B, STEP, 0>(pSrc, pDst, lStride);
    MapRow<A, B, STEP, 1>(pSrc, pDst + lStride, lStride);
    MapRow<A, B, STEP, 2>(pSrc, pDst + 2 * lStride, lStride);
    MapRow<A, B, STEP, 3>(pSrc, pDst + 3 * lStride, lStride);
}

} // namespace

#define QEL_DEFINE_KERNELS(a, b)                                                                       \
    void mapping_block_4x4_7to8_##a##b(const uint8_t *pSrc, uint8_t *pDst, int32_t lStride) {          \
        MapBlock<a, b, 1>(pSrc, pDst, lStride);                                                        \
    }                                                                                                  \
    void mapping_block_4x4_7to8_##a##b##_OP(const uint8_t *pSrc, uint8_t *pDst, int32_t lStride) {     \
        MapBlock<a, b, 1>(pSrc, pDst, lStride);                                                        \
    }                                                                                                  \
    void mapping_block_4x4_7to8_##a##b##_OP_C2(const uint8_t *pSrc, uint8_t *pDst, int32_t lStride) {  \
        MapBlock<a, b, 2>(pSrc, pDst, lStride);                                                        \
    }

QEL_FOR_EACH_PHASE(QEL_DEFINE_KERNELS)

#define QEL_PLANAR(a, b) mapping_block_4x4_7to8_##a##b,
#define QEL_PAIRS(a, b) mapping_block_4x4_7to8_##a##b##_OP_C2,

const MappingKernel quorvel::kMappingKernels[2][16] = {{QEL_FOR_EACH_PHASE(QEL_PLANAR)},
                                                       {QEL_FOR_EACH_PHASE(QEL_PAIRS)}};

void MapBlockPart(const uint8_t *pSrc, uint8_t *pDst, ptrdiff_t lStride, ptrdiff_t lStep,
                  int32_t lRowPhase, int32_t lColPhase, int32_t lRows, int32_t lCols) {
    for (int32_t i = 0; i < lRows; i++)
        for (int32_t k = 0; k < lCols; k++)
            pDst[i * lStride + k * lStep] =
                Sample(pSrc, lStride, lStep, lRowPhase + QuartersTo(i), lColPhase + QuartersTo(k));
}
