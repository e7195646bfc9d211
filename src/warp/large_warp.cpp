// SPDX-License-Identifier: BSD-2-Clause
// Mode 3: which warp a frame takes, and the block passes that are shared out between participants.
#include "warp/warp.h"

#include "platform/participants.h"
#include "quorvel/memory.h"
#include "quorvel/threads.h"
#include "warp/block_warp.h"

namespace {

// A pass over one plane; the participants take chunks of block rows from its counter.
struct WarpJob {
    MVS_Context *pCtx;
    const uint8_t *pIn;
    uint8_t *pOut;
    WarpMap stMap; // steps of a block
    void *pEvent;  // lock of lNextRow
    int32_t lNextRow;
    int32_t lRows;
    int32_t lChunk;
};

void RunPass(WarpJob *pJob, void *(*pBody)(void *), int64_t lBytes) {
    pJob->pEvent = zekMEventCreate(nullptr);
    if (!pJob->pEvent) {
        pJob->pCtx->bPlaneLeft = 1;
        return;
    }
    zekMEventSignal(pJob->pEvent);
    ShareJob(pJob->pCtx->pCrew, pBody, pJob, lBytes, false);
    zekMEventDestroy(nullptr, pJob->pEvent);
}

// Where the interleaved pass finds its pairs: NV21 takes the context's frames, whatever is passed.
bool PairsOf(const MVS_Context *pCtx, const uint8_t **ppIn, uint8_t **ppOut) {
    if (pCtx->lInFormat != QEL_MVS_FORMAT_NV21) return true;
    if (!pCtx->pCurFrame || !pCtx->pOutFrame) return false;
    *ppIn = pCtx->pCurFrame + pCtx->lInLumaSize;
    *ppOut = pCtx->pOutFrame + pCtx->lOutLumaSize;
    return true;
}

// The next chunk of the pass; false when none is left.
bool TakeChunk(WarpJob *pJob, int32_t *pFirst, int32_t *pEnd) {
    *pFirst = TakeWork(pJob->pEvent, &pJob->lNextRow, pJob->lRows, pJob->lChunk);
    *pEnd = Min32(*pFirst + pJob->lChunk, pJob->lRows);
    return *pFirst < pJob->lRows;
}

WarpJob MakeJob(MVS_Context *pCtx, const uint8_t *pIn, uint8_t *pOut, WarpMap stMap, int32_t lRows) {
    stMap.lZ = WrapMul32(4, stMap.lZ);
    stMap.lS = WrapMul32(4, stMap.lS);
    return {pCtx, pIn, pOut, stMap, nullptr, 0, lRows, Max32(pCtx->lInHeight >> 7, 1)};
}

// A whole frame in one job, so that no participant waits for the others between two planes. The unit is
// a band of the picture: its rows of each plane and, where a copy becomes the previous frame, its bytes
// of that. The calling thread goes down from the top and the others up from the bottom: what a core
// wrote for the last frame is then mostly its own to write again.
struct FramePass {
    BlockPlane stPlane;
    WarpMap stMap; // steps of a block
    int32_t lRows;
};

struct FrameJob {
    MVS_Context *pCtx;
    FramePass stPass[3];
    int32_t lPasses;
    bool bTopTaken;       // by the first to come, which is the caller: threads take a while to start
    void *pEvent;         // lock of the two counters
    int32_t lFirst, lEnd; // bands not yet taken
    int32_t lBands;
    const uint8_t *pKeepFrom;
    uint8_t *pKeepTo;
    int32_t lKeepSize;  // what the bands divide
    int32_t lKeepBytes; // those of it that have not been copied yet
};

void AddPass(FrameJob *pJob, const BlockPlane *pPlane, const WarpMap *pMap, int32_t lRows,
             bool bLocked) {
    if (bLocked && !pJob->pEvent)
        pJob->pCtx->bPlaneLeft = 1;
    else if (FitsBlockWarp(pJob->pCtx, pPlane))
        pJob->stPass[pJob->lPasses++] = {*pPlane, *pMap, lRows};
}

void AddPlanes(FrameJob *pJob, const uint8_t *pInFrame, uint8_t *pOutFrame) {
    MVS_Context *pCtx = pJob->pCtx;
    const WarpMap st = MapWithZoom(pCtx);
    const WarpMap stLuma = {st.lR0, st.lC0, WrapMul32(4, st.lZ), WrapMul32(4, st.lS)};
    const WarpMap stChroma = {st.lR0 >> 1, st.lC0 >> 1, stLuma.lZ, stLuma.lS};
    const bool bPairs = pCtx->lOutHeight % 8 == 0;
    BlockPlane stPlane =
        LumaPlane(pCtx, pInFrame, pOutFrame, bPairs ? kThreadedKernels : kPlanarKernels);
    AddPass(pJob, &stPlane, &stLuma, BlockCount(pCtx->lOutHeight), bPairs);

    const uint8_t *pInChroma = pInFrame + pCtx->lInLumaSize;
    uint8_t *pOutChroma = pOutFrame + pCtx->lOutLumaSize;
    // The interleaved pass takes any format's chroma for pairs; planes that belong to their luma are
    // planar.
    if (bPairs && !pCtx->bChromaInScratch && (!pCtx->bFullChroma || IsSemiPlanar(pCtx->lInFormat))) {
        if (!PairsOf(pCtx, &pInChroma, &pOutChroma)) return;
        stPlane = PairPlane(pCtx, pInChroma, pOutChroma);
        AddPass(pJob, &stPlane, &stChroma, pCtx->lInHeight >> 3, true);
        return;
    }
    const PlanarChroma stPlanes = ChromaPlanes(pCtx, pInChroma, pOutChroma);
    if (!stPlanes.pIn[0] || !stPlanes.pOut[0]) return; // the handle was not made for pairs
    for (int32_t i = 0; i < 2; i++) {
        stPlane = ChromaPlane(pCtx, stPlanes.pIn[i], stPlanes.pOut[i]);
        AddPass(pJob, &stPlane, &stChroma, PlanarChromaRows(pCtx), false);
    }
}

enum Side { kNone, kTop, kBottom };

// A thread takes longer to end than a band takes to warp, and the caller waits for it: it had better go
// while there is something left to do.
const int32_t kCallersBands = 2;

// The next band, or -1. The side is chosen when a participant comes first.
int32_t TakeBand(FrameJob *pJob, Side *pSide) {
    zekMEventWait(pJob->pEvent, -1);
    if (*pSide == kNone) *pSide = pJob->bTopTaken ? kBottom : kTop;
    pJob->bTopTaken = true;
    const int32_t lLeft = pJob->lEnd - pJob->lFirst;
    const int32_t lBand = lLeft <= (*pSide == kTop ? 0 : kCallersBands) ? -1
                          : *pSide == kTop                              ? pJob->lFirst++
                                                                        : --pJob->lEnd;
    zekMEventSignal(pJob->pEvent);
    return lBand;
}

// Where a band begins in so many rows, or bytes.
int32_t BandStart(const FrameJob *pJob, int32_t lBand, int32_t lCount) {
    return (int32_t)((int64_t)lCount * lBand / pJob->lBands);
}

// Body of the frame's participants.
void *WarpFrame(void *pArgument) {
    FrameJob *pJob = (FrameJob *)pArgument;
    Side eSide = kNone;
    for (;;) {
        const int32_t lBand = TakeBand(pJob, &eSide);
        if (lBand < 0) return nullptr;
        for (int32_t i = 0; i < pJob->lPasses; i++) {
            const FramePass *pPass = &pJob->stPass[i];
            WarpBlockRows(&pPass->stPlane, &pPass->stMap, BandStart(pJob, lBand, pPass->lRows),
                          BandStart(pJob, lBand + 1, pPass->lRows));
        }
        const int32_t lKeep = BandStart(pJob, lBand, pJob->lKeepSize);
        const int32_t lKeepEnd = Min32(BandStart(pJob, lBand + 1, pJob->lKeepSize), pJob->lKeepBytes);
        if (lKeep < lKeepEnd)
            MMemCpy(pJob->pKeepTo + lKeep, pJob->pKeepFrom + lKeep, (uint32_t)(lKeepEnd - lKeep));
    }
}

// The per-pixel warp for unequal sizes: unlike a small frame, a large one has its planar chroma moved.
void WarpUnequal(MVS_Context *pCtx, const uint8_t *pInFrame, uint8_t *pOutFrame) {
    const WarpMap st = MapWithZoom(pCtx);
    StabY_RotationF0(pCtx, pInFrame, pOutFrame, st.lR0, st.lC0, st.lZ, st.lS);
    if (pCtx->bChromaInScratch || !IsSemiPlanar(pCtx->lInFormat))
        StabC_RotationF0(pCtx, pInFrame + pCtx->lInLumaSize, pOutFrame + pCtx->lOutLumaSize,
                         st.lR0 >> 1, st.lC0 >> 1, st.lZ, st.lS);
    else
        StabC2_RotationF0(pCtx, st.lR0 >> 1, st.lC0 >> 1, st.lZ, st.lS);
}

} // namespace

