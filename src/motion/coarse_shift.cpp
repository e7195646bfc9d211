// SPDX-License-Identifier: BSD-2-Clause
// One whole-pixel shift for the whole frame, by descent over a sparse grid of luma samples.
#include "motion/motion.h"

#include "motion/grid.h"
#include "quorvel/memory.h"

namespace {

const int32_t kMinAreaW = kGroup - 3; // a lone group reads columns 0 .. 60

enum Move { kNone, kLeft, kRight, kUp, kDown };

struct Search {
    const MVS_Context *pCtx;
    GridSad pSad;
    const uint8_t *pSamples;
    const uint8_t *pPrevArea; // the area at shift (0, 0)
    Grid stGrid;
    int32_t lRow;
    int32_t lCol;
    uint32_t lCost;
};

// Bytes from the end of the last group to the next sampled row, which is 10 rows further down.
int32_t RowSkip(const MVS_Context *pCtx, int32_t lAreaW) {
    return lAreaW - kGroup * Max32(lAreaW / kGroup, 1) + 2 * pCtx->lShiftRangeX +
           (kGridRowStep - 1) * pCtx->lInWidth;
}

int32_t FirstStep(int32_t lSizeLevel) {
    if (lSizeLevel <= 2) return 4;
    return lSizeLevel == 3 ? 8 : lSizeLevel == 4 ? 16 : 32;
}

// The previous frame's motion in whole pixels, within the search range. Mode 1 does not divide it by
// 1024, so there the prediction is mostly at the end of the range.
int32_t PredictedShift(int32_t lMode, int32_t lPrevMotion, int32_t lRange) {
    int64_t v = lPrevMotion;
    if (lMode != 1) v = v >= 0 ? (v + 512) >> 10 : -((512 - v) >> 10);
    return v < -lRange ? -lRange : v > lRange ? lRange : (int32_t)v;
}

// The cost, exact when it is below lBound.
uint32_t CostAt(const Search *pSearch, int32_t lRow, int32_t lCol, uint32_t lBound) {
    const ptrdiff_t lOffset = (ptrdiff_t)lRow * pSearch->pCtx->lInWidth + lCol;
    return pSearch->pSad(pSearch->pSamples, pSearch->pPrevArea + lOffset, &pSearch->stGrid, lBound);
}

int32_t MeanDiff(const Search *pSearch) {
    const ptrdiff_t lOffset = (ptrdiff_t)pSearch->lRow * pSearch->pCtx->lInWidth + pSearch->lCol;
    return GridMeanDiff(pSearch->pSamples, pSearch->pPrevArea + lOffset, &pSearch->stGrid);
}

// Starts at no shift, or at the predicted one where that is strictly cheaper.
void ChooseStart(Search *pSearch) {
    const MVS_Context *pCtx = pSearch->pCtx;
    const int32_t lRow = PredictedShift(pCtx->lMode, pCtx->lPrevRow, pCtx->lShiftRangeY);
    const int32_t lCol = PredictedShift(pCtx->lMode, pCtx->lPrevCol, pCtx->lShiftRangeX);
    pSearch->lRow = 0;
    pSearch->lCol = 0;
    pSearch->lCost = CostAt(pSearch, 0, 0, UINT32_MAX);
    if (lRow == 0 && lCol == 0) return;
    const uint32_t lCost = CostAt(pSearch, lRow, lCol, pSearch->lCost);
    if (lCost >= pSearch->lCost) return;
    pSearch->lRow = lRow;
    pSearch->lCol = lCol;
    pSearch->lCost = lCost;
}

// Moves by one step to the best of the four neighbours, if it is better. The way back is not tried.
Move StepOnce(Search *pSearch, int32_t lStep, Move eLast) {
    const int32_t lRangeX = pSearch->pCtx->lShiftRangeX, lRangeY = pSearch->pCtx->lShiftRangeY;
    const int32_t lRow = pSearch->lRow, lCol = pSearch->lCol;
    const struct {
        Move eMove, eReverse;
        int32_t lRow, lCol;
    } stTry[4] = {{kLeft, kRight, lRow, lCol - lStep},
                  {kRight, kLeft, lRow, lCol + lStep},
                  {kUp, kDown, lRow - lStep, lCol},
                  {kDown, kUp, lRow + lStep, lCol}};
    Move eBest = kNone;
    for (int32_t i = 0; i < 4; i++) {
        if (eLast == stTry[i].eReverse) continue;
        if (stTry[i].lCol < -lRangeX || stTry[i].lCol > lRangeX) continue;
        if (stTry[i].lRow < -lRangeY || stTry[i].lRow > lRangeY) continue;
        const uint32_t lCost = CostAt(pSearch, stTry[i].lRow, stTry[i].lCol, pSearch->lCost);
        if (lCost >= pSearch->lCost) continue;
        pSearch->lCost = lCost;
        pSearch->lRow = stTry[i].lRow;
        pSearch->lCol = stTry[i].lCol;
        eBest = stTry[i].eMove;
    }
    return eBest;
}

// Descends to a minimum at step 1. The steps are 32, 16, 8, 4, 1, without 2.
void Descend(Search *pSearch, int32_t lStep, Move *pLast) {
    for (;;) {
        const Move eMove = StepOnce(pSearch, lStep, *pLast);
        if (eMove != kNone) {
            *pLast = eMove;
            continue;
        }
        if (lStep <= 1) return;
        lStep = lStep >= 5 ? lStep >> 1 : 1;
        *pLast = kNone;
    }
}

// Up to three descents: from the start, from (0, 0) with a larger step, and from (0, 0) with step 1.
// The later ones only move to positions with a lower cost than reached before.
int32_t SearchRounds(MVS_Context *pCtx, Search *pSearch) {
    const int32_t lFirstStep = FirstStep(pCtx->lSizeLevel);
    const uint32_t lN = (uint32_t)pCtx->lShiftSampleNum;
    uint32_t lBestEver = 0xFFFFFF;
    Move eLast = kNone;
    for (int32_t lRound = 1;; lRound++) {
        Descend(pSearch, lRound == 1 ? lFirstStep : lRound == 2 ? 4 * lFirstStep : 1, &eLast);
        const uint32_t lCost = pSearch->lCost;
        if (lCost < lBestEver) {
            pCtx->lCurMotionRow = -pSearch->lRow;
            pCtx->lCurMotionCol = -pSearch->lCol;
            pCtx->lCurMotionTheta = 0;
            lBestEver = lCost;
        }
        if (lCost <= 6 * lN) {
            pCtx->bShiftReliable = 1;
            return 1;
        }
        // A change of brightness raises the cost of every position, so it raises the limit too.
        if (lRound == 1) pCtx->lShiftMeanDiff = MeanDiff(pSearch);
        const uint32_t lBar = 6 * lN + (uint32_t)pCtx->lShiftMeanDiff;
        if (lCost < lBar) {
            pCtx->bShiftReliable = WrapAbs32(pCtx->lShiftMeanDiff) <= WrapMul32(11, (int32_t)lN);
            return 1;
        }
        if (lRound == 3) {
            if (3 * lBar > lCost) return 1;
            pCtx->bShiftReliable = 0;
            return 0;
        }
        pSearch->lRow = 0;
        pSearch->lCol = 0;
        if (lRound == 1) eLast = kNone; // round 3 still refuses the way back of round 2's last move
    }
}

// Within a frame this is the handle's buffer, which has room for every search range that
// QEL_MVS_AnalyzeHW sets. Other calls allocate one. Null when there is no memory.
uint8_t *SampleBuffer(const MVS_Context *pCtx, const Grid *pGrid) {
    const int64_t llSize = GridSize(pGrid);
    if (pCtx->bInFrame && llSize <= pCtx->lSampleRoom) return pCtx->pSamples;
    return llSize > INT32_MAX ? nullptr : (uint8_t *)MMemAlloc(nullptr, (uint32_t)llSize);
}

} // namespace

