// SPDX-License-Identifier: BSD-2-Clause
#include "warp/fine_warp.h"

#include "frame_task.h"
#include "quorvel/memory.h"
#include "quorvel/threads.h"
#include "size_rules.h"
#include "warp/fine_pixels.h"

namespace {

const int32_t kBandRows = 32; // of the tallest output plane

struct FineTask {
    const Kernels *pKernels;
    const FinePass *pPasses;
    int32_t lPasses;
    bool bCubic;
    int32_t lBands;
    void *pEvent; // lock of lNextBand
    int32_t lNextBand;
};

// The vector kernel of a plane and map, or null.
FineKernel KernelOf(const Kernels *pKernels, const FinePass *pPass, bool bCubic) {
    const FinePlane *pIn = &pPass->stIn;
    const int64_t llTurn = pPass->stMap.llRX, llStep = pPass->stMap.llCX;
    const int32_t lBytes = PixelBytes(pIn);
    if (Max32(Max32(pIn->lWidth, pIn->lHeight), pPass->stOut.lWidth) > kMaxSide) return nullptr;
    if (lBytes == 3 || lBytes > 4 || pIn->lWidth * lBytes < 2 * QEL_FINE_WINDOW) return nullptr;
    if (llStep <= 0 || llStep > kMostFineStep) return nullptr;
    if (llTurn < -kMostFineTurn || llTurn > kMostFineTurn) return nullptr;
    if (pIn->lSampleBytes == 1) return bCubic ? pKernels->pFineCubic : pKernels->pFineLinear;
    return bCubic ? pKernels->pFineCubicWords : pKernels->pFineLinearWords;
}

// Whether a kernel may make the run at pixel x: its taps lie inside the plane, and so does the window
// that begins at any of them. A window may end in the next row of memory, unless there is none.
bool IsInside(const FineRow *pRow, int32_t x, bool bCubic) {
    const FinePlane *pIn = pRow->pIn;
    const int64_t llNearest = bCubic ? 512 : 0, llBefore = bCubic ? 1 : 0, llAfter = bCubic ? 2 : 1;
    const int64_t llLeft = FineStart(pRow->llCol, pRow->llColStep, x) + llNearest;
    const int64_t llRight = llLeft + (kFineRun - 1) * (pRow->llColStep >> 16);
    const int64_t llFrom = FineStart(pRow->llRow, pRow->llRowStep, x) + llNearest;
    const int64_t llTo = llFrom + (kFineRun - 1) * (pRow->llRowStep >> 16);
    const int64_t llLast = (llRight >> 16) + llAfter;
    const int64_t llTop = ((llFrom < llTo ? llFrom : llTo) >> 16) - llBefore;
    const int64_t llBottom = ((llFrom < llTo ? llTo : llFrom) >> 16) + llAfter;
    if ((llLeft >> 16) < llBefore || llLast >= pIn->lWidth) return false;
    if (llTop < 0 || llBottom >= pIn->lHeight) return false;
    const ptrdiff_t lRowBytes = (ptrdiff_t)pIn->lWidth * PixelBytes(pIn);
    if (llLast * PixelBytes(pIn) + QEL_FINE_WINDOW <= lRowBytes) return true;
    return (pIn->lPitch >= lRowBytes && llBottom < pIn->lHeight - 1) ||
           (pIn->lPitch <= -lRowBytes && llTop > 0);
}

// The last run of a row may go beyond the output plane: it is made apart.
void MakeRuns(FineKernel pKernel, const FineRow *pRow, uint8_t *pOut, int32_t lFirst, int32_t lEnd) {
    const int32_t lPixelBytes = PixelBytes(pRow->pIn);
    const int32_t lWhole = lEnd & -kFineRun;
    uint8_t bRun[kFineRun * 4];
    if (lFirst < lWhole) pKernel(pRow, pOut + (ptrdiff_t)lFirst * lPixelBytes, lFirst, lWhole);
    if (lWhole == lEnd) return;
    pKernel(pRow, bRun, lWhole, lWhole + kFineRun);
    MMemCpy(pOut + (ptrdiff_t)lWhole * lPixelBytes, bRun, (uint32_t)((lEnd - lWhole) * lPixelBytes));
}

// The runs inside the plane follow each other: the positions of a row are on a line.
void MakeRow(FineKernel pKernel, FineKernel pAnywhere, const FineRow *pRow, uint8_t *pOut,
             int32_t lCount, bool bCubic) {
    const int32_t lPixelBytes = PixelBytes(pRow->pIn);
    int32_t lFirst = 0, lEnd = lCount;
    if (!pKernel) lFirst = lCount;
    while (lFirst < lEnd && !IsInside(pRow, lFirst, bCubic)) lFirst += kFineRun;
    while (lFirst < lEnd && !IsInside(pRow, (lEnd - 1) & -kFineRun, bCubic))
        lEnd = (lEnd - 1) & -kFineRun;
    lFirst = Min32(lFirst, lCount);
    pAnywhere(pRow, pOut, 0, lFirst);
    if (lFirst < lEnd) MakeRuns(pKernel, pRow, pOut, lFirst, lEnd);
    lEnd = Max32(lFirst, lEnd);
    pAnywhere(pRow, pOut + (ptrdiff_t)lEnd * lPixelBytes, lEnd, lCount);
}

int32_t TakeBand(FineTask *pTask) {
    zekMEventWait(pTask->pEvent, -1);
    const int32_t lBand = pTask->lNextBand;
    if (lBand < pTask->lBands) pTask->lNextBand++;
    zekMEventSignal(pTask->pEvent);
    return lBand;
}

void *WarpBands(void *pArgument) {
    FineTask *pTask = (FineTask *)pArgument;
    for (;;) {
        const int64_t llBand = TakeBand(pTask);
        if (llBand >= pTask->lBands) return nullptr;
        for (int32_t i = 0; i < pTask->lPasses; i++) {
            const FinePass *pPass = &pTask->pPasses[i];
            const int64_t llRows = pPass->stOut.lHeight;
            FineWarpRows(pTask->pKernels, pPass, pTask->bCubic,
                         (int32_t)(llRows * llBand / pTask->lBands),
                         (int32_t)(llRows * (llBand + 1) / pTask->lBands));
        }
    }
}

} // namespace