void StabilizeFrameM3F0(MVS_Context *pCtx, const uint8_t *pInFrame, uint8_t *pOutFrame) {
    if (pCtx->lOutWidth > 319 && pCtx->lOutHeight > 239)
        StabilizeFrameM3F0WithOpt(pCtx, pInFrame, pOutFrame);
    else
        StabilizeFrameM3F0WithoutOpt(pCtx, pInFrame, pOutFrame);
}

void StabilizeFrameM3F0WithOpt(MVS_Context *pCtx, const uint8_t *pInFrame, uint8_t *pOutFrame) {
    StabilizeFrameM3Large(pCtx, pInFrame, pOutFrame);
}

void StabilizeFrameM3Large(MVS_Context *pCtx, const uint8_t *pInFrame, uint8_t *pOutFrame) {
    if (pCtx->lInWidth != pCtx->lOutWidth || pCtx->lInHeight != pCtx->lOutHeight) {
        WarpUnequal(pCtx, pInFrame, pOutFrame);
        return;
    }
    FrameJob stJob = {};
    stJob.pCtx = pCtx;
    stJob.pEvent = zekMEventCreate(nullptr);
    AddPlanes(&stJob, pInFrame, pOutFrame);
    stJob.lEnd = stJob.lBands = BlockCount(pCtx->lOutHeight) / Max32(pCtx->lInHeight >> 7, 1);
    stJob.pKeepFrom = pCtx->pKeepFrom;
    stJob.pKeepTo = pCtx->pKeepTo;
    stJob.lKeepSize = pCtx->lKeepSize;
    stJob.lKeepBytes = __atomic_exchange_n(&pCtx->lKeepBytes, 0, __ATOMIC_RELAXED);
    zekMEventSignal(stJob.pEvent);
    if (stJob.pEvent)
        ShareJob(pCtx->pCrew, WarpFrame, &stJob, pCtx->lInLumaSize, true);
    else
        WarpFrame(&stJob);
    zekMEventDestroy(nullptr, stJob.pEvent);
}

