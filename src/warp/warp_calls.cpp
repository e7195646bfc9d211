// SPDX-License-Identifier: BSD-2-Clause
// Exported functions that frame calls do not use: warps of single planes, or of parts of them. Those of
// parts may run in several threads at once, so they leave the scratch planes as they are.
#include "warp/block_warp.h"
#include "warp/pixel_warp.h"
#include "warp/warp.h"

namespace {

// Warps one plane by blocks, shared between threads. The map has steps for pixels.
void WarpPlaneByBlocks(MVS_Context *pCtx, WarpPlane stPlane, WarpMap stMap, int32_t lRows) {
    const WarpMap stBlockMap = BlockMap(&stMap);
    WarpTask stTask = {};
    stPlane.lRows = lRows;
    AddPass(&stTask, WarpBlockRows, &stPlane, &stBlockMap);
    RunWarpTask(pCtx, &stTask, true);
}

} // namespace

void StabilizeFrameM3F0WithOpt(MVS_Context *pCtx, const uint8_t *pInFrame, uint8_t *pOutFrame) {
    StabilizeFrameM3Large(pCtx, pInFrame, pOutFrame);
}

// ---- per-pixel warp ----

void StabY_RotationF0(MVS_Context *pCtx, const uint8_t *pInLuma, uint8_t *pOutLuma, int32_t lR0,
                      int32_t lC0, int32_t lZ, int32_t lS) {
    EnsureScratch(pCtx);
    const WarpMap stMap = {lR0, lC0, lZ, lS};
    const WarpPlane stPlane = LumaPlane(pCtx, pInLuma, pOutLuma);
    WarpLumaRows(pCtx->pKernels, &stPlane, &stMap, 0, pCtx->lOutHeight);
}

void StabC_RotationF0(MVS_Context *pCtx, const uint8_t *pInChroma, uint8_t *pOutChroma, int32_t lR0,
                      int32_t lC0, int32_t lZ, int32_t lS) {
    const WarpMap stMap = {lR0, lC0, lZ, lS};
    WarpPlane stPlanes[2];
    const int32_t lPlanes = ChromaPlanes(pCtx, pInChroma, pOutChroma, stPlanes);
    for (int32_t i = 0; i < lPlanes; i++)
        WarpNearestRows(pCtx->pKernels, &stPlanes[i], &stMap, 0, OutChromaHeight(pCtx));
}

void StabC2_RotationF0(MVS_Context *pCtx, int32_t lR0, int32_t lC0, int32_t lZ, int32_t lS) {
    EnsureScratch(pCtx);
    if (pCtx->lInFormat != QEL_MVS_FORMAT_NV21 || !pCtx->pCurFrame || !pCtx->pOutFrame) return;
    const WarpMap stMap = {lR0, lC0, lZ, lS};
    const WarpPlane stPlane =
        PairPlane(pCtx, pCtx->pCurFrame + pCtx->lInLumaSize, pCtx->pOutFrame + pCtx->lOutLumaSize);
    WarpNearestRows(pCtx->pKernels, &stPlane, &stMap, 0, OutChromaHeight(pCtx));
}

// ---- block warp ----

void StabY_Rotation_4x4_7to8(MVS_Context *pCtx, const uint8_t *pInLuma, uint8_t *pOutLuma, int32_t lR0,
                             int32_t lC0, int32_t lZ, int32_t lS) {
    const WarpPlane stPlane = LumaPlane(pCtx, pInLuma, pOutLuma);
    WarpPlaneByBlocks(pCtx, stPlane, {lR0, lC0, lZ, lS}, pCtx->lInHeight >> 2);
}

// With NV21 the context's frames are used, and the pointers are ignored.
void StabC2_Rotation_4x4_7to8(MVS_Context *pCtx, const uint8_t *pInChroma, uint8_t *pOutChroma,
                              int32_t lR0, int32_t lC0, int32_t lZ, int32_t lS) {
    if (pCtx->lInFormat == QEL_MVS_FORMAT_NV21) {
        if (!pCtx->pCurFrame || !pCtx->pOutFrame) return;
        pInChroma = pCtx->pCurFrame + pCtx->lInLumaSize;
        pOutChroma = pCtx->pOutFrame + pCtx->lOutLumaSize;
    }
    const WarpPlane stPlane = PairPlane(pCtx, pInChroma, pOutChroma);
    WarpPlaneByBlocks(pCtx, stPlane, {lR0, lC0, lZ, lS}, pCtx->lInHeight >> 3);
}

void *thread_StabY_Rotation_4x4_7to8(void *pJob) { return WarpBands(pJob); }

void *thread_StabC2_Rotation_4x4_7to8(void *pJob) { return WarpBands(pJob); }

void StabY_Rotation_4x4_7to8_block(MVS_Context *pCtx, const uint8_t *pInPlane, uint8_t *pOutPlane,
                                   int32_t lR0, int32_t lC0, int32_t lBlockZ, int32_t lBlockS,
                                   int32_t lFirst, int32_t lEnd) {
    const WarpPlane stPlane = LumaPlane(pCtx, pInPlane, pOutPlane);
    const WarpMap stMap = {lR0, lC0, lBlockZ, lBlockS};
    WarpBlockRows(pCtx->pKernels, &stPlane, &stMap, lFirst, lEnd);
}

void StabC2_Rotation_4x4_7to8_block(MVS_Context *pCtx, const uint8_t *pInPlane, uint8_t *pOutPlane,
                                    int32_t lR0, int32_t lC0, int32_t lBlockZ, int32_t lBlockS,
                                    int32_t lFirst, int32_t lEnd) {
    const WarpPlane stPlane = PairPlane(pCtx, pInPlane, pOutPlane);
    const WarpMap stMap = {lR0, lC0, lBlockZ, lBlockS};
    WarpBlockRows(pCtx->pKernels, &stPlane, &stMap, lFirst, lEnd);
}

void StabY_Rotation_4x4_7to8_normal(MVS_Context *pCtx, const uint8_t *pInLuma, uint8_t *pOutLuma,
                                    int32_t lR0, int32_t lC0, int32_t lZ, int32_t lS) {
    EnsureScratch(pCtx);
    const WarpPlane stPlane = LumaPlane(pCtx, pInLuma, pOutLuma);
    const WarpMap stMap = {lR0, lC0, lZ, lS}, stBlockMap = BlockMap(&stMap);
    WarpBlockRows(pCtx->pKernels, &stPlane, &stBlockMap, 0, BlockCount(pCtx->lOutHeight));
}

void StabC_Rotation_4x4_7to8_normal(MVS_Context *pCtx, const uint8_t *pInChroma, uint8_t *pOutChroma,
                                    int32_t lR0, int32_t lC0, int32_t lZ, int32_t lS) {
    const WarpMap stMap = {lR0, lC0, lZ, lS}, stBlockMap = BlockMap(&stMap);
    WarpPlane stPlanes[2];
    const int32_t lPlanes = ChromaPlanes(pCtx, pInChroma, pOutChroma, stPlanes);
    for (int32_t i = 0; i < lPlanes; i++)
        WarpBlockRows(pCtx->pKernels, &stPlanes[i], &stBlockMap, 0, ChromaBlockRows(pCtx));
}
