// SPDX-License-Identifier: BSD-2-Clause
// The warps of a frame that is turned or zoomed: pixel by pixel, or by blocks.
#include "size_rules.h"
#include "warp/block_warp.h"
#include "warp/pixel_warp.h"
#include "warp/warp.h"

namespace {

WarpMap ChromaMap(const WarpMap *pMap) { return {pMap->lR0 >> 1, pMap->lC0 >> 1, pMap->lZ, pMap->lS}; }

void WarpByPixels(MVS_Context *pCtx, WarpKind eKind, WarpMap stMap, const uint8_t *pInFrame,
                  uint8_t *pOutFrame) {
    WarpPlane stPlanes[3];
    const int32_t lPlanes = PlanesOfFrame(pCtx, eKind, pInFrame, pOutFrame, stPlanes);
    const WarpMap stChromaMap = ChromaMap(&stMap);
    WarpTask stTask = {};
    AddPass(&stTask, WarpLumaRows, &stPlanes[0], &stMap);
    for (int32_t i = 1; i < lPlanes; i++) AddPass(&stTask, WarpNearestRows, &stPlanes[i], &stChromaMap);
    RunWarpTask(pCtx, &stTask, false);
}

void WarpByBlocks(MVS_Context *pCtx, const uint8_t *pInFrame, uint8_t *pOutFrame) {
    const bool bWhole = HasWholeChromaBlocks(pCtx->lOutHeight);
    WarpPlane stPlanes[3];
    const int32_t lPlanes =
        PlanesOfFrame(pCtx, bWhole ? kBlocks : kBlocksInPart, pInFrame, pOutFrame, stPlanes);
    const WarpMap stMap = MapWithZoom(pCtx), stLumaMap = BlockMap(&stMap);
    const WarpMap stChromaMap = ChromaMap(&stLumaMap);
    WarpTask stTask = {};
    AddPass(&stTask, WarpBlockRows, &stPlanes[0], &stLumaMap);
    for (int32_t i = 1; i < lPlanes; i++) AddPass(&stTask, WarpBlockRows, &stPlanes[i], &stChromaMap);
    RunWarpTask(pCtx, &stTask, bWhole);
}

} // namespace

void StabilizeFrameM2F0(MVS_Context *pCtx, const uint8_t *pInFrame, uint8_t *pOutFrame) {
    WarpByPixels(pCtx, kTurn, MapWithoutZoom(pCtx), pInFrame, pOutFrame);
}

void StabilizeFrameM3F0WithoutOpt(MVS_Context *pCtx, const uint8_t *pInFrame, uint8_t *pOutFrame) {
    WarpByPixels(pCtx, kSmall, MapWithZoom(pCtx), pInFrame, pOutFrame);
}

void StabilizeFrameM3F0(MVS_Context *pCtx, const uint8_t *pInFrame, uint8_t *pOutFrame) {
    if (IsLargeOutput(pCtx->lOutWidth, pCtx->lOutHeight))
        StabilizeFrameM3Large(pCtx, pInFrame, pOutFrame);
    else
        StabilizeFrameM3F0WithoutOpt(pCtx, pInFrame, pOutFrame);
}

void StabilizeFrameM3Large(MVS_Context *pCtx, const uint8_t *pInFrame, uint8_t *pOutFrame) {
    if (pCtx->lInWidth == pCtx->lOutWidth && pCtx->lInHeight == pCtx->lOutHeight)
        WarpByBlocks(pCtx, pInFrame, pOutFrame);
    else
        WarpByPixels(pCtx, kUnequal, MapWithZoom(pCtx), pInFrame, pOutFrame);
}
