// SPDX-License-Identifier: BSD-2-Clause
// Frame calls with one pointer for each frame.
#include "api/api.h"

namespace {

// Fills in the call; false when a pointer is null or the handle has another format.
bool WholeFrames(const MVS_Context *pCtx, const uint8_t *pIn, uint8_t *pOut, int32_t lSplit,
                 FrameCall *pCall) {
    if (!pCtx || !pIn || !pOut) return false;
    switch (pCtx->lInFormat) {
    case QEL_MVS_FORMAT_I420:
        *pCall = {pIn, nullptr, pOut, nullptr, lSplit};
        return true;
    case QEL_MVS_FORMAT_NV21:
        *pCall = {pIn, pIn + pCtx->lInLumaSize, pOut, pOut + pCtx->lOutLumaSize, lSplit};
        return true;
    default:
        return false;
    }
}

bool Stabilize(MVS_Context *pCtx, const uint8_t *pIn, uint8_t *pOut, int32_t lSplit, bool bInPlace) {
    FrameCall stCall;
    return WholeFrames(pCtx, pIn, pOut, lSplit, &stCall) && StabilizeFrame(pCtx, &stCall, bInPlace);
}

} // namespace

bool StabilizeWholeFrame(MVS_Context *pCtx, const uint8_t *pIn, uint8_t *pOut) {
    return Stabilize(pCtx, pIn, pOut, 0, false);
}

void QEL_MVS_StabilizeFrame(MVS_Context *pCtx, const uint8_t *pIn, uint8_t *pOut) {
    QEL_MVS_StabilizeFrameSplitterShow(pCtx, pIn, pOut, 0);
}

void QEL_MVS_StabilizeFrame_SameBuffer(MVS_Context *pCtx, uint8_t *pFrame) {
    Stabilize(pCtx, pFrame, pFrame, 0, true);
}

void QEL_MVS_StabilizeFrame_DiffBuffer(MVS_Context *pCtx, const uint8_t *pIn, uint8_t *pOut) {
    Stabilize(pCtx, pIn, pOut, 0, false);
}

void QEL_MVS_StabilizeFrameSplitterShow(MVS_Context *pCtx, const uint8_t *pIn, uint8_t *pOut,
                                        int32_t lSplit) {
    const bool bInPlace = pIn == pOut;
    if (pCtx && pIn && bInPlace) pCtx->bSameBuffer = 1;
    Stabilize(pCtx, pIn, pOut, lSplit, bInPlace);
}

void QEL_MVS_StabilizeFrame_SameBufferSplitterShow(MVS_Context *pCtx, uint8_t *pFrame, int32_t lSplit) {
    Stabilize(pCtx, pFrame, pFrame, lSplit, true);
}

void QEL_MVS_StabilizeFrame_DiffBufferSplitterShow(MVS_Context *pCtx, const uint8_t *pIn, uint8_t *pOut,
                                                   int32_t lSplit) {
    Stabilize(pCtx, pIn, pOut, lSplit, false);
}
