// SPDX-License-Identifier: BSD-2-Clause
// The road of one frame: keep what the next frame needs, bring the chroma where the stages expect it.
#include "api/api.h"

#include "pipeline/pipeline.h"
#include "quorvel/memory.h"

namespace {

// When the threads of so many frames running came too late, or not at all, the cores are wanted
// elsewhere. Starting and ending threads in vain takes a good part of what a frame does, so it is tried
// again later.
const int32_t kLateFrames = 3;
const int32_t kFramesAlone = 8;

void NoteCrew(MVS_Context *pCtx, bool bInTime) {
    pCtx->lFramesLate = bInTime ? 0 : pCtx->lFramesLate + 1;
    if (pCtx->lFramesLate < kLateFrames) return;
    pCtx->lFramesLate = kLateFrames - 1;
    pCtx->lFramesAlone = kFramesAlone;
}

// A frame of the handle's own, zeroed when it is allocated.
bool NeedFrame(const MVS_Context *pCtx, uint8_t **ppFrame) {
    if (*ppFrame) return true;
    *ppFrame = (uint8_t *)MMemAlloc(nullptr, pCtx->lInFrameSize);
    if (!*ppFrame) return false;
    MMemSet(*ppFrame, 0, pCtx->lInFrameSize);
    return true;
}

void ShowSplit(MVS_Context *pCtx, const FrameCall *pCall) {
    if (pCtx->lInWidth != pCtx->lOutWidth || pCtx->lInHeight != pCtx->lOutHeight) return;
    const uint8_t *pSrc = pCtx->pCurFrame, *pSrcU = pCtx->pScratchInU, *pSrcV = pCtx->pScratchInV;
    uint8_t *pDst = pCall->pOut, *pDstU = pCtx->pScratchOutU, *pDstV = pCtx->pScratchOutV;
    if (!pCall->pInVU) {
        pSrcU = pSrc + pCtx->lInLumaSize;
        pSrcV = pSrcU + (pCtx->lInLumaSize >> 2);
        pDstU = pDst + pCtx->lOutLumaSize;
        pDstV = pDstU + (pCtx->lOutLumaSize >> 2);
    }
    QEL_MVS_SplitterShow(pSrc, pSrcU, pSrcV, pDst, pDstU, pDstV, pCtx->lInWidth, pCtx->lInHeight,
                         pCall->lSplit, 0);
}

void StabilizeCurrent(MVS_Context *pCtx, const FrameCall *pCall) {
    pCtx->pOutFrame = pCall->pOut;
    pCtx->bPlaneLeft = 0;
    if (pCall->pInVU) {
        NeedScratch(pCtx);
        UV_NV21_to_I420(pCtx->pScratchInU, pCtx->pScratchInV, pCall->pInVU, InChromaWidth(pCtx),
                        InChromaHeight(pCtx));
        pCtx->bChromaInScratch = 1;
    }
    RunDriver(pCtx, pCtx->pCurFrame, pCtx->pPrevFrame, pCall->pOut);
    ShowSplit(pCtx, pCall);
    if (pCall->pInVU) {
        pCtx->bChromaInScratch = 0;
        UV_I420_to_NV21(pCtx->pScratchOutU, pCtx->pScratchOutV, pCall->pOutVU, OutChromaWidth(pCtx),
                        OutChromaHeight(pCtx));
    }
}

} // namespace

void RunDriver(MVS_Context *pCtx, const uint8_t *pCurrent, const uint8_t *pPrevious, uint8_t *pOutput) {
    const bool bAlone = pCtx->lFramesAlone > 0;
    BeginCrew(&pCtx->stCrew, bAlone ? 0 : pCtx->lInLumaSize);
    pCtx->pCrew = &pCtx->stCrew;
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
    default:
        break;
    }
    pCtx->pCrew = nullptr;
    const bool bInTime = EndCrew(&pCtx->stCrew);
    if (bAlone)
        pCtx->lFramesAlone--;
    else
        NoteCrew(pCtx, bInTime);
}

bool StabilizeInPlace(MVS_Context *pCtx, const FrameCall *pCall) {
    if (!NeedFrame(pCtx, &pCtx->pPrevFrame) || !NeedFrame(pCtx, &pCtx->pOwnFrame)) return false;
    pCtx->pCurFrame = pCtx->pOwnFrame;
    // The warp reads the chroma from the copy, unless it has gone to the scratch planes.
    MMemCpy(pCtx->pOwnFrame, pCall->pIn,
            pCall->pInVU ? (uint32_t)pCtx->lInLumaSize : pCtx->lInFrameSize);
    StabilizeCurrent(pCtx, pCall);
    uint8_t *pFormer = pCtx->pPrevFrame;
    pCtx->pPrevFrame = pCtx->pOwnFrame;
    pCtx->pOwnFrame = pFormer;
    pCtx->pCurFrame = pFormer;
    return !pCtx->bPlaneLeft;
}

bool StabilizeApart(MVS_Context *pCtx, const FrameCall *pCall) {
    if (!NeedFrame(pCtx, &pCtx->pPrevFrame)) return false;
    pCtx->pCurFrame = pCall->pIn;
    pCtx->pKeepFrom = pCall->pIn;
    pCtx->pKeepTo = pCtx->pPrevFrame;
    pCtx->lKeepSize = IsSemiPlanar(pCtx->lInFormat) ? pCtx->lInLumaSize : (int32_t)pCtx->lInFrameSize;
    pCtx->lKeepBytes = pCtx->lKeepSize;
    StabilizeCurrent(pCtx, pCall);
    if (pCtx->lKeepBytes > 0) MMemCpy(pCtx->pKeepTo, pCtx->pKeepFrom, (uint32_t)pCtx->lKeepBytes);
    pCtx->lKeepBytes = 0;
    return !pCtx->bPlaneLeft;
}
