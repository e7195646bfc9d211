// SPDX-License-Identifier: BSD-2-Clause
// A warp of all planes of a frame as one task, shared between threads by bands of the picture.
#pragma once

#include "kernels.h"
#include "warp/map.h"
#include "warp/planes.h"

// Warps rows lFirst .. lEnd - 1 of a plane. Rows are of samples or of 4x4 blocks, as the warp needs.
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

// Runs all passes for a band of the picture at a time, so that no thread waits between two planes.
// Within a frame the lock is the handle's. Other calls create one; if that fails, the calling thread
// does all of the work, or none of it with bNeedsLock.
void RunWarpTask(MVS_Context *pCtx, WarpTask *pTask, bool bNeedsLock);

// Body of the task.
void *WarpBands(void *pTask);
