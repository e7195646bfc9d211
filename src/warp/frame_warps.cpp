// SPDX-License-Identifier: BSD-2-Clause
// The warps of frames that are rotated or zoomed: pixel by pixel, or by blocks.
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

void WarpByBlocks(MVS_Context *pCtx, WarpKind eKind, const uint8_t *pInFrame, uint8_t *pOutFrame) {
    WarpPlane stPlanes[3];
    const int32_t lPlanes = PlanesOfFrame(pCtx, eKind, pInFrame, pOutFrame, stPlanes);
    const WarpMap stMap = MapWithZoom(pCtx), stLumaMap = BlockMap(&stMap);
    const WarpMap stChromaMap = ChromaMap(&stLumaMap);
    WarpTask stTask = {};
    AddPass(&stTask, WarpBlockRows, &stPlanes[0], &stLumaMap);
    for (int32_t i = 1; i < lPlanes; i++) AddPass(&stTask, WarpBlockRows, &stPlanes[i], &stChromaMap);
    RunWarpTask(pCtx, &stTask, eKind == kBlocks);
}

} // namespace

void StabilizeFrameM2F0(MVS_Context *pCtx, const uint8_t *pInFrame, uint8_t *pOutFrame) {
    WarpByPixels(pCtx, kRotate, MapWithoutZoom(pCtx), pInFrame, pOutFrame);
}

void StabilizeFrameM3F0WithoutOpt(MVS_Context *pCtx, const uint8_t *pInFrame, uint8_t *pOutFrame) {
    WarpByPixels(pCtx, kSmallOutput, MapWithZoom(pCtx), pInFrame, pOutFrame);
}

void StabilizeFrameM3F0(MVS_Context *pCtx, const uint8_t *pInFrame, uint8_t *pOutFrame) {
    if (Mode3Warp(pCtx) == kSmallOutput)
        StabilizeFrameM3F0WithoutOpt(pCtx, pInFrame, pOutFrame);
    else
        StabilizeFrameM3Large(pCtx, pInFrame, pOutFrame);
}

void StabilizeFrameM3Large(MVS_Context *pCtx, const uint8_t *pInFrame, uint8_t *pOutFrame) {
    const WarpKind eKind = LargeWarp(pCtx);
    if (eKind == kUnequalSizes)
        WarpByPixels(pCtx, eKind, MapWithZoom(pCtx), pInFrame, pOutFrame);
    else
        WarpByBlocks(pCtx, eKind, pInFrame, pOutFrame);
}
