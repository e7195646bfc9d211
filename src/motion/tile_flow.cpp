// SPDX-License-Identifier: BSD-2-Clause
// The gradients of a tile tell where its content was: the least squares of Lucas and Kanade, with the
// mean of both frames' gradients, and without the difference in mean brightness. The prediction is
// rounded to whole pixels and read at its place in the frame before, so nothing is interpolated.
#include "motion/tile_flow.h"

#include "frame_task.h"
#include "platform/fixed.h"
#include "quorvel/threads.h"

namespace {

const int32_t kSparse[] = {16, 4, 1}; // one tile of so many is measured, at levels 0, 1 and above
const int32_t kFewTiles = 200;        // tiles: where fewer would be measured, more are
const double kPixels = kTile * kTile;
const double kMostShift = 1.5; // pixels beyond the prediction that gradients can tell
// Share of the squared gradients that is added to them: in fine texture they come out too small.
const double kDamping = 0.02;
const double kFlat = 0.25;       // added to their sums: a tile without texture does not move
const double kLeastNoise = 0.5;  // variance of a difference by rounding alone
const double kModelError = 0.15; // pixels: what parallax and the lens add to a tile's motion
const double kNoiseShare = 8;    // variance that noise gives to a difference, over that of a gradient
const double kMostNoise = 0.7;   // share of the weaker eigenvalue that may be taken for noise
// The variance of least squares is that of the differences over the squared gradients. That is right if
// noise is small; else the noise in the gradients themselves adds about as much again. With noise of 4
// to 32 grey levels the errors are 0.7 to 1.5 times what comes out with this factor.
const double kNoiseFactor = 2;
const double kLeastGradient = 1e-6; // added to the sums of squares: a tile without any weighs nothing

// Tiles of a level: every lSparse-th of lColumns x lRows, lStep apart. The first is at (lX0, lY0).
struct TileGrid {
    int32_t lX0, lY0, lStep;
    int32_t lColumns, lRows;
    int32_t lSparse;
};

TileGrid TileGridOf(int32_t lWidth, int32_t lHeight, int32_t lLevel, bool bCoarsest) {
    TileGrid st = {};
    st.lStep = bCoarsest ? kTile / 2 : kTile;          // overlapping where there are only few
    if (lWidth >= kTile + 2 && lHeight >= kTile + 2) { // a pixel around the tiles is read too
        st.lColumns = (lWidth - 2 - kTile) / st.lStep + 1;
        st.lRows = (lHeight - 2 - kTile) / st.lStep + 1;
    }
    st.lX0 = (lWidth - (st.lColumns - 1) * st.lStep - kTile) / 2;
    st.lY0 = (lHeight - (st.lRows - 1) * st.lStep - kTile) / 2;
    st.lSparse = kSparse[Min32(lLevel, 2)];
    while (st.lSparse > 1 && st.lColumns * st.lRows < kFewTiles * st.lSparse) st.lSparse >>= 1;
    return st;
}

// The first tile of a row that is measured: another one from row to row.
int32_t FirstTile(const TileGrid *pGrid, int32_t lTileRow) { return 3 * lTileRow % pGrid->lSparse; }

// How many are, from lFirst on.
int32_t TilesFrom(const TileGrid *pGrid, int32_t lFirst) {
    return (pGrid->lColumns - lFirst + pGrid->lSparse - 1) / pGrid->lSparse;
}

struct TileTask {
    const Kernels *pKernels;
    const LumaLevel *pCur, *pPrev;
    TileGrid stGrid;
    double dCol, dRow, dTheta; // of the prediction, in pixels of the level
    TileFlow *pFlows;          // lRoom for each row of tiles; a texture below 0 marks one not measured
    int32_t lRoom;
    void *pEvent; // lock of lNextRow
    int32_t lNextRow;
};

// NaN and large values become a place beyond every picture.
int32_t Nearest(double d) { return d > -32768 && d < 32767 ? (int32_t)(d + 32768.5) - 32768 : 32767; }

// The shift that the gradients tell, damped, and no longer than they reach. Up to WeighFlow dXX, dXY
// and dYY are the tile's sums of squared gradients.
void Solve(TileFlow *pFlow, double dBX, double dBY) {
    const double dDamp = kFlat + kDamping * (pFlow->dXX + pFlow->dYY) / 2;
    const double dXX = pFlow->dXX + dDamp, dYY = pFlow->dYY + dDamp, dXY = pFlow->dXY;
    const double dDet = dXX * dYY - dXY * dXY;
    pFlow->dCol = (dBX * dYY - dBY * dXY) / dDet;
    pFlow->dRow = (dBY * dXX - dBX * dXY) / dDet;
    const double dLength = __builtin_sqrt(pFlow->dCol * pFlow->dCol + pFlow->dRow * pFlow->dRow);
    if (dLength <= kMostShift) return;
    pFlow->dCol *= kMostShift / dLength;
    pFlow->dRow *= kMostShift / dLength;
}

// The sum of squared differences that remains at the shift, as if it were neither damped nor limited.
double RemainingError(const TileFlow *pFlow, double dDifference) {
    const double c = pFlow->dCol, r = pFlow->dRow;
    const double d = dDifference - (c * c * pFlow->dXX + 2 * c * r * pFlow->dXY + r * r * pFlow->dYY);
    return d > 0 ? d : 0;
}

// Noise adds to the squared gradients, which makes every shift look smaller. The differences that
// remain tell how much.
void TakeNoiseOut(TileFlow *pFlow, double dRemaining) {
    const double dHalf = (pFlow->dXX + pFlow->dYY) / 2;
    const double dDet = pFlow->dXX * pFlow->dYY - pFlow->dXY * pFlow->dXY;
    const double dRoot = dHalf * dHalf - dDet;
    const double dWeaker = dHalf - __builtin_sqrt(dRoot > 0 ? dRoot : 0);
    double dNoise = dRemaining / kNoiseShare;
    if (dNoise > kMostNoise * dWeaker) dNoise = kMostNoise * dWeaker;
    pFlow->dXX -= dNoise;
    pFlow->dYY -= dNoise;
}

// From squared gradients to the inverse of the covariance of the shift.
void WeighFlow(TileFlow *pFlow) {
    const double dGradX = pFlow->dXX + kLeastGradient, dGradY = pFlow->dYY + kLeastGradient;
    const double dScale = kNoiseFactor * pFlow->dNoise / (dGradX * dGradY - pFlow->dXY * pFlow->dXY);
    const double dXX = dGradY * dScale + kModelError * kModelError;
    const double dYY = dGradX * dScale + kModelError * kModelError;
    const double dXY = -pFlow->dXY * dScale;
    const double dOne = 1 / (dXX * dYY - dXY * dXY);
    pFlow->dXX = dYY * dOne;
    pFlow->dYY = dXX * dOne;
    pFlow->dXY = -dXY * dOne;
}

void MeasureTile(const TileSums *pSums, int32_t lCol, int32_t lRow, TileFlow *pFlow) {
    const double dX = pSums->lX, dY = pSums->lY, dE = pSums->lE, dC = pSums->lC;
    pFlow->dXX = (pSums->lXX - dX * dX / kPixels) / 16;
    pFlow->dXY = (pSums->lXY - dX * dY / kPixels) / 16;
    pFlow->dYY = (pSums->lYY - dY * dY / kPixels) / 16;
    const double dBX = -(pSums->lXE - dX * dE / kPixels) / 4;
    const double dBY = -(pSums->lYE - dY * dE / kPixels) / 4;
    const double dDifference = pSums->lEE - dE * dE / kPixels;
    Solve(pFlow, dBX, dBY);
    const double dRemaining = RemainingError(pFlow, dDifference);
    TakeNoiseOut(pFlow, dRemaining);
    Solve(pFlow, dBX, dBY);
    pFlow->dNoise = dRemaining / kPixels + kLeastNoise;
    pFlow->dTexture = (pSums->lCC - dC * dC / kPixels) / kPixels;
    WeighFlow(pFlow);
    pFlow->dCol += lCol;
    pFlow->dRow += lRow;
}

void MeasureTileRow(const TileTask *pTask, int32_t lTileRow) {
    const TileGrid *pGrid = &pTask->stGrid;
    const int32_t lWidth = pTask->pCur->lWidth, lHeight = pTask->pCur->lHeight;
    const int32_t lY = pGrid->lY0 + lTileRow * pGrid->lStep;
    TileFlow *pFlow = pTask->pFlows + (ptrdiff_t)lTileRow * pTask->lRoom;
    for (int32_t i = FirstTile(pGrid, lTileRow); i < pGrid->lColumns; i += pGrid->lSparse, pFlow++) {
        const int32_t lX = pGrid->lX0 + i * pGrid->lStep;
        pFlow->dX = lX + (kTile - lWidth) * 0.5;
        pFlow->dY = lY + (kTile - lHeight) * 0.5;
        const int32_t lCol = Nearest(pTask->dCol - pTask->dTheta * pFlow->dY);
        const int32_t lRow = Nearest(pTask->dRow + pTask->dTheta * pFlow->dX);
        pFlow->dTexture = -1;
        if (lX + lCol < 1 || lX + lCol + kTile > lWidth - 1) continue;
        if (lY + lRow < 1 || lY + lRow + kTile > lHeight - 1) continue;
        TileSums stSums;
        pTask->pKernels->pTileSums(pTask->pCur->pPixels + (ptrdiff_t)lY * lWidth + lX,
                                   pTask->pPrev->pPixels + (ptrdiff_t)(lY + lRow) * lWidth + lX + lCol,
                                   lWidth, &stSums);
        MeasureTile(&stSums, lCol, lRow, pFlow);
    }
}

void *MeasureTileRows(void *pArgument) {
    TileTask *pTask = (TileTask *)pArgument;
    for (;;) {
        zekMEventWait(pTask->pEvent, -1);
        const int32_t lRow = pTask->lNextRow++;
        zekMEventSignal(pTask->pEvent);
        if (lRow >= pTask->stGrid.lRows) return nullptr;
        MeasureTileRow(pTask, lRow);
    }
}

} // namespace

