// SPDX-License-Identifier: BSD-2-Clause
#include "warp/block_warp.h"

#include "platform/fixed.h"
#include "warp/mapping_kernels.h"
#include "warp/strip.h"

namespace {

const int32_t kBlockColumnStep = 3584; // 3.5 samples, Q10: the only step that strips have taps for
const int32_t kSaneQ10 = 1 << 28;      // positions below this do not overflow within a row of blocks

// One row of blocks of a plane.
struct BlockRow {
    const Kernels *pKernels;
    const WarpPlane *pPlane;
    const WarpMap *pMap;
    uint8_t *pOut; // the row's first byte
    int32_t lRows; // output rows from here to the plane's end
    int32_t lColumns;
    int32_t r, c; // position of block 0, Q10
};

int32_t RowAt(const BlockRow *pRow, int32_t x) {
    return WrapAdd32(pRow->r, WrapMul32(pRow->pMap->lS, x));
}
int32_t ColAt(const BlockRow *pRow, int32_t x) {
    return WrapAdd32(pRow->c, WrapMul32(pRow->pMap->lZ, x));
}
Position RowPosition(const BlockRow *pRow, int32_t x) {
    return PositionOf(RowAt(pRow, x), pRow->pPlane->lInHeight - 5);
}
Position ColPosition(const BlockRow *pRow, int32_t x) {
    return PositionOf(ColAt(pRow, x), pRow->pPlane->lInWidth - 5);
}
const uint8_t *SourceAt(const WarpPlane *pPlane, Position stRow, Position stCol) {
    return pPlane->pIn + (ptrdiff_t)stRow.lBase * pPlane->lInStride +
           (ptrdiff_t)stCol.lBase * pPlane->lSampleBytes;
}

// Resamples one block, or the part of it that is inside the output plane.
void WarpBlock(const BlockRow *pRow, int32_t x) {
    const WarpPlane *pPlane = pRow->pPlane;
    const int32_t lStride = pPlane->lInStride, lStep = pPlane->lSampleBytes;
    const Position stRow = RowPosition(pRow, x), stCol = ColPosition(pRow, x);
    const uint8_t *pIn = SourceAt(pPlane, stRow, stCol);
    uint8_t *pOut = pRow->pOut + 4 * (ptrdiff_t)x * lStep;
    const int32_t lRows = Min32(pRow->lRows, 4), lCols = Min32(pPlane->lOutWidth - 4 * x, 4);
    const MappingKernel pKernel = kMappingKernels[lStep - 1][4 * stRow.lPhase + stCol.lPhase];
    for (int32_t i = 0; i < lStep; i++) {
        if (lRows == 4 && lCols == 4)
            pKernel(pIn + i, pOut + i, lStride);
        else
            MapBlockPart(pIn + i, pOut + i, lStride, lStep, stRow.lPhase, stCol.lPhase, lRows, lCols);
    }
}

// How many blocks from x on have the row and row phase of block x.
int32_t SameRow(const BlockRow *pRow, int32_t x) {
    const int32_t lLast = (pRow->pPlane->lInHeight - 5) << 10, s = pRow->pMap->lS, r = RowAt(pRow, x);
    if (s > 0) {
        if (r > lLast) return pRow->lColumns;
        const int32_t lNext = r < 0 ? 0 : (r | 255) + 1;
        return (lNext - r + s - 1) / s;
    }
    if (s < 0) {
        if (r < 0) return pRow->lColumns;
        return r > lLast ? (r - lLast - s - 1) / -s : (r & 255) / -s + 1;
    }
    return pRow->lColumns;
}

// How many blocks from x on have columns that need no clamp.
int32_t InsideColumns(const BlockRow *pRow, int32_t x) {
    const int32_t c = ColAt(pRow, x), lLast = (pRow->pPlane->lInWidth - 5) << 10;
    return c < 0 || c > lLast ? 0 : (lLast - c) / kBlockColumnStep + 1;
}

// How many steps from block x on neither read beyond the plane nor write beyond the row.
int32_t StepsInside(const BlockRow *pRow, int32_t x, const uint8_t *pIn) {
    const WarpPlane *pPlane = pRow->pPlane;
    const ptrdiff_t lReadable = pPlane->pIn + (ptrdiff_t)pPlane->lInHeight * pPlane->lInStride -
                                (pIn + 4 * (ptrdiff_t)pPlane->lInStride);
    const int32_t lWritable = (pPlane->lOutWidth - 4 * x) * pPlane->lSampleBytes;
    if (lReadable < QEL_STEP_READ || lWritable < QEL_STEP_OUT) return 0;
    const ptrdiff_t lReads = (lReadable - QEL_STEP_READ) / QEL_STEP_IN + 1;
    return lReads < lWritable / QEL_STEP_OUT ? (int32_t)lReads : lWritable / QEL_STEP_OUT;
}

// Resamples a strip from block x on and returns the number of its blocks, 0 where there is no room for
// a strip. The last step may also write the blocks after the strip, which are written again later.
int32_t WarpStrip(const BlockRow *pRow, int32_t x) {
    const WarpPlane *pPlane = pRow->pPlane;
    const int32_t lBlocks = Min32(Min32(SameRow(pRow, x), InsideColumns(pRow, x)), pRow->lColumns - x);
    if (lBlocks < 1) return 0;
    const Position stRow = RowPosition(pRow, x), stCol = ColPosition(pRow, x);
    const uint8_t *pIn = SourceAt(pPlane, stRow, stCol);
    const int32_t lStepBlocks = 4 / pPlane->lSampleBytes;
    const int32_t lSteps = Min32((lBlocks + lStepBlocks - 1) / lStepBlocks, StepsInside(pRow, x, pIn));
    if (lSteps < 1) return 0;
    pRow->pKernels->pStrip(pIn, pRow->pOut + 4 * (ptrdiff_t)x * pPlane->lSampleBytes, pPlane->lInStride,
                           stRow.lPhase, stCol.lPhase, pPlane->lSampleBytes, lSteps);
    return Min32(lBlocks, lSteps * lStepBlocks);
}

bool TakesStrips(const BlockRow *pRow) {
    const WarpMap *pMap = pRow->pMap;
    return pRow->lRows >= 4 && pMap->lZ == kBlockColumnStep && pMap->lS > -kSaneQ10 >> 13 &&
           pMap->lS < kSaneQ10 >> 13 && pRow->r > -kSaneQ10 && pRow->r < kSaneQ10 &&
           pRow->c > -kSaneQ10 && pRow->c < kSaneQ10;
}

// The kernels read 5x5 samples at phase 3, and have one stride for input and output.
bool FitsBlockWarp(const WarpPlane *pPlane) {
    return pPlane->lInStride == pPlane->lOutStride && pPlane->lInWidth >= 5 && pPlane->lInHeight >= 5;
}

} // namespace

