// SPDX-License-Identifier: BSD-2-Clause
#include "motion/wide_shift.h"

#include "platform/fixed.h"

namespace {

const int32_t kMostError = 400 * kPatch * kPatch; // of a patch: one that is covered costs no more
const int32_t kFineReach = 16;                    // pixels of a level that is not the coarsest
const int32_t kFinePatches = 64;                  // are enough there
const int32_t kNearer = 512; // a pixel of length adds 1/512 to the cost: in doubt the shorter wins

struct Shift {
    int32_t lCol, lRow;
    int64_t llCost;
};

// Whole pixels of a prediction; one far beyond every picture is no prediction.
int32_t Whole(double d) { return d > -32768 && d < 32768 ? (int32_t)d : 0; }

struct Frames {
    const Kernels *pKernels;
    const LumaLevel *pCur, *pPrev;
    int32_t lStep; // from patch to patch
};

// Mean error of every other patch that lies within both frames; INT64_MAX when there are few.
int64_t CostAt(const Frames *pFrames, int32_t lCol, int32_t lRow) {
    const LumaLevel *pCur = pFrames->pCur, *pPrev = pFrames->pPrev;
    const int32_t lWidth = pCur->lWidth, lHeight = pCur->lHeight, lStep = pFrames->lStep;
    int64_t llSum = 0;
    int32_t lCount = 0;
    for (int32_t y = 0; y + kPatch <= lHeight; y += lStep) {
        if (y + lRow < 0 || y + lRow + kPatch > lHeight) continue;
        for (int32_t x = y / lStep % 2 * lStep; x + kPatch <= lWidth; x += 2 * lStep) {
            if (x + lCol < 0 || x + lCol + kPatch > lWidth) continue;
            const int32_t lError = pFrames->pKernels->pPatchError(
                pCur->pPixels + (ptrdiff_t)y * lWidth + x,
                pPrev->pPixels + (ptrdiff_t)(y + lRow) * lWidth + x + lCol, lWidth);
            llSum += Min32(lError, kMostError);
            lCount++;
        }
    }
    const int32_t lAll = (lWidth / lStep) * (lHeight / lStep) / 2;
    if (lCount == 0 || lCount < lAll / 3) return INT64_MAX;
    const int32_t lLength = (lCol < 0 ? -lCol : lCol) + (lRow < 0 ? -lRow : lRow);
    return llSum * (kNearer + lLength) / lCount;
}

void Try(const Frames *pFrames, int32_t lCol, int32_t lRow, Shift *pBest) {
    const int64_t llCost = CostAt(pFrames, lCol, lRow);
    if (llCost < pBest->llCost) *pBest = {lCol, lRow, llCost};
}

// Pictures have large shapes: every second shift comes near enough to the best one.
void TryCoarse(const Frames *pFrames, Shift *pBest) {
    const int32_t lWidth = pFrames->pCur->lWidth, lHeight = pFrames->pCur->lHeight;
    const int32_t lCols = lWidth >= lHeight ? lWidth / 8 : lWidth / 6;
    const int32_t lRows = lWidth >= lHeight ? lHeight / 6 : lHeight / 8;
    for (int32_t r = -(lRows & ~1); r <= lRows; r += 2)
        for (int32_t c = -(lCols & ~1); c <= lCols; c += 2) Try(pFrames, c, r, pBest);
    const Shift stAround = *pBest;
    for (int32_t r = -1; r <= 1; r++)
        for (int32_t c = -1; c <= 1; c++) Try(pFrames, stAround.lCol + c, stAround.lRow + r, pBest);
}

void TryFine(const Frames *pFrames, Shift *pBest) {
    for (int32_t r = -kFineReach; r <= kFineReach; r++)
        for (int32_t c = -kFineReach; c <= kFineReach; c++) Try(pFrames, c, r, pBest);
}

} // namespace

RigidMotion WideShift(const Kernels *pKernels, const Pyramid *pCurrent, const Pyramid *pPrevious,
                      RigidMotion stPrediction, int32_t lLevel) {
    const LumaLevel *pCur = &pCurrent->stLevels[lLevel];
    const bool bCoarsest = lLevel + 1 == pCurrent->lLevels;
    Frames stFrames = {pKernels, pCur, &pPrevious->stLevels[lLevel], kPatch};
    while (!bCoarsest &&
           pCur->lWidth / stFrames.lStep * (pCur->lHeight / stFrames.lStep) > 2 * kFinePatches)
        stFrames.lStep += kPatch;
    Shift stBest = {0, 0, INT64_MAX};
    Try(&stFrames, 0, 0, &stBest);
    Try(&stFrames, Whole(stPrediction.dCol / (1 << lLevel)), Whole(stPrediction.dRow / (1 << lLevel)),
        &stBest);
    if (bCoarsest)
        TryCoarse(&stFrames, &stBest);
    else
        TryFine(&stFrames, &stBest);
    return {(double)stBest.lCol * (1 << lLevel), (double)stBest.lRow * (1 << lLevel), 0};
}
