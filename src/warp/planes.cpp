// SPDX-License-Identifier: BSD-2-Clause
#include "warp/planes.h"

#include "quorvel/memory.h"
#include "size_rules.h"

namespace {

// Which chroma a warp reads and writes.
enum Chroma {
    kUntouched,
    kPlanar,       // two planes behind the luma
    kScratch,      // two scratch planes
    kContextPairs, // pairs behind the luma of pCurFrame and pOutFrame
    kPassedPairs,  // pairs behind the luma of the frames passed, also if these are planar
};

// For calls without pInPairs. By default planar chroma does not always move with its luma; with
// bFullChroma it does.
const Chroma kChroma[kWarpKinds][4] = {
    // I420     I420, full  NV21      NV21 with separate buffers
    {kPlanar, kPlanar, kPlanar, kPlanar},                 // kShift
    {kPlanar, kPlanar, kScratch, kScratch},               // kRotate
    {kUntouched, kPlanar, kContextPairs, kUntouched},     // kSmallOutput
    {kPlanar, kPlanar, kContextPairs, kUntouched},        // kUnequalSizes
    {kPassedPairs, kPlanar, kContextPairs, kPassedPairs}, // kBlocks
    {kPlanar, kPlanar, kScratch, kScratch}};              // kBlocksInPart

Chroma ChromaOf(const MVS_Context *pCtx, WarpKind eKind) {
    if (pCtx->bChromaInScratch) return kScratch;
    switch (pCtx->lInFormat) {
    case QEL_MVS_FORMAT_NV21:
        return kChroma[eKind][2];
    case QEL_MVS_FORMAT_NV21_SEPARATE:
        return kChroma[eKind][3];
    default:
        return kChroma[eKind][pCtx->bFullChroma ? 1 : 0];
    }
}

WarpPlane ChromaPlane(const MVS_Context *pCtx, const uint8_t *pIn, uint8_t *pOut) {
    const int32_t lInWidth = InChromaWidth(pCtx), lOutWidth = OutChromaWidth(pCtx);
    const int32_t lOutHeight = OutChromaHeight(pCtx);
    return {pIn,       pOut, lInWidth,  InChromaHeight(pCtx), lOutWidth, lOutHeight, lInWidth,
            lOutWidth, 1,    lOutHeight};
}

// Two planes, or none where one is missing.
int32_t TwoPlanes(const MVS_Context *pCtx, const uint8_t *pInU, const uint8_t *pInV, uint8_t *pOutU,
                  uint8_t *pOutV, WarpPlane *pPlanes) {
    if (!pInU || !pOutU) return 0;
    pPlanes[0] = ChromaPlane(pCtx, pInU, pOutU);
    pPlanes[1] = ChromaPlane(pCtx, pInV, pOutV);
    return 2;
}

int32_t ScratchPlanes(MVS_Context *pCtx, WarpPlane *pPlanes) {
    EnsureScratch(pCtx);
    return TwoPlanes(pCtx, pCtx->pScratchInU, pCtx->pScratchInV, pCtx->pScratchOutU, pCtx->pScratchOutV,
                     pPlanes);
}

int32_t FramePlanes(const MVS_Context *pCtx, const uint8_t *pInU, uint8_t *pOutU, WarpPlane *pPlanes) {
    return TwoPlanes(pCtx, pInU, pInU + (pCtx->lInLumaSize >> 2), pOutU,
                     pOutU + (pCtx->lOutLumaSize >> 2), pPlanes);
}

// Chroma planes of a frame; returns their number.
int32_t ChromaOfFrame(MVS_Context *pCtx, WarpKind eKind, const uint8_t *pInFrame, uint8_t *pOutFrame,
                      WarpPlane *pPlanes) {
    const uint8_t *pIn = pInFrame + pCtx->lInLumaSize;
    uint8_t *pOut = pOutFrame + pCtx->lOutLumaSize;
    if (pCtx->pInPairs) {
        pPlanes[0] = PairPlane(pCtx, pCtx->pInPairs, pCtx->pOutPairs);
        return 1;
    }
    switch (ChromaOf(pCtx, eKind)) {
    case kPlanar:
        return FramePlanes(pCtx, pIn, pOut, pPlanes);
    case kScratch:
        return ScratchPlanes(pCtx, pPlanes);
    case kContextPairs:
        if (!pCtx->pCurFrame || !pCtx->pOutFrame) return 0;
        pPlanes[0] =
            PairPlane(pCtx, pCtx->pCurFrame + pCtx->lInLumaSize, pCtx->pOutFrame + pCtx->lOutLumaSize);
        return 1;
    case kPassedPairs:
        pPlanes[0] = PairPlane(pCtx, pIn, pOut);
        return 1;
    default:
        return 0;
    }
}

} // namespace

