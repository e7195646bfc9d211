// SPDX-License-Identifier: BSD-2-Clause
// The search over all blocks. Threads share the rows of the 32-pixel grid; the 16-pixel grid, of small
// frames, is searched by the calling thread.
#include "frame_task.h"
#include "motion/motion.h"
#include "platform/fixed.h"
#include "quorvel/memory.h"
#include "quorvel/threads.h"

namespace {

const int32_t kBlock = 32;
const int32_t kReportStep = 8;         // blocks between two reports of a row's progress
const int32_t kPrefetchDistance = 128; // pixels from a block to those that are prefetched

} // namespace

// A block reads the records of its neighbours above, above right and left. So each row reports its
// progress, and the row below stays two blocks behind: the records are those of a single thread. Rows
// are handed out from the top, and a thread finishes its row before it takes another one. The topmost
// unfinished row therefore waits for no other, and the search cannot lock up.
struct BlockSearchJob {
    MVS_Context *pCtx;
    const uint8_t *pCurFrame;
    const uint8_t *pPrevFrame;
    int32_t lX0, lX1; // searched block origins in pixels, both ends included
    int32_t lY0, lY1;
    int32_t lBlocks; // of a row
    void *pEvent;    // lock of lNextRow
    int32_t lNextRow;
};

namespace {

// First and last origin of the searched blocks along one axis. One block is left out at each end, and
// more of them on the side that the frame moved to.
void SearchedSpan(int32_t lSize, int32_t lShift, int32_t *pFirst, int32_t *pLast) {
    const int64_t lFirst = lShift < kBlock ? kBlock : ((int64_t)lShift & ~31) + kBlock;
    const int64_t lLimit = (lSize & ~31) - 2 * kBlock;
    const int64_t lReach = ((int64_t)lSize + lShift - kBlock) & ~31;
    const int64_t lLast = lReach < lLimit ? lReach : lLimit;
    *pFirst = lFirst > lSize ? lSize : (int32_t)lFirst;
    *pLast = lLast < -kBlock ? -kBlock : (int32_t)lLast;
}

// Prefetches what two of the next blocks read: the rows of the sparse pattern, and in the previous
// frame also the rows above and below them. These rows are too far apart for the hardware prefetcher.
// The address may be past the frame, because a prefetch cannot fault. (Always inlined: g++ drops calls
// of a function that seems to have no effect.)
__attribute__((always_inline)) inline void PrefetchBlocks(const BlockSearchJob *pJob, int64_t lOffset) {
    const int64_t lWidth = pJob->pCtx->lInWidth;
    const int64_t lCur = (int64_t)(uintptr_t)pJob->pCurFrame + lOffset + kPrefetchDistance;
    const int64_t lPrev = (int64_t)(uintptr_t)pJob->pPrevFrame + lOffset + kPrefetchDistance -
                          pJob->pCtx->lCurMotionRow * lWidth - pJob->pCtx->lCurMotionCol;
    for (int32_t y = 0; y < kBlock; y += 4) {
        __builtin_prefetch((const void *)(uintptr_t)(lCur + y * lWidth));
        for (int32_t k = -1; k <= 1; k++)
            __builtin_prefetch((const void *)(uintptr_t)(lPrev + (y + k) * lWidth));
    }
}

int32_t *ProgressOf(const BlockSearchJob *pJob, int32_t lRow) {
    return pJob->pCtx->pRowProgress + (ptrdiff_t)lRow * kProgressStride;
}

// The origin of the next row; a value beyond lY1 when none is left.
int32_t TakeRow(BlockSearchJob *pJob) {
    zekMEventWait(pJob->pEvent, -1);
    const int32_t lY = pJob->lNextRow;
    if (lY <= pJob->lY1) pJob->lNextRow = lY + kBlock;
    zekMEventSignal(pJob->pEvent);
    return lY;
}

} // namespace

void BlockME32F0_BlockMT(BlockSearchJob *pJob, int32_t lYStart, int32_t lYEnd) {
    MVS_Context *pCtx = pJob->pCtx;
    const int32_t lWidth = pCtx->lInWidth, lColumns = lWidth >> 5;
    const int32_t lBlocks = pJob->lBlocks;
    for (int32_t y = lYStart; y < lYEnd; y += kBlock) {
        const int32_t lRow = y >> 5;
        int32_t lAbove = y > pJob->lY0 ? 0 : lBlocks; // blocks of the row above known to be done
        for (int32_t i = 0; i < lBlocks; i++) {
            const int32_t x = pJob->lX0 + i * kBlock;
            const int32_t lNeeded = Min32(i + 2, lBlocks);
            if (lAbove < lNeeded)
                lAbove = AwaitProgress(pCtx->pWorkers, ProgressOf(pJob, lRow - 1), lNeeded);
            const ptrdiff_t lOffset = (ptrdiff_t)y * lWidth + x;
            if (i % 2 == 0) PrefetchBlocks(pJob, lOffset);
            pCtx->pBlockMV[(ptrdiff_t)lRow * lColumns + (x >> 5)] = BlockLDME32(
                pCtx, pJob->pCurFrame + lOffset, pJob->pPrevFrame + lOffset, lRow, x >> 5, kBlock);
            if ((i + 1) % kReportStep == 0 || i + 1 == lBlocks)
                ReportProgress(pCtx->pWorkers, ProgressOf(pJob, lRow), i + 1);
        }
    }
}

