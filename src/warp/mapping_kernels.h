// SPDX-License-Identifier: BSD-2-Clause
// The 7-to-8 resampling of one 4x4 block, one kernel a start phase.
//
// Output sample k of an axis lies 7k/8 input samples behind the block's corner, taken down to a
// quarter: at phase / 4 + 0, 0.75, 1.75, 2.5. The two-dimensional weighted sum of quarters is truncated
// once. Phases 0 .. 2 read samples 0 .. 3 of the axis, phase 3 reads 0 .. 4.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "quorvel/export.h"

// mapping_block_4x4_7to8_<row phase><column phase>(src, dst, stride): the sample at the integer part of
// the block's corner to the block's first sample; one stride in bytes for both planes. Planar planes;
// the same for the threaded passes (_OP); one component of interleaved pairs (_OP_C2), which leaves the
// other be.
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

// By bytes of a sample less one, and by 4 * row phase + column phase.
extern const MappingKernel kMappingKernels[2][16];

// The first lRows x lCols samples of a block that sticks out of its plane; lStep is 1 for planar planes
// and 2 for one component of pairs.
void MapBlockPart(const uint8_t *pSrc, uint8_t *pDst, ptrdiff_t lStride, ptrdiff_t lStep,
                  int32_t lRowPhase, int32_t lColPhase, int32_t lRows, int32_t lCols);
