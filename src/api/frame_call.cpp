// SPDX-License-Identifier: BSD-2-Clause
// What a frame call does around the driver: workers, previous frame, chroma.
#include "api/api.h"

#include "api/previous_frame.h"
#include "api/refined.h"
#include "pipeline/pipeline.h"
#include "platform/buffers.h"
#include "platform/workers.h"
#include "warp/planes.h"

namespace {

// Puts interleaved chroma where the warp looks for it. Returns false when that is the scratch planes,
// from which the output has to be interleaved again.
bool BringPairs(MVS_Context *pCtx, const FrameCall *pCall, bool bInPlace) {
    if (WarpsPairs(pCtx)) {
        pCtx->pInPairs = bInPlace ? pCtx->pCurFrame + pCtx->lInLumaSize : pCall->pInPairs;
        pCtx->pOutPairs = pCall->pOutPairs;
        return true;
    }
    EnsureScratch(pCtx);
    UV_NV21_to_I420(pCtx->pScratchInU, pCtx->pScratchInV, pCall->pInPairs, InChromaWidth(pCtx),
                    InChromaHeight(pCtx));
    pCtx->bChromaInScratch = 1;
    return false;
}

// Copies the left columns of each plane from the input, when both sizes are equal.
void ShowSplit(MVS_Context *pCtx, const FrameCall *pCall) {
    const int32_t lSplit = pCall->lSplit;
    if (pCtx->lInWidth != pCtx->lOutWidth || pCtx->lInHeight != pCtx->lOutHeight) return;
    if (lSplit < 1 || lSplit >= pCtx->lInWidth) return;
    WarpPlane stPlanes[3];
    const int32_t lPlanes = PlanesOfFrame(pCtx, kShift, pCtx->pCurFrame, pCall->pOut, stPlanes);
    for (int32_t i = 0; i < lPlanes; i++) {
        const WarpPlane *pPlane = &stPlanes[i];
        const int32_t lColumns = i == 0 ? lSplit & ~1 : lSplit >> 1; // a chroma sample covers two
        CopyRows(pPlane->pOut, pPlane->lOutStride, pPlane->pIn, pPlane->lInStride,
                 lColumns * pPlane->lSampleBytes, pPlane->lInHeight);
    }
}

void RunDriver(MVS_Context *pCtx, const uint8_t *pCurrent, const uint8_t *pPrevious, uint8_t *pOutput) {
    switch (pCtx->lMode) {
    case 1:
        DeshakerM1(pCtx, pCurrent, pPrevious, pOutput);
        break;
    case 2:
        DeshakerM2(pCtx, pCurrent, pPrevious, pOutput);
        break;
    case 3:
        DeshakerM3(pCtx, pCurrent, pPrevious, pOutput);
        break;
    default: // no setting leads here, but the mode is a word that programs can write
        break;
    }
}

} // namespace

int32_t BeginFrame(MVS_Context *pCtx) {
    const int32_t lWorkers = WorkersForFrame(&pCtx->stThreads, pCtx->lInLumaSize);
    StartWorkers(pCtx->pWorkers, lWorkers);
    pCtx->bInFrame = 1;
    return lWorkers;
}

void EndFrame(MVS_Context *pCtx, int32_t lWorkers) {
    const bool bInTime = JoinWorkers(pCtx->pWorkers);
    if (lWorkers > 0) NoteFrame(&pCtx->stThreads, !bInTime);
    pCtx->bInFrame = 0;
    pCtx->bChromaInScratch = 0;
    pCtx->pInPairs = nullptr;
    pCtx->pOutPairs = nullptr;
}

bool StabilizeFrame(MVS_Context *pCtx, const FrameCall *pCall, bool bInPlace) {
    if (pCtx->pRefined) return StabilizeRefinedFrame(pCtx, pCall, bInPlace);
    if (!EnsureFrames(pCtx, bInPlace)) return false;
    const int32_t lWorkers = BeginFrame(pCtx);
    pCtx->pCurFrame = bInPlace ? CopyFrameInPlace(pCtx, pCall->pIn, pCall->pInPairs) : pCall->pIn;
    pCtx->pOutFrame = pCall->pOut;
    const bool bScratch = pCall->pInPairs && !BringPairs(pCtx, pCall, bInPlace);
    RunDriver(pCtx, pCtx->pCurFrame, pCtx->pPrevFrame, pCall->pOut);
    ShowSplit(pCtx, pCall);
    if (bScratch)
        UV_I420_to_NV21(pCtx->pScratchOutU, pCtx->pScratchOutV, pCall->pOutPairs, OutChromaWidth(pCtx),
                        OutChromaHeight(pCtx));
    KeepFrame(pCtx, bInPlace);
    EndFrame(pCtx, lWorkers);
    return true;
}

void QEL_MVS_StabilizeFrameEx(MVS_Context *pCtx, const MVS_FrameTriple *pFrames) {
    if (!pCtx || !pFrames || !pFrames->pCurrent || !pFrames->pOutput) return;
    if (pCtx->pRefined) {
        const bool bPairs = IsSemiPlanar(pCtx->lInFormat);
        const FrameCall stCall = {
            pFrames->pCurrent, bPairs ? pFrames->pCurrent + pCtx->lInLumaSize : nullptr,
            pFrames->pOutput, bPairs ? pFrames->pOutput + pCtx->lOutLumaSize : nullptr, 0};
        StabilizeRefinedFrame(pCtx, &stCall, false);
        return;
    }
    if (!pFrames->pPrevious && pCtx->lFrameCount != 0) return;
    const int32_t lWorkers = BeginFrame(pCtx);
    const uint8_t *pCurFrame = pCtx->pCurFrame;
    uint8_t *pOutFrame = pCtx->pOutFrame;
    pCtx->pCurFrame = pFrames->pCurrent;
    pCtx->pOutFrame = pFrames->pOutput;
    RunDriver(pCtx, pFrames->pCurrent, pFrames->pPrevious, pFrames->pOutput);
    pCtx->pCurFrame = pCurFrame;
    pCtx->pOutFrame = pOutFrame;
    EndFrame(pCtx, lWorkers);
}