uint32_t SampleBytes(int32_t lWidth, int32_t lHeight) {
    const Grid stGrid = GridOf(lWidth - 2 * kSmallestRange, lHeight - 2 * kSmallestRange, 0);
    return (uint32_t)GridSize(&stGrid); // at most 16384 / 4 * 16384 / 10
}

int32_t GetBigShiftF0(MVS_Context *pCtx, const uint8_t *pCurFrame, const uint8_t *pPrevFrame) {
    const int32_t lRangeX = pCtx->lShiftRangeX, lRangeY = pCtx->lShiftRangeY;
    const int32_t lAreaW = pCtx->lInWidth - 2 * lRangeX, lAreaH = pCtx->lInHeight - 2 * lRangeY;
    pCtx->pShiftPrevFrame = pPrevFrame;
    // The nominal number of samples: the thresholds scale with it.
    pCtx->lShiftSampleNum = WrapMul32(lAreaW >> 2, lAreaH / kGridRowStep);
    const bool bFits = lAreaW >= kMinAreaW && lAreaH >= 1 && lRangeX >= 0 && lRangeY >= 0;
    const Grid stGrid = GridOf(lAreaW, lAreaH, bFits ? RowSkip(pCtx, lAreaW) : 0);
    uint8_t *pSamples = bFits ? SampleBuffer(pCtx, &stGrid) : nullptr;
    if (!pSamples) {
        pCtx->bShiftReliable = 0;
        return 0;
    }
    const ptrdiff_t lOrigin = (ptrdiff_t)lRangeY * pCtx->lInWidth + lRangeX;
    pCtx->pKernels->pGatherGrid(pSamples, pCurFrame + lOrigin, &stGrid);
    Search stSearch = {pCtx, pCtx->pKernels->pGridSad, pSamples, pPrevFrame + lOrigin, stGrid, 0, 0, 0};
    ChooseStart(&stSearch);
    const int32_t lResult = SearchRounds(pCtx, &stSearch);
    if (pSamples != pCtx->pSamples) MMemFree(nullptr, pSamples);
    return lResult;
}
