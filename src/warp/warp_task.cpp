// SPDX-License-Identifier: BSD-2-Clause
#include "warp/warp_task.h"

#include "frame_task.h"
#include "quorvel/threads.h"

namespace {

const int32_t kBandRows = 32; // of the output's luma

int32_t TakeBand(WarpTask *pTask) {
    zekMEventWait(pTask->pEvent, -1);
    const int32_t lBand = pTask->lNextBand;
    if (lBand < pTask->lBands) pTask->lNextBand++;
    zekMEventSignal(pTask->pEvent);
    return lBand;
}

// The first row of a band, for a plane of lRows.
int32_t BandStart(const WarpTask *pTask, int32_t lBand, int32_t lRows) {
    return (int32_t)((int64_t)lRows * lBand / pTask->lBands);
}

} // namespace

void AddPass(WarpTask *pTask, RowWarp pWarpRows, const WarpPlane *pPlane, const WarpMap *pMap) {
    pTask->stPass[pTask->lPasses++] = {pWarpRows, *pPlane, *pMap};
}

void *WarpBands(void *pArgument) {
    WarpTask *pTask = (WarpTask *)pArgument;
    for (;;) {
        const int32_t lBand = TakeBand(pTask);
        if (lBand >= pTask->lBands) return nullptr;
        for (int32_t i = 0; i < pTask->lPasses; i++) {
            const WarpPass *pPass = &pTask->stPass[i];
            pPass->pWarpRows(pTask->pKernels, &pPass->stPlane, &pPass->stMap,
                             BandStart(pTask, lBand, pPass->stPlane.lRows),
                             BandStart(pTask, lBand + 1, pPass->stPlane.lRows));
        }
    }
}

void RunWarpTask(MVS_Context *pCtx, WarpTask *pTask, bool bNeedsLock) {
    if (!pCtx->bInFrame) EnsureScratch(pCtx);
    pTask->pKernels = pCtx->pKernels;
    pTask->pEvent = pCtx->bInFrame ? pCtx->pEvent : zekMEventCreate(nullptr);
    pTask->lNextBand = 0;
    pTask->lBands = Max32(pCtx->lOutHeight / kBandRows, 1);
    if (pTask->pEvent) {
        zekMEventSignal(pTask->pEvent);
        RunFrameTask(pCtx, WarpBands, pTask);
    } else if (!bNeedsLock) {
        WarpBands(pTask);
    }
    if (!pCtx->bInFrame) zekMEventDestroy(nullptr, pTask->pEvent);
}