WarpPlane LumaPlane(const MVS_Context *pCtx, const uint8_t *pIn, uint8_t *pOut) {
    const int32_t lInWidth = pCtx->lInWidth, lOutWidth = pCtx->lOutWidth;
    return {pIn,      pOut,      lInWidth, pCtx->lInHeight, lOutWidth, pCtx->lOutHeight,
            lInWidth, lOutWidth, 1,        pCtx->lOutHeight};
}

WarpPlane PairPlane(const MVS_Context *pCtx, const uint8_t *pIn, uint8_t *pOut) {
    WarpPlane stPlane = ChromaPlane(pCtx, pIn, pOut);
    stPlane.lInStride = pCtx->lInWidth;
    stPlane.lOutStride = pCtx->lOutWidth;
    stPlane.lSampleBytes = 2;
    return stPlane;
}

int32_t ChromaPlanes(MVS_Context *pCtx, const uint8_t *pInU, uint8_t *pOutU, WarpPlane *pPlanes) {
    return IsSemiPlanar(pCtx->lInFormat) ? ScratchPlanes(pCtx, pPlanes)
                                         : FramePlanes(pCtx, pInU, pOutU, pPlanes);
}

int32_t PlanesOfFrame(MVS_Context *pCtx, WarpKind eKind, const uint8_t *pInFrame, uint8_t *pOutFrame,
                      WarpPlane *pPlanes) {
    pPlanes[0] = LumaPlane(pCtx, pInFrame, pOutFrame);
    const int32_t lPlanes = 1 + ChromaOfFrame(pCtx, eKind, pInFrame, pOutFrame, pPlanes + 1);
    if (eKind == kBlocks || eKind == kBlocksInPart) {
        pPlanes[0].lRows = BlockCount(pCtx->lOutHeight);
        for (int32_t i = 1; i < lPlanes; i++) pPlanes[i].lRows = ChromaBlockRows(pCtx);
    }
    return lPlanes;
}

int32_t ChromaBlockRows(const MVS_Context *pCtx) {
    return pCtx->bFullChroma ? BlockCount(OutChromaHeight(pCtx)) : pCtx->lOutHeight >> 3;
}

void EnsureScratch(MVS_Context *pCtx) {
    const int32_t kGrey = 128;
    if (pCtx->bScratchGrey) return;
    pCtx->bScratchGrey = 1;
    if (pCtx->pScratchInU) MMemSet(pCtx->pScratchInU, kGrey, ScratchSize(pCtx->lInLumaSize));
    if (pCtx->pScratchOutU) MMemSet(pCtx->pScratchOutU, kGrey, ScratchSize(pCtx->lOutLumaSize));
}

WarpKind Mode3Warp(const MVS_Context *pCtx) {
    return IsLargeOutput(pCtx->lOutWidth, pCtx->lOutHeight) ? LargeWarp(pCtx) : kSmallOutput;
}

WarpKind LargeWarp(const MVS_Context *pCtx) {
    if (pCtx->lInWidth != pCtx->lOutWidth || pCtx->lInHeight != pCtx->lOutHeight) return kUnequalSizes;
    return HasWholeChromaBlocks(pCtx->lOutHeight) ? kBlocks : kBlocksInPart;
}

bool WarpsPairs(const MVS_Context *pCtx) {
    if (InChromaHeight(pCtx) < 1) return false;
    return pCtx->lMode != 3 || Mode3Warp(pCtx) != kBlocksInPart;
}
