// SPDX-License-Identifier: BSD-2-Clause
#include "api/previous_frame.h"

#include "frame_task.h"
#include "platform/buffers.h"
#include "platform/fixed.h"
#include "quorvel/threads.h"

namespace {

const int32_t kPiece = 65536; // bytes that a thread takes at a time

bool EnsureFrame(const MVS_Context *pCtx, uint8_t **ppFrame) {
    if (!*ppFrame) *ppFrame = (uint8_t *)AllocFilled(pCtx->lInFrameSize, 0);
    return *ppFrame != nullptr;
}

uint32_t PairBytes(const MVS_Context *pCtx) {
    return 2 * (uint32_t)InChromaWidth(pCtx) * (uint32_t)InChromaHeight(pCtx);
}

struct CopyTask {
    const uint8_t *pFrom;
    uint8_t *pTo;
    void *pEvent;         // lock of lEnd
    int32_t lFirst, lEnd; // of what is left
};

void *CopyPieces(void *pArgument) {
    CopyTask *pTask = (CopyTask *)pArgument;
    for (;;) {
        zekMEventWait(pTask->pEvent, -1);
        const int32_t lBytes = Min32(pTask->lEnd - pTask->lFirst, kPiece);
        const int32_t lFirst = pTask->lEnd - lBytes;
        pTask->lEnd = lFirst;
        zekMEventSignal(pTask->pEvent);
        if (lBytes < 1) return nullptr;
        MMemCpy(pTask->pTo + lFirst, pTask->pFrom + lFirst, (uint32_t)lBytes);
    }
}

} // namespace

bool EnsureFrames(MVS_Context *pCtx, bool bInPlace) {
    return EnsureFrame(pCtx, &pCtx->pPrevFrame) && (!bInPlace || EnsureOwnFrame(pCtx));
}

bool EnsureOwnFrame(MVS_Context *pCtx) { return EnsureFrame(pCtx, &pCtx->pOwnFrame); }

const uint8_t *CopyFrameInPlace(MVS_Context *pCtx, const uint8_t *pIn, const uint8_t *pInPairs) {
    const uint32_t lLuma = (uint32_t)pCtx->lInLumaSize;
    if (pInPairs) {
        MMemCpy(pCtx->pOwnFrame, pIn, lLuma);
        MMemCpy(pCtx->pOwnFrame + lLuma, pInPairs, PairBytes(pCtx));
    } else {
        MMemCpy(pCtx->pOwnFrame, pIn, pCtx->lInFrameSize);
    }
    return pCtx->pOwnFrame;
}

void KeepFrame(MVS_Context *pCtx, bool bInPlace) {
    if (bInPlace) {
        uint8_t *pFormer = pCtx->pPrevFrame;
        pCtx->pPrevFrame = pCtx->pOwnFrame;
        pCtx->pOwnFrame = pFormer;
        pCtx->pCurFrame = pFormer;
        return;
    }
    // Only the luma is compared. Of planar frames the chroma is kept too.
    const int32_t lSize =
        IsSemiPlanar(pCtx->lInFormat) ? pCtx->lInLumaSize : (int32_t)pCtx->lInFrameSize;
    // From the end: what the warp has read last is still in the cache.
    const int32_t lRest = lSize / 8;
    CopyTask stTask = {pCtx->pCurFrame, pCtx->pPrevFrame, pCtx->pEvent, lRest, lSize};
    RunFrameTask(pCtx, CopyPieces, &stTask);
    EndWorkers(pCtx->pWorkers); // they end while this thread copies the rest
    MMemCpy(pCtx->pPrevFrame, pCtx->pCurFrame, (uint32_t)lRest);
}