void FineWarpRows(const Kernels *pKernels, const FinePass *pPass, bool bCubic, int32_t lFirst,
                  int32_t lEnd) {
    const FinePlane *pIn = &pPass->stIn, *pOut = &pPass->stOut;
    const FineMap *pMap = &pPass->stMap;
    if (pIn->lWidth < 1 || pIn->lHeight < 1) return;
    const FineKernel pKernel = KernelOf(pKernels, pPass, bCubic);
    const FineKernel pAnywhere = bCubic ? FineCubicPortable : FineLinearPortable;
    for (int32_t y = lFirst; y < lEnd; y++) {
        const FineRow stRow = {pIn, WrapAdd64(pMap->llC0, WrapMul64(pMap->llCY, y)),
                               WrapAdd64(pMap->llR0, WrapMul64(pMap->llRY, y)), pMap->llCX, pMap->llRX};
        MakeRow(pKernel, pAnywhere, &stRow, pOut->pSamples + y * pOut->lPitch, pOut->lWidth, bCubic);
    }
}

void FineWarp(MVS_Context *pCtx, const FinePass *pPasses, int32_t lPasses, bool bCubic) {
    int32_t lRows = 0;
    for (int32_t i = 0; i < lPasses; i++) lRows = Max32(lRows, pPasses[i].stOut.lHeight);
    FineTask stTask = {pCtx->pKernels, pPasses, lPasses, bCubic, Max32(lRows / kBandRows, 1),
                       pCtx->pEvent,   0};
    RunFrameTask(pCtx, WarpBands, &stTask);
}
