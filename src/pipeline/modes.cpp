// SPDX-License-Identifier: BSD-2-Clause
// One driver for each mode: measure, smooth, compensate.
#include "pipeline/pipeline.h"

#include "model/model.h"
#include "motion/motion.h"
#include "platform/fixed.h"
#include "size_rules.h"
#include "smooth/smooth.h"
#include "warp/warp.h"

namespace {

const int32_t kVisibleTheta = 16; // Q16 radians: up to here mode 2 does not resample a frame

// Measures the motion and advances the smoother. Returns 0 when the frame could not be measured; the
// smoother then starts anew.
int32_t MeasureAndSmooth(MVS_Context *pCtx, const uint8_t *pCurrent, const uint8_t *pPrevious,
                         int32_t (*pGlobalMotion)(MVS_Context *)) {
    int32_t bValid = 0;
    pCtx->lBlocksValid = 0;
    pCtx->lBlocksKept = 0;
    pCtx->stFrameMotion = {0, 0, 0};
    if (GetBigShiftF0(pCtx, pCurrent, pPrevious)) {
        BlockMotionEstimation(pCtx, pCurrent, pPrevious);
        pCtx->lBlocksValid = CountValid(pCtx->pBlockMV, pCtx->lBlockNum);
        bValid = pGlobalMotion(pCtx);
        pCtx->lBlocksKept = CountValid(pCtx->pBlockMV, pCtx->lBlockNum);
        pCtx->stFrameMotion = {pCtx->lCurMotionRow, pCtx->lCurMotionCol, pCtx->lCurMotionTheta};
    }
    SmoothGlobalMotionM3(pCtx, bValid);
    pCtx->lFrameMotionValid = bValid;
    pCtx->lFrameCount = WrapAdd32(pCtx->lFrameCount, 1);
    return bValid;
}

void DropTranslation(MVS_Context *pCtx) {
    pCtx->lCompRow = 0;
    pCtx->lCompCol = 0;
}

void KeepMotion(MVS_Context *pCtx) {
    pCtx->lPrevRow = pCtx->lCurMotionRow;
    pCtx->lPrevCol = pCtx->lCurMotionCol;
    pCtx->lPrevTheta = pCtx->lCurMotionTheta;
}

} // namespace

int32_t BlockMotionEstimation(MVS_Context *pCtx, const uint8_t *pCurrent, const uint8_t *pPrevious) {
    return HasBlocks32(pCtx->lInWidth) ? BlockME32F0(pCtx, pCurrent, pPrevious)
                                       : BlockME16F0(pCtx, pCurrent, pPrevious);
}

void DeshakerM1(MVS_Context *pCtx, const uint8_t *pCurrent, const uint8_t *pPrevious,
                uint8_t *pOutput) {
    if (pCtx->lFrameCount == 0) {
        pCtx->lFrameCount = 1;
        DropTranslation(pCtx);
        StabilizeFrameM1F0(pCtx, pCurrent, pOutput);
        return;
    }
    if (!MeasureAndSmooth(pCtx, pCurrent, pPrevious, GetGlobalMotionM1)) DropTranslation(pCtx);
    StabilizeFrameM1F0(pCtx, pCurrent, pOutput);
    KeepMotion(pCtx);
}

void DeshakerM2(MVS_Context *pCtx, const uint8_t *pCurrent, const uint8_t *pPrevious,
                uint8_t *pOutput) {
    if (pCtx->lFrameCount == 0) {
        DeshakerM1(pCtx, pCurrent, pPrevious, pOutput);
        return;
    }
    const int32_t bValid = MeasureAndSmooth(pCtx, pCurrent, pPrevious, GetGlobalMotionM3);
    if (!bValid) DropTranslation(pCtx);
    if (bValid && (pCtx->lCompTheta > kVisibleTheta || pCtx->lCompTheta < -kVisibleTheta))
        StabilizeFrameM2F0(pCtx, pCurrent, pOutput);
    else
        StabilizeFrameM1F0(pCtx, pCurrent, pOutput);
    KeepMotion(pCtx);
}

void DeshakerM3(MVS_Context *pCtx, const uint8_t *pCurrent, const uint8_t *pPrevious,
                uint8_t *pOutput) {
    if (pCtx->lFrameCount == 0) {
        pCtx->lFrameCount = 1;
        DropTranslation(pCtx);
        pCtx->lCompTheta = 0;
        StabilizeFrameM3F0(pCtx, pCurrent, pOutput);
        return;
    }
    if (!MeasureAndSmooth(pCtx, pCurrent, pPrevious, GetGlobalMotionM3)) {
        DropTranslation(pCtx);
        pCtx->lCompTheta = 0;
    }
    StabilizeFrameM3F0(pCtx, pCurrent, pOutput);
    KeepMotion(pCtx);
}
