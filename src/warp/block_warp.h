// SPDX-License-Identifier: BSD-2-Clause
// Rows of 4x4 blocks of one plane: each block's corner is mapped, its samples come from a fixed kernel.
#pragma once

#include "context.h"
#include "warp/map.h"
#include "warp/mapping_kernels.h"
#include "warp/run_kernels.h"

struct BlockPlane {
    const uint8_t *pIn;
    uint8_t *pOut;
    int32_t lWidth, lHeight; // input samples of one component; output rows have the same length
    int32_t lOutHeight;
    int32_t lStride; // bytes, the same for both
    int32_t lStep;   // bytes from sample to sample: 1, or 2 for pairs, whose components go together
    const MappingKernel *pKernels; // of single blocks
    const RunTaps *pTaps;          // of runs
    RunKernel pRun;                // null: blocks go one by one
};

// Planes of the context's sizes: luma, one plane of planar chroma, and V,U pairs.
BlockPlane LumaPlane(const MVS_Context *pCtx, const uint8_t *pIn, uint8_t *pOut,
                     const MappingKernel *pKernels);
BlockPlane ChromaPlane(const MVS_Context *pCtx, const uint8_t *pIn, uint8_t *pOut);
BlockPlane PairPlane(const MVS_Context *pCtx, const uint8_t *pIn, uint8_t *pOut);

// Block rows that planar chroma is warped in. By default only whole block rows of whole block pairs of
// luma: the last rows of chroma stay.
int32_t PlanarChromaRows(const MVS_Context *pCtx);

static inline int32_t BlockCount(int32_t lSize) { return (lSize + 3) >> 2; }

// The kernels need room for a phase-3 block, and input rows of the output's length.
static inline bool FitsBlockWarp(const MVS_Context *pCtx, const BlockPlane *pPlane) {
    return pCtx->lInWidth == pCtx->lOutWidth && pPlane->lWidth >= 5 && pPlane->lHeight >= 5;
}

// Rows lFirst .. lEnd - 1 of blocks; the steps of the map are those of a block.
void WarpBlockRows(const BlockPlane *pPlane, const WarpMap *pMap, int32_t lFirst, int32_t lEnd);
