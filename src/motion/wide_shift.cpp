// SPDX-License-Identifier: BSD-2-Clause
#include "motion/wide_shift.h"

#include "platform/fixed.h"

namespace {

const int32_t kMostError = 400 * kPatch * kPatch; // of a patch: one that is covered costs no more
const int32_t kNearer = 512; // a pixel of length adds 1/512 to the cost: in doubt the shorter wins

struct Shift {
    int32_t lCol, lRow;
    int64_t llCost;
};

// Whole pixels of a prediction; one far beyond every picture is no prediction.
int32_t Whole(double d) { return d > -32768 && d < 32768 ? (int32_t)d : 0; }

// Mean error of every other patch that lies within both frames; INT64_MAX when there are few.
int64_t CostAt(const Kernels *pKernels, const LumaLevel *pCur, const LumaLevel *pPrev, int32_t lCol,
               int32_t lRow) {
    const int32_t lWidth = pCur->lWidth, lHeight = pCur->lHeight;
    int64_t llSum = 0;
    int32_t lCount = 0;
    for (int32_t y = 0; y + kPatch <= lHeight; y += kPatch) {
        if (y + lRow < 0 || y + lRow + kPatch > lHeight) continue;
        for (int32_t x = y & kPatch; x + kPatch <= lWidth; x += 2 * kPatch) {
            if (x + lCol < 0 || x + lCol + kPatch > lWidth) continue;
            const int32_t lError = pKernels->pPatchError(
                pCur->pPixels + (ptrdiff_t)y * lWidth + x,
                pPrev->pPixels + (ptrdiff_t)(y + lRow) * lWidth + x + lCol, lWidth);
            llSum += Min32(lError, kMostError);
            lCount++;
        }
    }
    const int32_t lAll = (lWidth / kPatch) * (lHeight / kPatch) / 2;
    if (lCount == 0 || lCount < lAll / 3) return INT64_MAX;
    const int32_t lLength = (lCol < 0 ? -lCol : lCol) + (lRow < 0 ? -lRow : lRow);
    return llSum * (kNearer + lLength) / lCount;
}

void Try(const Kernels *pKernels, const LumaLevel *pCur, const LumaLevel *pPrev, int32_t lCol,
         int32_t lRow, Shift *pBest) {
    const int64_t llCost = CostAt(pKernels, pCur, pPrev, lCol, lRow);
    if (llCost < pBest->llCost) *pBest = {lCol, lRow, llCost};
}

} // namespace

RigidMotion WideShift(const Kernels *pKernels, const Pyramid *pCurrent, const Pyramid *pPrevious,
                      RigidMotion stPrediction) {
    const int32_t lLevel = pCurrent->lLevels - 1;
    const LumaLevel *pCur = &pCurrent->stLevels[lLevel], *pPrev = &pPrevious->stLevels[lLevel];
    const int32_t lWidth = pCur->lWidth, lHeight = pCur->lHeight;
    const int32_t lCols = lWidth >= lHeight ? lWidth / 8 : lWidth / 6;
    const int32_t lRows = lWidth >= lHeight ? lHeight / 6 : lHeight / 8;
    Shift stBest = {0, 0, INT64_MAX};
    Try(pKernels, pCur, pPrev, 0, 0, &stBest);
    Try(pKernels, pCur, pPrev, Whole(stPrediction.dCol / (1 << lLevel)),
        Whole(stPrediction.dRow / (1 << lLevel)), &stBest);
    // Pictures have large shapes: every second shift comes near enough to the best one.
    for (int32_t r = -(lRows & ~1); r <= lRows; r += 2)
        for (int32_t c = -(lCols & ~1); c <= lCols; c += 2) Try(pKernels, pCur, pPrev, c, r, &stBest);
    const Shift stAround = stBest;
    for (int32_t r = -1; r <= 1; r++)
        for (int32_t c = -1; c <= 1; c++)
            Try(pKernels, pCur, pPrev, stAround.lCol + c, stAround.lRow + r, &stBest);
    return {(double)stBest.lCol * (1 << lLevel), (double)stBest.lRow * (1 << lLevel), 0};
}
