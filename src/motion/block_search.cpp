// SPDX-License-Identifier: BSD-2-Clause
// The search of one block: steepest descent by single pixels, and the test of the vector it finds.
#include "kernels.h"
#include "motion/motion.h"

#include "platform/fixed.h"

namespace {

const uint32_t kNoCost = 0x0FFFFFFF;
const uint32_t kFlat = 64; // texture of a block below this: less than one grey level a difference
const uint32_t kExactMatch = 16;

enum Move { kNone, kLeft, kRight, kUp, kDown };

struct Search {
    BlockSad pCost;
    int32_t lCostStride;
    const uint8_t *pCurBlock;
    const uint8_t *pOrigin; // the block's own place in the previous plane
    int32_t lY, lX;         // that place in pixels
    int32_t lWidth, lHeight;
    int32_t lBlockSize;
    uint32_t lGoodMatch;
    int32_t lRow, lCol; // vector
    uint32_t lBest, lSecond;
};

uint32_t CostAt(const Search *pSearch, int32_t lRow, int32_t lCol) {
    return pSearch->pCost(pSearch->pCurBlock,
                          pSearch->pOrigin + (ptrdiff_t)lRow * pSearch->lWidth + lCol,
                          pSearch->lCostStride);
}

// True when all samples of the block at (lY + lRow, lX + lCol) are in the plane. A pattern does not
// sample the last three rows of its block.
bool SamplesInside(const Search *pSearch, int32_t lRow, int32_t lCol, int32_t lLastRow,
                   int32_t lLastCol) {
    const int64_t lTop = (int64_t)pSearch->lY + lRow, lLeft = (int64_t)pSearch->lX + lCol;
    return lTop >= 0 && lTop <= pSearch->lHeight - 1 - lLastRow && lLeft >= 0 &&
           lLeft <= pSearch->lWidth - 1 - lLastCol;
}
bool Inside32(const Search *pSearch, int32_t lRow, int32_t lCol) {
    return SamplesInside(pSearch, lRow, lCol, 28, 31);
}
bool Inside16(const Search *pSearch, int32_t lRow, int32_t lCol) {
    return SamplesInside(pSearch, lRow, lCol, 12, 12);
}

bool Try(Search *pSearch, int32_t lRow, int32_t lCol) {
    const uint32_t lCost = CostAt(pSearch, lRow, lCol);
    if (lCost < pSearch->lBest) {
        pSearch->lSecond = pSearch->lBest;
        pSearch->lBest = lCost;
        return true;
    }
    if (lCost < pSearch->lSecond) pSearch->lSecond = lCost;
    return false;
}

// Moves by one pixel to the best neighbour, if it is better than the current position, but never
// onto the plane's last row or column.
Move StepOnce(Search *pSearch, Move eLast) {
    const int32_t lRow = pSearch->lRow, lCol = pSearch->lCol;
    const int32_t lTop = pSearch->lY + lRow, lLeft = pSearch->lX + lCol;
    Move eMove = kNone;
    if (lLeft >= 1 && eLast != kRight && Try(pSearch, lRow, lCol - 1)) eMove = kLeft;
    if (lLeft + pSearch->lBlockSize <= pSearch->lWidth - 2 && eLast != kLeft &&
        Try(pSearch, lRow, lCol + 1))
        eMove = kRight;
    if (lTop >= 1 && eLast != kDown && Try(pSearch, lRow - 1, lCol)) eMove = kUp;
    if (lTop + pSearch->lBlockSize <= pSearch->lHeight - 2 && eLast != kUp &&
        Try(pSearch, lRow + 1, lCol))
        eMove = kDown;
    pSearch->lCol += (eMove == kRight) - (eMove == kLeft);
    pSearch->lRow += (eMove == kDown) - (eMove == kUp);
    return eMove;
}

// Refuses a vector only when the block matches almost exactly but the minimum is not unique: the
// texture repeats there. A poor match is kept, because the model weighs it against all others.
MVS_BlockMV Verdict(const Search *pSearch) {
    const bool bUnique = pSearch->lSecond != pSearch->lBest;
    const bool bUsable =
        (pSearch->lBest <= pSearch->lGoodMatch && bUnique) || pSearch->lBest >= kExactMatch;
    return {bUsable ? 1 : 0, pSearch->lRow, pSearch->lCol};
}

// Takes a neighbour's vector when its cost is lower, unless samples would be outside the plane.
void TryPredictor(const MVS_Context *pCtx, Search *pSearch, ptrdiff_t lIndex) {
    if (lIndex < 0 || lIndex >= pCtx->lBlockNum) return;
    const MVS_BlockMV *pRecord = pCtx->pBlockMV + lIndex;
    if (!pRecord->bValid) return;
    if (pRecord->lMvRow == pSearch->lRow && pRecord->lMvCol == pSearch->lCol) return;
    if (!Inside32(pSearch, pRecord->lMvRow, pRecord->lMvCol)) return;
    const uint32_t lCost = CostAt(pSearch, pRecord->lMvRow, pRecord->lMvCol);
    if (lCost >= pSearch->lBest) return;
    pSearch->lBest = lCost;
    pSearch->lRow = pRecord->lMvRow;
    pSearch->lCol = pRecord->lMvCol;
}

} // namespace

