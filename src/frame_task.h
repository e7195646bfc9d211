// SPDX-License-Identifier: BSD-2-Clause
// How a stage shares out its work between threads.
#pragma once

#include "context.h"
#include "platform/workers.h"

// Runs pBody(pTask) on the calling thread and on the workers of the frame. A stage function that is
// called outside of a frame has workers for this task alone.
static inline void RunFrameTask(MVS_Context *pCtx, TaskBody pBody, void *pTask) {
    if (!pCtx->bInFrame) StartWorkers(pCtx->pWorkers, WorkersFor(&pCtx->stThreads, pCtx->lInLumaSize));
    RunParallel(pCtx->pWorkers, pBody, pTask);
    if (!pCtx->bInFrame) JoinWorkers(pCtx->pWorkers);
}
