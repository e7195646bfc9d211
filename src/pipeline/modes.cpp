// SPDX-License-Identifier: BSD-2-Clause
// One driver a mode: measure, smooth, compensate.
#include "pipeline/pipeline.h"

#include "model/model.h"
#include "motion/motion.h"
#include "platform/fixed.h"
#include "smooth/smooth.h"
#include "warp/warp.h"

namespace {

const int32_t kBlock32Width = 200; // inputs wider than this have 32-pixel blocks
const int32_t kVisibleTheta = 16;  // Q16: up to here mode 2 does not resample a frame

int32_t CountValid(const MVS_Context *pCtx) {
    int32_t lCount = 0;
    for (int32_t i = 0; i < pCtx->lBlockNum; i++) lCount += pCtx->pBlockMV[i].bValid != 0;
    return lCount;
}

// Measures the motion and advances the smoother, which sees every frame: it starts anew after one that
// could not be measured. Returns 1 when this one could.
int32_t MeasureAndSmooth(MVS_Context *pCtx, const uint8_t *pCurrent, const uint8_t *pPrevious,
                         int32_t (*pGlobalMotion)(MVS_Context *)) {
    int32_t bValid = 0;
    pCtx->lBlocksValid = 0;
    pCtx->lBlocksKept = 0;
    pCtx->stFrameMotion = {0, 0, 0};
    const int32_t bShift = GetBigShiftF0(pCtx, pCurrent, pPrevious);
    if (bShift) BlockMotionEstimation(pCtx, pCurrent, pPrevious);
    KeepAhead(pCtx); // nothing looks at the previous frame any more
    if (bShift) {
        pCtx->lBlocksValid = CountValid(pCtx);
        bValid = pGlobalMotion(pCtx);
        pCtx->lBlocksKept = CountValid(pCtx);
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
    return pCtx->lInWidth > kBlock32Width ? BlockME32F0(pCtx, pCurrent, pPrevious)
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
