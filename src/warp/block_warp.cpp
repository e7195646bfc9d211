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

} // namespace

void WarpBlockRows(const BlockPlane *pPlane, const WarpMap *pMap, int32_t lFirst, int32_t lEnd) {
    const int32_t lColumns = BlockCount(pPlane->lWidth);
    const int32_t lLastRow = pPlane->lHeight - 5, lLastCol = pPlane->lWidth - 5;
    lFirst = Max32(lFirst, 0);
    lEnd = Min32(lEnd, BlockCount(pPlane->lHeight));
    for (int32_t y = lFirst; y < lEnd; y++) {
        int32_t r = WrapAdd32(pMap->lR0, WrapMul32(pMap->lZ, y));
        int32_t c = WrapSub32(pMap->lC0, WrapMul32(pMap->lS, y));
        uint8_t *pOut = pPlane->pOut + 4 * (ptrdiff_t)y * pPlane->lStride;
        for (int32_t x = 0; x < lColumns; x++, pOut += 4 * pPlane->lStep) {
            WarpBlock(pPlane, PositionOf(r, lLastRow), PositionOf(c, lLastCol), pOut,
                      pPlane->lHeight - 4 * y, pPlane->lWidth - 4 * x);
            r = WrapAdd32(r, pMap->lS);
            c = WrapAdd32(c, pMap->lZ);
        }
    }
}

void StabY_Rotation_4x4_7to8_block(MVS_Context *pCtx, const uint8_t *pInPlane, uint8_t *pOutPlane,
                                   int32_t lR0, int32_t lC0, int32_t lBlockZ, int32_t lBlockS,
                                   int32_t lFirst, int32_t lEnd) {
    if (!FitsBlockWarp(pCtx, pCtx->lInWidth, pCtx->lInHeight)) return;
    const BlockPlane st = {pInPlane,       pOutPlane, pCtx->lInWidth,  pCtx->lInHeight,
                           pCtx->lInWidth, 1,         kThreadedKernels};
    const WarpMap stMap = {lR0, lC0, lBlockZ, lBlockS};
    WarpBlockRows(&st, &stMap, lFirst, lEnd);
}

void StabC2_Rotation_4x4_7to8_block(MVS_Context *pCtx, const uint8_t *pInPlane, uint8_t *pOutPlane,
                                    int32_t lR0, int32_t lC0, int32_t lBlockZ, int32_t lBlockS,
                                    int32_t lFirst, int32_t lEnd) {
    const int32_t lWidth = InChromaWidth(pCtx), lHeight = InChromaHeight(pCtx);
    if (!FitsBlockWarp(pCtx, lWidth, lHeight)) return;
    const BlockPlane st = {pInPlane, pOutPlane, lWidth, lHeight, pCtx->lInWidth, 2, kPairKernels};
    const WarpMap stMap = {lR0, lC0, lBlockZ, lBlockS};
    WarpBlockRows(&st, &stMap, lFirst, lEnd);
}

void StabY_Rotation_4x4_7to8_normal(MVS_Context *pCtx, const uint8_t *pInLuma, uint8_t *pOutLuma,
                                    int32_t lR0, int32_t lC0, int32_t lZ, int32_t lS) {
    if (!FitsBlockWarp(pCtx, pCtx->lInWidth, pCtx->lInHeight)) return;
    const BlockPlane st = {pInLuma,        pOutLuma, pCtx->lInWidth, pCtx->lInHeight,
                           pCtx->lInWidth, 1,        kPlanarKernels};
    const WarpMap stMap = BlockSteps(lR0, lC0, lZ, lS);
    WarpBlockRows(&st, &stMap, 0, BlockCount(pCtx->lInHeight));
}

void StabC_Rotation_4x4_7to8_normal(MVS_Context *pCtx, const uint8_t *pInChroma, uint8_t *pOutChroma,
                                    int32_t lR0, int32_t lC0, int32_t lZ, int32_t lS) {
    const int32_t lWidth = InChromaWidth(pCtx), lHeight = InChromaHeight(pCtx);
    if (!FitsBlockWarp(pCtx, lWidth, lHeight)) return;
    const PlanarChroma stPlanes = ChromaPlanes(pCtx, pInChroma, pOutChroma);
    const WarpMap stMap = BlockSteps(lR0, lC0, lZ, lS);
    // Only whole block rows of whole block pairs of luma by default: the last rows of chroma stay.
    const int32_t lRows = pCtx->bFullChroma ? BlockCount(lHeight) : pCtx->lOutHeight >> 3;
    for (int32_t i = 0; i < 2; i++) {
        const BlockPlane st = {stPlanes.pIn[i], stPlanes.pOut[i], lWidth, lHeight, lWidth, 1, kPlanarKernels};
        WarpBlockRows(&st, &stMap, 0, lRows);
    }
}
