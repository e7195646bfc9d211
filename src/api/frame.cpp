// SPDX-License-Identifier: BSD-2-Clause
// Frame calls whose frames are one buffer each.
#include "api/api.h"

namespace {

// A call with whole frames; false when there is nothing to be done. bConvert sends NV21 chroma through
// the scratch planes also where mode 3 could warp the pairs as they are.
bool WholeFrames(const MVS_Context *pCtx, const uint8_t *pIn, uint8_t *pOut, bool bConvert,
                 int32_t lSplit, FrameCall *pCall) {
    if (!pCtx || !pIn || !pOut) return false;
    if (pCtx->lInFormat != QEL_MVS_FORMAT_I420 && pCtx->lInFormat != QEL_MVS_FORMAT_NV21) return false;
    *pCall = {pIn, nullptr, pOut, nullptr, lSplit};
    if (pCtx->lInFormat == QEL_MVS_FORMAT_I420) return true;
    if (!bConvert && pCtx->lMode == 3 && pCtx->lOutHeight % 8 == 0) return true;
    pCall->pInVU = pIn + pCtx->lInLumaSize;
    pCall->pOutVU = pOut + pCtx->lOutLumaSize;
    return true;
}

} // namespace

bool StabilizeWholeFrame(MVS_Context *pCtx, const uint8_t *pIn, uint8_t *pOut) {
    FrameCall st;
    return WholeFrames(pCtx, pIn, pOut, false, 0, &st) && StabilizeApart(pCtx, &st);
}

void QEL_MVS_StabilizeFrame(MVS_Context *pCtx, const uint8_t *pIn, uint8_t *pOut) {
    if (!pCtx || !pIn || !pOut) return;
    if (pIn == pOut) {
        pCtx->bSameBuffer = 1;
        QEL_MVS_StabilizeFrame_SameBuffer(pCtx, pOut);
    } else {
        QEL_MVS_StabilizeFrame_DiffBuffer(pCtx, pIn, pOut);
    }
}

void QEL_MVS_StabilizeFrame_SameBuffer(MVS_Context *pCtx, uint8_t *pFrame) {
    FrameCall st;
    if (WholeFrames(pCtx, pFrame, pFrame, false, 0, &st)) StabilizeInPlace(pCtx, &st);
}

void QEL_MVS_StabilizeFrame_DiffBuffer(MVS_Context *pCtx, const uint8_t *pIn, uint8_t *pOut) {
    StabilizeWholeFrame(pCtx, pIn, pOut);
}

void QEL_MVS_StabilizeFrameSplitterShow(MVS_Context *pCtx, const uint8_t *pIn, uint8_t *pOut,
                                        int32_t lSplit) {
    if (!pCtx || !pIn || !pOut) return;
    if (pIn == pOut) {
        pCtx->bSameBuffer = 1;
        QEL_MVS_StabilizeFrame_SameBufferSplitterShow(pCtx, pOut, lSplit);
    } else {
        QEL_MVS_StabilizeFrame_DiffBufferSplitterShow(pCtx, pIn, pOut, lSplit);
    }
}

void QEL_MVS_StabilizeFrame_SameBufferSplitterShow(MVS_Context *pCtx, uint8_t *pFrame, int32_t lSplit) {
    FrameCall st;
    if (WholeFrames(pCtx, pFrame, pFrame, true, lSplit, &st)) StabilizeInPlace(pCtx, &st);
}

void QEL_MVS_StabilizeFrame_DiffBufferSplitterShow(MVS_Context *pCtx, const uint8_t *pIn, uint8_t *pOut,
                                                   int32_t lSplit) {
    FrameCall st;
    if (WholeFrames(pCtx, pIn, pOut, true, lSplit, &st)) StabilizeApart(pCtx, &st);
}

void QEL_MVS_StabilizeFrameEx(MVS_Context *pCtx, const MVS_FrameTriple *pFrames) {
    if (!pCtx || !pFrames || !pFrames->pCurrent || !pFrames->pOutput) return;
    if (!pFrames->pPrevious && pCtx->lFrameCount != 0) return;
    const uint8_t *pCurFrame = pCtx->pCurFrame;
    uint8_t *pOutFrame = pCtx->pOutFrame;
    pCtx->pCurFrame = pFrames->pCurrent;
    pCtx->pOutFrame = pFrames->pOutput;
    RunDriver(pCtx, pFrames->pCurrent, pFrames->pPrevious, pFrames->pOutput);
    pCtx->pCurFrame = pCurFrame;
    pCtx->pOutFrame = pOutFrame;
}
