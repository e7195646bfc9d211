// SPDX-License-Identifier: BSD-2-Clause
// Mode 3: which warp a frame takes, and the block passes that are shared out between participants.
#include "warp/warp.h"

#include "platform/participants.h"
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
    RunParticipants(pBody, pJob, lBytes);
    zekMEventDestroy(nullptr, pJob->pEvent);
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

// The per-pixel warp for unequal sizes: unlike a small frame, a large one has its planar chroma moved.
void WarpUnequal(MVS_Context *pCtx, const uint8_t *pInFrame, uint8_t *pOutFrame, const WarpMap *pMap) {
    StabY_RotationF0(pCtx, pInFrame, pOutFrame, pMap->lR0, pMap->lC0, pMap->lZ, pMap->lS);
    if (pCtx->bChromaInScratch || !IsSemiPlanar(pCtx->lInFormat))
        StabC_RotationF0(pCtx, pInFrame + pCtx->lInLumaSize, pOutFrame + pCtx->lOutLumaSize,
                         pMap->lR0 >> 1, pMap->lC0 >> 1, pMap->lZ, pMap->lS);
    else
        StabC2_RotationF0(pCtx, pMap->lR0 >> 1, pMap->lC0 >> 1, pMap->lZ, pMap->lS);
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
    const WarpMap st = MapWithZoom(pCtx);
    if (pCtx->lInWidth != pCtx->lOutWidth || pCtx->lInHeight != pCtx->lOutHeight) {
        WarpUnequal(pCtx, pInFrame, pOutFrame, &st);
        return;
    }
    const bool bShared = pCtx->lOutHeight % 8 == 0;
    if (bShared)
        StabY_Rotation_4x4_7to8(pCtx, pInFrame, pOutFrame, st.lR0, st.lC0, st.lZ, st.lS);
    else
        StabY_Rotation_4x4_7to8_normal(pCtx, pInFrame, pOutFrame, st.lR0, st.lC0, st.lZ, st.lS);

    const uint8_t *pInChroma = pInFrame + pCtx->lInLumaSize;
    uint8_t *pOutChroma = pOutFrame + pCtx->lOutLumaSize;
    // The interleaved pass takes any format's chroma for pairs; planes that belong to their luma are
    // planar.
    const bool bPlanar =
        pCtx->bChromaInScratch || (pCtx->bFullChroma && !IsSemiPlanar(pCtx->lInFormat));
    if (bShared && !bPlanar)
        StabC2_Rotation_4x4_7to8(pCtx, pInChroma, pOutChroma, st.lR0 >> 1, st.lC0 >> 1, st.lZ, st.lS);
    else
        StabC_Rotation_4x4_7to8_normal(pCtx, pInChroma, pOutChroma, st.lR0 >> 1, st.lC0 >> 1, st.lZ,
                                       st.lS);
}

void StabY_Rotation_4x4_7to8(MVS_Context *pCtx, const uint8_t *pInLuma, uint8_t *pOutLuma, int32_t lR0,
                             int32_t lC0, int32_t lZ, int32_t lS) {
    WarpJob st = MakeJob(pCtx, pInLuma, pOutLuma, {lR0, lC0, lZ, lS}, pCtx->lInHeight >> 2);
    RunPass(&st, thread_StabY_Rotation_4x4_7to8, pCtx->lInLumaSize);
}

void StabC2_Rotation_4x4_7to8(MVS_Context *pCtx, const uint8_t *pInChroma, uint8_t *pOutChroma,
                              int32_t lR0, int32_t lC0, int32_t lZ, int32_t lS) {
    if (pCtx->lInFormat == QEL_MVS_FORMAT_NV21) {
        if (!pCtx->pCurFrame || !pCtx->pOutFrame) return;
        pInChroma = pCtx->pCurFrame + pCtx->lInLumaSize;
        pOutChroma = pCtx->pOutFrame + pCtx->lOutLumaSize;
    }
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
