// SPDX-License-Identifier: BSD-2-Clause
// The passes of the block warp that run on one thread.
#include "warp/block_warp.h"

#include "warp/warp.h"

namespace {

// One block, wholly or in part inside the plane.
void WarpBlock(const BlockPlane *pPlane, Position stRow, Position stCol, uint8_t *pOut, int32_t lRows,
               int32_t lCols) {
    const ptrdiff_t lStride = pPlane->lStride, lStep = pPlane->lStep;
    const uint8_t *pIn = pPlane->pIn + stRow.lBase * lStride + stCol.lBase * lStep;
    for (ptrdiff_t i = 0; i < lStep; i++) {
        if (lRows >= 4 && lCols >= 4)
            pPlane->pKernels[4 * stRow.lPhase + stCol.lPhase](pIn + i, pOut + i, pPlane->lStride);
        else
            MapBlockPart(pIn + i, pOut + i, lStride, lStep, stRow.lPhase, stCol.lPhase, Min32(lRows, 4),
                         Min32(lCols, 4));
    }
}

WarpMap BlockSteps(int32_t lR0, int32_t lC0, int32_t lZ, int32_t lS) {
    return {lR0, lC0, WrapMul32(4, lZ), WrapMul32(4, lS)};
}

// ---- a row of blocks, by runs where it can be ----

const int32_t kBlockColumnStep = 3584; // 3.5 samples: what the taps of a run are made for
const int32_t kSaneQ10 = 1 << 28;      // positions that no row of blocks can carry out of 32 bits

// A row of blocks on its way from left to right.
struct RowWalk {
    const BlockPlane *pPlane;
    const WarpMap *pMap;
    uint8_t *pOut; // the row's first byte
    int32_t lRows; // output rows from here to the plane's end
    int32_t lColumns;
    int32_t r, c; // position of block 0, Q10
};

int32_t RowAt(const RowWalk *pWalk, int32_t x) {
    return WrapAdd32(pWalk->r, WrapMul32(pWalk->pMap->lS, x));
}
int32_t ColAt(const RowWalk *pWalk, int32_t x) {
    return WrapAdd32(pWalk->c, WrapMul32(pWalk->pMap->lZ, x));
}

Position RowPosition(const RowWalk *pWalk, int32_t x) {
    return PositionOf(RowAt(pWalk, x), pWalk->pPlane->lHeight - 5);
}
Position ColPosition(const RowWalk *pWalk, int32_t x) {
    return PositionOf(ColAt(pWalk, x), pWalk->pPlane->lWidth - 5);
}

// Blocks from x on that have the row and row phase of block x.
int32_t SameRow(const RowWalk *pWalk, int32_t x) {
    const int32_t lLast = (pWalk->pPlane->lHeight - 5) << 10, s = pWalk->pMap->lS, r = RowAt(pWalk, x);
    if (s > 0) {
        if (r > lLast) return pWalk->lColumns;
        const int32_t lNext = r < 0 ? 0 : (r | 255) + 1;
        return (lNext - r + s - 1) / s;
    }
    if (s < 0) {
        if (r < 0) return pWalk->lColumns;
        return r > lLast ? (r - lLast - s - 1) / -s : (r & 255) / -s + 1;
    }
    return pWalk->lColumns;
}

// Blocks from x on whose columns need no clamp.
int32_t InsideColumns(const RowWalk *pWalk, int32_t x) {
    const int32_t c = ColAt(pWalk, x), lLast = (pWalk->pPlane->lWidth - 5) << 10;
    return c < 0 || c > lLast ? 0 : (lLast - c) / kBlockColumnStep + 1;
}

// Steps from block x on that neither read beyond the plane nor write beyond the row.
int32_t StepsInside(const RowWalk *pWalk, int32_t x, const uint8_t *pIn) {
    const BlockPlane *pPlane = pWalk->pPlane;
    const ptrdiff_t lReadable = pPlane->pIn + (ptrdiff_t)pPlane->lHeight * pPlane->lStride -
                                (pIn + 4 * (ptrdiff_t)pPlane->lStride);
    const int32_t lWritable = (pPlane->lWidth - 4 * x) * pPlane->lStep;
    if (lReadable < QEL_STEP_READ || lWritable < QEL_STEP_OUT) return 0;
    const ptrdiff_t lReads = (lReadable - QEL_STEP_READ) / QEL_STEP_IN + 1;
    return lReads < lWritable / QEL_STEP_OUT ? (int32_t)lReads : lWritable / QEL_STEP_OUT;
}

// Resamples from block x on in one go and returns how many blocks are done, 0 where a run is not
// possible. The last step may write beyond its run: those blocks come next and are written again.
int32_t WarpRun(const RowWalk *pWalk, int32_t x) {
    const BlockPlane *pPlane = pWalk->pPlane;
    const int32_t lBlocks =
        Min32(Min32(SameRow(pWalk, x), InsideColumns(pWalk, x)), pWalk->lColumns - x);
    if (lBlocks < 1) return 0;
    const Position stRow = RowPosition(pWalk, x), stCol = ColPosition(pWalk, x);
    const uint8_t *pIn =
        pPlane->pIn + (ptrdiff_t)stRow.lBase * pPlane->lStride + stCol.lBase * pPlane->lStep;
    const int32_t lStepBlocks = 4 / pPlane->lStep;
    const int32_t lSteps = Min32((lBlocks + lStepBlocks - 1) / lStepBlocks, StepsInside(pWalk, x, pIn));
    if (lSteps < 1) return 0;
    pPlane->pRun(pIn, pWalk->pOut + 4 * (ptrdiff_t)x * pPlane->lStep, pPlane->lStride, stRow.lPhase,
                 &pPlane->pTaps[stCol.lPhase], lSteps);
    return Min32(lBlocks, lSteps * lStepBlocks);
}

bool CanRun(const RowWalk *pWalk) {
    const WarpMap *pMap = pWalk->pMap;
    return pWalk->pPlane->pRun && pWalk->lRows >= 4 && pMap->lZ == kBlockColumnStep &&
           pMap->lS > -kSaneQ10 >> 13 && pMap->lS < kSaneQ10 >> 13 && pWalk->r > -kSaneQ10 &&
           pWalk->r < kSaneQ10 && pWalk->c > -kSaneQ10 && pWalk->c < kSaneQ10;
}

} // namespace