void *thread_BlockME32F0(void *pArgument) {
    BlockSearchJob *pJob = (BlockSearchJob *)pArgument;
    for (;;) {
        const int32_t lY = TakeRow(pJob);
        if (lY > pJob->lY1) return nullptr;
        BlockME32F0_BlockMT(pJob, lY, lY + kBlock);
    }
}

namespace {

void SearchRows(BlockSearchJob *pJob) {
    MVS_Context *pCtx = pJob->pCtx;
    for (int32_t y = pJob->lY0; y <= pJob->lY1; y += kBlock) *ProgressOf(pJob, y >> 5) = 0;
    pJob->lNextRow = pJob->lY0;
    zekMEventSignal(pJob->pEvent);
    RunFrameTask(pCtx, thread_BlockME32F0, pJob);
}

} // namespace

int32_t BlockME32F0(MVS_Context *pCtx, const uint8_t *pCurFrame, const uint8_t *pPrevFrame) {
    BlockSearchJob stJob = {};
    stJob.pEvent = pCtx->bInFrame ? pCtx->pEvent : zekMEventCreate(nullptr);
    if (!stJob.pEvent) return 0;
    MMemSet(pCtx->pBlockMV, 0, (uint32_t)(Max32(pCtx->lBlockNum, 0) * (int32_t)sizeof(MVS_BlockMV)));
    stJob.pCtx = pCtx;
    stJob.pCurFrame = pCurFrame;
    stJob.pPrevFrame = pPrevFrame;
    SearchedSpan(pCtx->lInHeight, pCtx->lCurMotionRow, &stJob.lY0, &stJob.lY1);
    SearchedSpan(pCtx->lInWidth, pCtx->lCurMotionCol, &stJob.lX0, &stJob.lX1);
    stJob.lBlocks = stJob.lX1 < stJob.lX0 ? 0 : ((stJob.lX1 - stJob.lX0) >> 5) + 1;
    const bool bSearch = stJob.lY0 <= stJob.lY1 && stJob.lBlocks > 0;
    if (bSearch) SearchRows(&stJob);
    if (!pCtx->bInFrame) zekMEventDestroy(nullptr, stJob.pEvent);
    return bSearch && CountValid(pCtx->pBlockMV, pCtx->lBlockNum) > pCtx->lBlockNum / 20;
}

int32_t BlockME16F0(MVS_Context *pCtx, const uint8_t *pCurFrame, const uint8_t *pPrevFrame) {
    const int32_t lWidth = pCtx->lInWidth, lHeight = pCtx->lInHeight;
    const int32_t lColumns = lWidth >> 4, lRows = lHeight >> 4;
    if (lRows < 1 || (int64_t)lColumns * lRows > pCtx->lBlockNum) return 0;
    const int32_t lStartRow = WrapSub32(0, pCtx->lCurMotionRow);
    const int32_t lStartCol = WrapSub32(0, pCtx->lCurMotionCol);
    MVS_BlockMV *pRecord = pCtx->pBlockMV;
    int32_t lCount = 0;
    for (int32_t y = 0; y < 16 * lRows; y += 16)
        for (int32_t x = 0; x < 16 * lColumns; x += 16, pRecord++) {
            const int64_t lTop = (int64_t)y + lStartRow, lLeft = (int64_t)x + lStartCol;
            if (lLeft < 0 || lLeft > lWidth - 16 || lTop < 0 || lTop > lHeight - 16) {
                pRecord->bValid = 0; // the vector keeps what the frame before left
                continue;
            }
            *pRecord = BlockLDME16F0(pCtx, pCurFrame + (ptrdiff_t)y * lWidth + x,
                                     pPrevFrame + (ptrdiff_t)(lTop * lWidth + lLeft), y, x, lStartRow,
                                     lStartCol, lWidth, lHeight);
            lCount += pRecord->bValid != 0;
        }
    return lCount > pCtx->lBlockNum / 20;
}