WarpMap BlockMap(const WarpMap *pMap) {
    return {pMap->lR0, pMap->lC0, WrapMul32(4, pMap->lZ), WrapMul32(4, pMap->lS)};
}

void WarpBlockRows(const Kernels *pKernels, const WarpPlane *pPlane, const WarpMap *pMap,
                   int32_t lFirst, int32_t lEnd) {
    if (!FitsBlockWarp(pPlane)) return;
    lEnd = Min32(lEnd, BlockCount(pPlane->lOutHeight));
    for (int32_t y = Max32(lFirst, 0); y < lEnd; y++) {
        const BlockRow stRow = {pKernels,
                                pPlane,
                                pMap,
                                pPlane->pOut + 4 * (ptrdiff_t)y * pPlane->lOutStride,
                                pPlane->lOutHeight - 4 * y,
                                BlockCount(pPlane->lOutWidth),
                                WrapAdd32(pMap->lR0, WrapMul32(pMap->lZ, y)),
                                WrapSub32(pMap->lC0, WrapMul32(pMap->lS, y))};
        const bool bStrips = TakesStrips(&stRow);
        for (int32_t x = 0; x < stRow.lColumns;) {
            const int32_t lDone = bStrips ? WarpStrip(&stRow, x) : 0;
            if (!lDone) WarpBlock(&stRow, x);
            x += lDone ? lDone : 1;
        }
    }
}