int32_t MostTiles(int32_t lWidth, int32_t lHeight) {
    int32_t lMost = 1;
    for (int32_t lLevel = 0; lLevel < kMostLevels; lLevel++, lWidth >>= 1, lHeight >>= 1) {
        const bool bCoarsest = IsCoarsest(lWidth, lHeight);
        const TileGrid st = TileGridOf(lWidth, lHeight, lLevel, bCoarsest);
        lMost = Max32(lMost, st.lRows * TilesFrom(&st, 0));
        if (bCoarsest) break;
    }
    return lMost;
}

int32_t MeasureTiles(MVS_Context *pCtx, const Pyramid *pCurrent, const Pyramid *pPrevious,
                     int32_t lLevel, RigidMotion stMotion, TileFlow *pFlows) {
    const LumaLevel *pCur = &pCurrent->stLevels[lLevel];
    const double dScale = 1 << lLevel;
    TileTask stTask = {};
    stTask.pKernels = pCtx->pKernels;
    stTask.pCur = pCur;
    stTask.pPrev = &pPrevious->stLevels[lLevel];
    stTask.stGrid = TileGridOf(pCur->lWidth, pCur->lHeight, lLevel, lLevel + 1 == pCurrent->lLevels);
    stTask.dCol = stMotion.dCol / dScale;
    stTask.dRow = stMotion.dRow / dScale;
    stTask.dTheta = stMotion.dTheta;
    stTask.pFlows = pFlows;
    stTask.lRoom = TilesFrom(&stTask.stGrid, 0);
    stTask.pEvent = pCtx->pEvent;
    RunFrameTask(pCtx, MeasureTileRows, &stTask);
    int32_t lCount = 0;
    for (int32_t j = 0; j < stTask.stGrid.lRows; j++) {
        const int32_t lTiles = TilesFrom(&stTask.stGrid, FirstTile(&stTask.stGrid, j));
        for (int32_t i = 0; i < lTiles; i++) {
            const TileFlow *pFlow = pFlows + (ptrdiff_t)j * stTask.lRoom + i;
            if (pFlow->dTexture >= 0) pFlows[lCount++] = *pFlow;
        }
    }
    return lCount;
}
