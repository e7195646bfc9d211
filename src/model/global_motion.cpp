// SPDX-License-Identifier: BSD-2-Clause
// The frame's motion from its block vectors.
#include "model/model.h"

#include "model/motion_model.h"
#include "quorvel/memory.h"
#include "size_rules.h"

namespace {

void ClearHistograms(MVS_Context *pCtx) {
    MMemSet(pCtx->pRowProj, 0, (uint32_t)pCtx->lRowProjLen * (uint32_t)sizeof(int32_t));
    MMemSet(pCtx->pColProj, 0, (uint32_t)pCtx->lColProjLen * (uint32_t)sizeof(int32_t));
}

void StoreMotion(MVS_Context *pCtx, int32_t lRow, int32_t lCol, int32_t lTheta) {
    pCtx->lCurMotionRow = lRow;
    pCtx->lCurMotionCol = lCol;
    pCtx->lCurMotionTheta = lTheta;
}

} // namespace

int32_t GetGlobalMotionM1(MVS_Context *pCtx) {
    ClearHistograms(pCtx);
    const MVS_ShiftTriple stShift =
        GetPreciseShiftM2(pCtx, pCtx->pBlockMV, pCtx->lInHeight, pCtx->lInWidth);
    StoreMotion(pCtx, stShift.lShiftRow, stShift.lShiftCol, 0);
    return 1;
}

int32_t GetGlobalMotionM3(MVS_Context *pCtx) {
    const int32_t lWidth = pCtx->lInWidth, lHeight = pCtx->lInHeight;
    MVS_BlockMV *pBlockMV = pCtx->pBlockMV;
    ClearHistograms(pCtx);
    const MVS_ShiftTriple stShift = GetPreciseShiftM3(pCtx, pBlockMV, lHeight, lWidth);
    const int32_t lRow = stShift.lShiftRow, lCol = stShift.lShiftCol;
    int32_t lTheta = HasBlocks32(lWidth) ? GetTheta32(pBlockMV, lWidth, lHeight)
                                         : GetTheta16(pBlockMV, lWidth, lHeight, lRow, lCol);

    int32_t lInliers;
    const int32_t lError = CheckBlockMV(pBlockMV, lWidth, lHeight, lRow, lCol, lTheta, &lInliers);
    const uint32_t lNeeded = (uint32_t)(lHeight >> 5) * (uint32_t)(lWidth >> 5) / 40;
    if ((uint32_t)lInliers < lNeeded) {
        StoreMotion(pCtx, 0, 0, 0);
        return 1;
    }
    if (lWidth > 400)
        lTheta =
            SearchTheta(pCtx->pKernels, pBlockMV, lWidth, lHeight, {lRow, lCol, lTheta}, lError, 128, 4)
                .lTheta;
    StoreMotion(pCtx, lRow, lCol, lTheta);
    return 1;
}