MVS_BlockMV BlockLDME32(MVS_Context *pCtx, const uint8_t *pCurBlock, const uint8_t *pPrevBlock,
                        int32_t lBlockRow, int32_t lBlockCol, int32_t lBlockSize) {
    const int32_t lWidth = pCtx->lInWidth, lColumns = lWidth >> 5;
    Search stSearch = {};
    stSearch.pCost = pCtx->pKernels->pBlockSad32;
    stSearch.lCostStride = 4 * lWidth + 8;
    stSearch.pCurBlock = pCurBlock;
    stSearch.pOrigin = pPrevBlock;
    stSearch.lY = WrapMul32(32, lBlockRow);
    stSearch.lX = WrapMul32(32, lBlockCol);
    stSearch.lWidth = lWidth;
    stSearch.lHeight = pCtx->lInHeight;
    stSearch.lBlockSize = Max32(lBlockSize, 32); // the pattern needs the room of a whole block
    stSearch.lGoodMatch = (uint32_t)WrapMul32(8, lBlockSize);
    if (!Inside32(&stSearch, 0, 0) || pCtx->pKernels->pTexture32(pCurBlock, lWidth) < kFlat)
        return {0, 0, 0};
    stSearch.lRow = WrapSub32(0, pCtx->lCurMotionRow);
    stSearch.lCol = WrapSub32(0, pCtx->lCurMotionCol);
    if (!Inside32(&stSearch, stSearch.lRow, stSearch.lCol)) return {0, 0, 0};
    stSearch.lBest = CostAt(&stSearch, stSearch.lRow, stSearch.lCol);
    stSearch.lSecond = kNoCost;

    const ptrdiff_t lIndex = (ptrdiff_t)lBlockRow * lColumns + lBlockCol;
    if (lBlockRow > 0) TryPredictor(pCtx, &stSearch, lIndex - lColumns);
    if (lBlockCol > 0) TryPredictor(pCtx, &stSearch, lIndex - 1);
    if (lBlockRow > 0 && lBlockCol < lColumns - 1) TryPredictor(pCtx, &stSearch, lIndex - lColumns + 1);

    for (Move eMove = StepOnce(&stSearch, kNone); eMove != kNone;) eMove = StepOnce(&stSearch, eMove);
    return Verdict(&stSearch);
}

MVS_BlockMV BlockLDME16F0(MVS_Context *, const uint8_t *pCurBlock, const uint8_t *pCandStart,
                          int32_t lY, int32_t lX, int32_t lStartRow, int32_t lStartCol, int32_t lWidth,
                          int32_t lHeight) {
    Search stSearch = {};
    stSearch.pCost = GetSad16F0;
    stSearch.lCostStride = lWidth;
    stSearch.pCurBlock = pCurBlock;
    stSearch.lY = lY;
    stSearch.lX = lX;
    stSearch.lWidth = lWidth;
    stSearch.lHeight = lHeight;
    stSearch.lBlockSize = 16;
    stSearch.lGoodMatch = 256; // for a sample four times as much as with 32x32 blocks
    stSearch.lRow = lStartRow;
    stSearch.lCol = lStartCol;
    stSearch.lBest = kNoCost;
    stSearch.lSecond = kNoCost;
    if (!Inside16(&stSearch, 0, 0) || !Inside16(&stSearch, lStartRow, lStartCol)) return {0, 0, 0};
    stSearch.pOrigin = pCandStart - ((ptrdiff_t)lStartRow * lWidth + lStartCol);
    Try(&stSearch, lStartRow, lStartCol);
    for (Move eMove = StepOnce(&stSearch, kNone); eMove != kNone;) {
        if (WrapAbs32(stSearch.lCol) > lWidth >> 1 || WrapAbs32(stSearch.lRow) > lHeight >> 1)
            return {0, stSearch.lRow, stSearch.lCol};
        eMove = StepOnce(&stSearch, eMove);
    }
    return Verdict(&stSearch);
}
