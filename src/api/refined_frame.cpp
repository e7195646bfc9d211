// SPDX-License-Identifier: BSD-2-Clause
// A frame call of a refined handle.
#include "api/previous_frame.h"
#include "api/refined.h"
#include "platform/buffers.h"
#include "warp/fine_warp.h"

namespace {

// Fills in a pass for each plane of a frame and returns how many there are. pInPairs is null for planar
// frames, whose V plane is a quarter of the luma size after U, as in all frame calls.
int32_t PassesOf(const MVS_Context *pCtx, const FrameCall *pCall, const uint8_t *pIn,
                 const uint8_t *pInPairs, const FineView *pView, FinePass *pPasses) {
    const FineSizes stSizes = {pCtx->lInWidth, pCtx->lInHeight, pCtx->lOutWidth, pCtx->lOutHeight};
    const FineSampling stLuma = {0, 0, 0, 0};
    const FineSampling stChroma = {1, 1, 0, 2}; // left, between two rows
    uint8_t *pFrame = const_cast<uint8_t *>(pIn), *pOut = pCall->pOut;
    pPasses[0] = {{pFrame, pCtx->lInWidth, pCtx->lInWidth, pCtx->lInHeight, 1, 1, 8, 0},
                  {pOut, pCtx->lOutWidth, pCtx->lOutWidth, pCtx->lOutHeight, 1, 1, 8, 0},
                  FineMapOf(pView, &stSizes, &stLuma)};
    const int32_t lWidth = InChromaWidth(pCtx), lHeight = InChromaHeight(pCtx);
    const int32_t lOutWidth = OutChromaWidth(pCtx), lOutHeight = OutChromaHeight(pCtx);
    const FineMap stMap = FineMapOf(pView, &stSizes, &stChroma);
    if (pInPairs) {
        pPasses[1] = {{const_cast<uint8_t *>(pInPairs), 2 * lWidth, lWidth, lHeight, 2, 1, 8, 0},
                      {pCall->pOutPairs, 2 * lOutWidth, lOutWidth, lOutHeight, 2, 1, 8, 0},
                      stMap};
        return 2;
    }
    for (int32_t i = 0; i < 2; i++)
        pPasses[1 + i] = {{pFrame + pCtx->lInLumaSize + i * (pCtx->lInLumaSize >> 2), lWidth, lWidth,
                           lHeight, 1, 1, 8, 0},
                          {pOut + pCtx->lOutLumaSize + i * (pCtx->lOutLumaSize >> 2), lOutWidth,
                           lOutWidth, lOutHeight, 1, 1, 8, 0},
                          stMap};
    return 3;
}

// The part left of the split shows the input, where the sizes are equal.
void CopyLeftColumns(const MVS_Context *pCtx, const FinePass *pPasses, int32_t lPasses,
                     int32_t lSplit) {
    if (pCtx->lInWidth != pCtx->lOutWidth || pCtx->lInHeight != pCtx->lOutHeight) return;
    if (lSplit < 1 || lSplit >= pCtx->lInWidth) return;
    for (int32_t i = 0; i < lPasses; i++) {
        const FinePlane *pIn = &pPasses[i].stIn, *pOut = &pPasses[i].stOut;
        const int32_t lColumns = i == 0 ? lSplit & ~1 : lSplit >> 1; // a chroma sample covers two
        CopyRows(pOut->pSamples, pOut->lPitch, pIn->pSamples, pIn->lPitch, lColumns * pIn->lChannels,
                 pIn->lHeight);
    }
}

} // namespace

bool StabilizeRefinedFrame(MVS_Context *pCtx, const FrameCall *pCall, bool bInPlace) {
    const Refined *pRefined = pCtx->pRefined;
    if (pRefined->stCompensator.lLookahead != 0) return false;
    if (bInPlace && !EnsureOwnFrame(pCtx)) return false;
    const int32_t lWorkers = BeginFrame(pCtx);
    const uint8_t *pIn = bInPlace ? CopyFrameInPlace(pCtx, pCall->pIn, pCall->pInPairs) : pCall->pIn;
    const uint8_t *pPairs = pCall->pInPairs && bInPlace ? pIn + pCtx->lInLumaSize : pCall->pInPairs;
    const LumaSource stSource = {pIn, pCtx->lInWidth, 1, 1, 0};
    MVS_Compensation stRecord = {};
    stRecord.lSize = (int32_t)sizeof(stRecord);
    const bool bTaken = PushFrame(pCtx, kFrameCalls, &stSource) && PullFrame(pCtx, &stRecord);
    if (bTaken) {
        const FineView stView = ViewOfRecord(pCtx, &stRecord);
        FinePass stPasses[3];
        const int32_t lPasses = PassesOf(pCtx, pCall, pIn, pPairs, &stView, stPasses);
        FineWarp(pCtx, stPasses, lPasses, pRefined->bCubic);
        CopyLeftColumns(pCtx, stPasses, lPasses, pCall->lSplit);
    }
    EndFrame(pCtx, lWorkers);
    return bTaken;
}