void StabY_Rotation_4x4_7to8(MVS_Context *pCtx, const uint8_t *pInLuma, uint8_t *pOutLuma, int32_t lR0,
                             int32_t lC0, int32_t lZ, int32_t lS) {
    WarpJob st = MakeJob(pCtx, pInLuma, pOutLuma, {lR0, lC0, lZ, lS}, pCtx->lInHeight >> 2);
    RunPass(&st, thread_StabY_Rotation_4x4_7to8, pCtx->lInLumaSize);
}

void StabC2_Rotation_4x4_7to8(MVS_Context *pCtx, const uint8_t *pInChroma, uint8_t *pOutChroma,
                              int32_t lR0, int32_t lC0, int32_t lZ, int32_t lS) {
    if (!PairsOf(pCtx, &pInChroma, &pOutChroma)) return;
    WarpJob st = MakeJob(pCtx, pInChroma, pOutChroma, {lR0, lC0, lZ, lS}, pCtx->lInHeight >> 3);
    RunPass(&st, thread_StabC2_Rotation_4x4_7to8, pCtx->lInLumaSize >> 1);
}

void *thread_StabY_Rotation_4x4_7to8(void *pArgument) {
    WarpJob *pJob = (WarpJob *)pArgument;
    const WarpMap *pMap = &pJob->stMap;
    int32_t lFirst, lEnd;
    while (TakeChunk(pJob, &lFirst, &lEnd))
        StabY_Rotation_4x4_7to8_block(pJob->pCtx, pJob->pIn, pJob->pOut, pMap->lR0, pMap->lC0, pMap->lZ,
                                      pMap->lS, lFirst, lEnd);
    return nullptr;
}

void *thread_StabC2_Rotation_4x4_7to8(void *pArgument) {
    WarpJob *pJob = (WarpJob *)pArgument;
    const WarpMap *pMap = &pJob->stMap;
    int32_t lFirst, lEnd;
    while (TakeChunk(pJob, &lFirst, &lEnd))
        StabC2_Rotation_4x4_7to8_block(pJob->pCtx, pJob->pIn, pJob->pOut, pMap->lR0, pMap->lC0,
                                       pMap->lZ, pMap->lS, lFirst, lEnd);
    return nullptr;
}