BlockPlane LumaPlane(const MVS_Context *pCtx, const uint8_t *pIn, uint8_t *pOut,
                     const MappingKernel *pKernels) {
    return {pIn,
            pOut,
            pCtx->lInWidth,
            pCtx->lInHeight,
            pCtx->lOutHeight,
            pCtx->lInWidth,
            1,
            pKernels,
            kPlanarTaps,
            RunKernelOf(pCtx->eCpuLevel)};
}

BlockPlane ChromaPlane(const MVS_Context *pCtx, const uint8_t *pIn, uint8_t *pOut) {
    return {pIn,
            pOut,
            InChromaWidth(pCtx),
            InChromaHeight(pCtx),
            OutChromaHeight(pCtx),
            InChromaWidth(pCtx),
            1,
            kPlanarKernels,
            kPlanarTaps,
            RunKernelOf(pCtx->eCpuLevel)};
}

BlockPlane PairPlane(const MVS_Context *pCtx, const uint8_t *pIn, uint8_t *pOut) {
    return {pIn,
            pOut,
            InChromaWidth(pCtx),
            InChromaHeight(pCtx),
            OutChromaHeight(pCtx),
            pCtx->lInWidth,
            2,
            kPairKernels,
            kPairTaps,
            RunKernelOf(pCtx->eCpuLevel)};
}

int32_t PlanarChromaRows(const MVS_Context *pCtx) {
    return pCtx->bFullChroma ? BlockCount(OutChromaHeight(pCtx)) : pCtx->lOutHeight >> 3;
}

