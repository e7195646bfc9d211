// SPDX-License-Identifier: BSD-2-Clause
// 7-to-8 resampling of one 4x4 block, with one kernel for each start phase.
//
// Output sample k of an axis is 7k/8 input samples after the block's corner, rounded down to a
// quarter: at phase / 4 + 0, 0.75, 1.75, 2.5. The bilinear sum of both axes is truncated once. Phases
// 0 .. 2 read samples 0 .. 3 of the axis, phase 3 reads 0 .. 4.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "quorvel/export.h"

// mapping_block_4x4_7to8_<row phase><column phase>(src, dst, stride): src is the sample at the integer
// part of the block's corner, dst the block's first output sample; both planes have the same stride in
// bytes. The plain kernels and those with _OP are for planes; those with _OP_C2 do one component of
// interleaved pairs and leave the other as it is.
#define QEL_FOR_EACH_PHASE(M)                                                                          \
    M(0, 0)                                                                                            \
    M(0, 1)                                                                                            \
    M(0, 2)                                                                                            \
    M(0, 3)                                                                                            \
    M(1, 0) M(1, 1) M(1, 2) M(1, 3) M(2, 0) M(2, 1) M(2, 2) M(2, 3) M(3, 0) M(3, 1) M(3, 2) M(3, 3)

#define QEL_DECLARE_MAPPING(a, b)                                                                      \
    QEL_API void mapping_block_4x4_7to8_##a##b(const uint8_t *pSrc, uint8_t *pDst, int32_t lStride);   \
    QEL_API void mapping_block_4x4_7to8_##a##b##_OP(const uint8_t *pSrc, uint8_t *pDst,                \
                                                    int32_t lStride);                                  \
    QEL_API void mapping_block_4x4_7to8_##a##b##_OP_C2(const uint8_t *pSrc, uint8_t *pDst,             \
                                                       int32_t lStride);

QEL_FOR_EACH_PHASE(QEL_DECLARE_MAPPING)

typedef void (*MappingKernel)(const uint8_t *pSrc, uint8_t *pDst, int32_t lStride);

// Indexed by the bytes of a sample minus 1, and by 4 * row phase + column phase.
namespace quorvel { // a global variable keeps its plain name, which a program may have too
extern const MappingKernel kMappingKernels[2][16];
}
using quorvel::kMappingKernels;

// The first lRows x lCols samples of a block that is partly outside its plane. lStep is 1 for planes
// and 2 for one component of pairs.
void MapBlockPart(const uint8_t *pSrc, uint8_t *pDst, ptrdiff_t lStride, ptrdiff_t lStep,
                  int32_t lRowPhase, int32_t lColPhase, int32_t lRows, int32_t lCols);
