// SPDX-License-Identifier: BSD-2-Clause
// One task for every warp of a frame, shared out by bands of the picture.
#pragma once

#include "kernels.h"
#include "warp/map.h"
#include "warp/planes.h"

// Warps rows lFirst .. lEnd - 1 of a plane; what a row is, the warp decides.
typedef void (*RowWarp)(const Kernels *pKernels, const WarpPlane *pPlane, const WarpMap *pMap,
                        int32_t lFirst, int32_t lEnd);

struct WarpPass {
    RowWarp pWarpRows;
    WarpPlane stPlane;
    WarpMap stMap;
};

struct WarpTask {
    const Kernels *pKernels;
    WarpPass stPass[3];
    int32_t lPasses;
    void *pEvent; // lock of lNextBand
    int32_t lNextBand;
    int32_t lBands;
};

void AddPass(WarpTask *pTask, RowWarp pWarpRows, const WarpPlane *pPlane, const WarpMap *pMap);

// Runs the passes side by side, a band of the picture at a time: no thread waits for others between two
// planes. In a frame the lock is the handle's. Outside of one the call makes its own; where that fails,
// the calling thread does all of it, or with bNeedsLock nothing.
void RunWarpTask(MVS_Context *pCtx, WarpTask *pTask, bool bNeedsLock);

// Body of the task.
void *WarpBands(void *pTask);