void WarpBlockRows(const BlockPlane *pPlane, const WarpMap *pMap, int32_t lFirst, int32_t lEnd) {
    lFirst = Max32(lFirst, 0);
    lEnd = Min32(lEnd, BlockCount(pPlane->lOutHeight));
    for (int32_t y = lFirst; y < lEnd; y++) {
        const RowWalk st = {pPlane,
                            pMap,
                            pPlane->pOut + 4 * (ptrdiff_t)y * pPlane->lStride,
                            pPlane->lOutHeight - 4 * y,
                            BlockCount(pPlane->lWidth),
                            WrapAdd32(pMap->lR0, WrapMul32(pMap->lZ, y)),
                            WrapSub32(pMap->lC0, WrapMul32(pMap->lS, y))};
        const bool bRuns = CanRun(&st);
        for (int32_t x = 0; x < st.lColumns;) {
            const int32_t lDone = bRuns ? WarpRun(&st, x) : 0;
            x += lDone;
            if (lDone) continue;
            WarpBlock(pPlane, RowPosition(&st, x), ColPosition(&st, x),
                      st.pOut + 4 * (ptrdiff_t)x * pPlane->lStep, st.lRows, pPlane->lWidth - 4 * x);
            x++;
        }
    }
}

void StabY_Rotation_4x4_7to8_block(MVS_Context *pCtx, const uint8_t *pInPlane, uint8_t *pOutPlane,
                                   int32_t lR0, int32_t lC0, int32_t lBlockZ, int32_t lBlockS,
                                   int32_t lFirst, int32_t lEnd) {
    const BlockPlane st = LumaPlane(pCtx, pInPlane, pOutPlane, kThreadedKernels);
    const WarpMap stMap = {lR0, lC0, lBlockZ, lBlockS};
    if (FitsBlockWarp(pCtx, &st)) WarpBlockRows(&st, &stMap, lFirst, lEnd);
}

void StabC2_Rotation_4x4_7to8_block(MVS_Context *pCtx, const uint8_t *pInPlane, uint8_t *pOutPlane,
                                    int32_t lR0, int32_t lC0, int32_t lBlockZ, int32_t lBlockS,
                                    int32_t lFirst, int32_t lEnd) {
    const BlockPlane st = PairPlane(pCtx, pInPlane, pOutPlane);
    const WarpMap stMap = {lR0, lC0, lBlockZ, lBlockS};
    if (FitsBlockWarp(pCtx, &st)) WarpBlockRows(&st, &stMap, lFirst, lEnd);
}

void StabY_Rotation_4x4_7to8_normal(MVS_Context *pCtx, const uint8_t *pInLuma, uint8_t *pOutLuma,
                                    int32_t lR0, int32_t lC0, int32_t lZ, int32_t lS) {
    const BlockPlane st = LumaPlane(pCtx, pInLuma, pOutLuma, kPlanarKernels);
    const WarpMap stMap = BlockSteps(lR0, lC0, lZ, lS);
    if (FitsBlockWarp(pCtx, &st)) WarpBlockRows(&st, &stMap, 0, BlockCount(st.lOutHeight));
}

void StabC_Rotation_4x4_7to8_normal(MVS_Context *pCtx, const uint8_t *pInChroma, uint8_t *pOutChroma,
                                    int32_t lR0, int32_t lC0, int32_t lZ, int32_t lS) {
    const PlanarChroma stPlanes = ChromaPlanes(pCtx, pInChroma, pOutChroma);
    if (!stPlanes.pIn[0] || !stPlanes.pOut[0]) return; // the handle was not made for pairs
    const WarpMap stMap = BlockSteps(lR0, lC0, lZ, lS);
    for (int32_t i = 0; i < 2; i++) {
        const BlockPlane st = ChromaPlane(pCtx, stPlanes.pIn[i], stPlanes.pOut[i]);
        if (FitsBlockWarp(pCtx, &st)) WarpBlockRows(&st, &stMap, 0, PlanarChromaRows(pCtx));
    }
}
