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

// The vector kernel of a plane and map, or null. Vector kernels have positions of 32 bits, Q16, so
// planes must not be larger than a frame.
FineKernel KernelOf(const Kernels *pKernels, const FinePass *pPass, bool bCubic) {
    const FinePlane *pIn = &pPass->stIn;
    const int64_t llTurn = pPass->stMap.llRX, llStep = pPass->stMap.llCX;
    const int32_t lBytes = PixelBytes(pIn);
    if (Max32(Max32(pIn->lWidth, pIn->lHeight), pPass->stOut.lWidth) > kMaxSide) return nullptr;
    if (lBytes == 3 || lBytes > 4) return nullptr;
    if (llStep <= 0 || llStep > kMostFineStep) return nullptr;
    if (llTurn < -kMostFineTurn || llTurn > kMostFineTurn) return nullptr;
    if (pIn->lSampleBytes == 1) return bCubic ? pKernels->pFineCubic : pKernels->pFineLinear;
    return bCubic ? pKernels->pFineCubicWords : pKernels->pFineLinearWords;
}

// The pixels of the first and the last tap along one axis.
struct Taps {
    int64_t llFirst, llLast;
};

Taps TapsOf(int64_t llQ16, bool bCubic) {
    const int64_t ll = bCubic ? ((llQ16 + 512) >> 16) - 1 : llQ16 >> 16;
    return {ll, ll + (bCubic ? 3 : 1)};
}
Taps ColumnsOf(const FineRow *pRow, int32_t x, bool bCubic) {
    return TapsOf(FinePosition(pRow->llCol, pRow->llColStep, x), bCubic);
}
Taps RowsOf(const FineRow *pRow, int32_t x, bool bCubic) {
    return TapsOf(FinePosition(pRow->llRow, pRow->llRowStep, x), bCubic);
}

// Whether a kernel may make the run at pixel x: all rows that it reads exist, and the bytes that it
// reads left and right of them lie in the neighbouring row of memory. The rows are those of all pixels
// from lFrom on: when the runs at lFrom and x are safe, so are the runs between them.
//
// At least one pixel of the run does not lie left of the plane, and at least one does not lie right of
// it. So only the first of the safe runs reads beyond the left side.
bool IsSafe(const FineRow *pRow, int32_t lFrom, int32_t x, bool bCubic) {
    const FinePlane *pIn = pRow->pIn;
    const Taps stFrom = RowsOf(pRow, lFrom, bCubic), stTo = RowsOf(pRow, x + kFineRun - 1, bCubic);
    const int64_t llTop = stFrom.llFirst < stTo.llFirst ? stFrom.llFirst : stTo.llFirst;
    const int64_t llBottom = stFrom.llLast < stTo.llLast ? stTo.llLast : stFrom.llLast;
    const Taps stLeft = ColumnsOf(pRow, x, bCubic), stRight = ColumnsOf(pRow, x + kFineRun - 1, bCubic);
    if (llTop < 0 || llBottom >= pIn->lHeight) return false;
    if (stRight.llFirst < 0 || stLeft.llLast >= pIn->lWidth) return false;

    const int64_t llBytes = PixelBytes(pIn), llRowBytes = pIn->lWidth * llBytes;
    const bool bAbove = llTop > 0, bBelow = llBottom < pIn->lHeight - 1;
    const bool bApart = pIn->lPitch >= llRowBytes || pIn->lPitch <= -llRowBytes;
    const int64_t llBefore = bApart && (pIn->lPitch > 0 ? bAbove : bBelow) ? llRowBytes : 0;
    const int64_t llBehind = bApart && (pIn->lPitch > 0 ? bBelow : bAbove) ? llRowBytes : 0;
    return -stLeft.llFirst * llBytes <= llBefore &&
           stRight.llLast * llBytes + QEL_FINE_WINDOW <= llRowBytes + llBehind;
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

// The vector kernel makes all runs that are safe. Of these some pixels at both ends may come out wrong,
// as their taps lie beyond the plane: they are made again, with the rest of the row.
void MakeRow(FineKernel pKernel, FineKernel pAnywhere, const FineRow *pRow, uint8_t *pOut,
             int32_t lCount, bool bCubic) {
    int32_t lFirst = 0, lEnd = lCount;
    while (lFirst < lEnd && !IsSafe(pRow, lFirst, lFirst, bCubic)) lFirst += kFineRun;
    while (lFirst < lEnd && !IsSafe(pRow, lFirst, (lEnd - 1) & -kFineRun, bCubic))
        lEnd = (lEnd - 1) & -kFineRun;
    if (lFirst < lEnd) MakeRuns(pKernel, pRow, pOut, lFirst, lEnd);

    while (lFirst < lEnd && ColumnsOf(pRow, lFirst, bCubic).llFirst < 0) lFirst++;
    while (lFirst < lEnd && ColumnsOf(pRow, lEnd - 1, bCubic).llLast >= pRow->pIn->lWidth) lEnd--;
    if (lFirst >= lEnd) lFirst = lEnd = lCount;
    pAnywhere(pRow, pOut, 0, lFirst);
    pAnywhere(pRow, pOut + (ptrdiff_t)lEnd * PixelBytes(pRow->pIn), lEnd, lCount);
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
        uint8_t *pSamples = pOut->pSamples + y * pOut->lPitch;
        if (pKernel)
            MakeRow(pKernel, pAnywhere, &stRow, pSamples, pOut->lWidth, bCubic);
        else
            pAnywhere(&stRow, pSamples, 0, pOut->lWidth);
    }
}

void FineWarp(MVS_Context *pCtx, const FinePass *pPasses, int32_t lPasses, bool bCubic) {
    int32_t lRows = 0;
    for (int32_t i = 0; i < lPasses; i++) lRows = Max32(lRows, pPasses[i].stOut.lHeight);
    FineTask stTask = {pCtx->pKernels, pPasses, lPasses, bCubic, Max32(lRows / kBandRows, 1),
                       pCtx->pEvent,   0};
    RunFrameTask(pCtx, WarpBands, &stTask);
}
