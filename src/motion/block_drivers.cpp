// SPDX-License-Identifier: BSD-2-Clause
// All blocks of a frame: the 32-pixel grid shared out by rows, the 16-pixel grid on the calling thread.
#include "motion/motion.h"

#include "platform/fixed.h"
#include "platform/participants.h"
#include "quorvel/memory.h"
#include "quorvel/threads.h"

namespace {

const int32_t kBlock = 32;
const int32_t kMaxRows = 16384 / kBlock;
const int32_t kSpins = 256; // some microseconds: the row above is being worked on, if its thread runs
const int32_t kLongSpins = 1024; // a lead of the widest rows and more
const int32_t kStride = 8; // blocks between two looks at the row above, and two marks for the row below
const int32_t kAhead = 128; // pixels from a block to those that are fetched early
const int32_t kLead = 16;   // blocks: five microseconds, and a multiple of kStride

} // namespace

// A block's predictors come from the row above, so each row publishes how far it is and the row below
// keeps behind it. The records are then those of one thread working row after row, with any number of
// participants. Rows are taken in order and finished before the next is asked for: the lowest
// unfinished row never waits, so the job always completes.
struct RowMark { // two rows' threads write these at once: each has a cache line of its own
    alignas(64) int32_t lDone; // finished blocks, read and written atomically
};

struct BlockSearchJob {
    MVS_Context *pCtx;
    const uint8_t *pCurFrame;
    const uint8_t *pPrevFrame;
    int32_t lX0, lX1; // searched block origins in pixels, both ends included
    int32_t lY0, lY1;
    int32_t lBlocks; // of a row
    int32_t lLead;   // a row's start over the one below it: kLead, or all of a shorter row
    void *pEvent;    // lock of lNextRow
    int32_t lNextRow;
    RowMark stRow[kMaxRows];
    Gate stGate; // of those who wait for the row above
};

namespace {

struct RowDone {
    const RowMark *pRow;
    int32_t lCount; // at least
};

bool IsDone(const void *pWhat) {
    const RowDone *pDone = (const RowDone *)pWhat;
    return __atomic_load_n(&pDone->pRow->lDone, __ATOMIC_SEQ_CST) >= pDone->lCount;
}

// Sleepers are woken when a row is another lead further and at its end: a wake-up costs more than many
// blocks, and who wakes late finds many blocks to do.
void Publish(BlockSearchJob *pJob, RowMark *pRow, int32_t lCount) {
    if (lCount != pJob->lBlocks && lCount % kStride != 0) return;
    __atomic_store_n(&pRow->lDone, lCount, __ATOMIC_SEQ_CST);
    if (lCount != pJob->lBlocks && lCount % pJob->lLead != 0) return;
    WakeSleepers(&pJob->stGate);
}

// Blocks of a row that are done, at least lCount.
int32_t AwaitCount(BlockSearchJob *pJob, const RowMark *pRow, int32_t lCount) {
    const RowDone st = {pRow, lCount};
    WaitUntil(&pJob->stGate, IsDone, &st, kSpins);
    return __atomic_load_n(&pRow->lDone, __ATOMIC_ACQUIRE);
}

// The origin of the next row, once the row above has a lead; a value beyond lY1 when none is left, or
// when the row above does not come on. A row that is taken too early only makes its thread wait, and
// the next one's with it. So the participant leaves: at least the one who has the last row stays, and
// finds the row above finished when it asks for the next.
int32_t TakeRow(BlockSearchJob *pJob) {
    const int32_t lEnd = pJob->lY1 + kBlock;
    for (;;) {
        zekMEventWait(pJob->pEvent, -1);
        const int32_t lY = pJob->lNextRow;
        const RowMark *pAbove = lY > pJob->lY0 ? &pJob->stRow[(lY >> 5) - 1] : nullptr;
        const bool bReady = !pAbove || __atomic_load_n(&pAbove->lDone, __ATOMIC_ACQUIRE) >= pJob->lLead;
        if (bReady && lY < lEnd) pJob->lNextRow = lY + kBlock;
        zekMEventSignal(pJob->pEvent);
        if (bReady || lY >= lEnd) return lY;
        const RowDone stLead = {pAbove, pJob->lLead};
        if (!SpinUntil(IsDone, &stLead, kLongSpins)) return lEnd;
    }
}

// First and last searched origin along one axis: the outermost blocks are left out, one at the start
// and two at the end, and more on the side that the frame moved to.
void SearchedSpan(int32_t lSize, int32_t lShift, int32_t *pFirst, int32_t *pLast) {
    const int64_t lFirst = lShift < kBlock ? kBlock : ((int64_t)lShift & ~31) + kBlock;
    const int64_t lLimit = (lSize & ~31) - 2 * kBlock;
    const int64_t lReach = ((int64_t)lSize + lShift - kBlock) & ~31;
    const int64_t lLast = lReach < lLimit ? lReach : lLimit;
    *pFirst = lFirst > lSize ? lSize : (int32_t)lFirst;
    *pLast = lLast < -kBlock ? -kBlock : (int32_t)lLast;
}

// What two blocks a little further will read first: the rows of the sparse pattern, and in the frame
// before also those above and below, since the search looks there from where the coarse shift points.
// Rows of a frame lie too far apart for the processor to see it coming. Beyond the frame's end it is no
// read. (As a function of its own g++ takes it for one without effect, and drops the call.)
__attribute__((always_inline)) inline void PrefetchBlocks(const BlockSearchJob *pJob, int64_t lOffset) {
    const int64_t lWidth = pJob->pCtx->lInWidth;
    const int64_t lCur = (int64_t)(uintptr_t)pJob->pCurFrame + lOffset + kAhead;
    const int64_t lPrev = (int64_t)(uintptr_t)pJob->pPrevFrame + lOffset + kAhead -
                          pJob->pCtx->lCurMotionRow * lWidth - pJob->pCtx->lCurMotionCol;
    for (int32_t y = 0; y < kBlock; y += 4) {
        __builtin_prefetch((const void *)(uintptr_t)(lCur + y * lWidth));
        for (int32_t k = -1; k <= 1; k++)
            __builtin_prefetch((const void *)(uintptr_t)(lPrev + (y + k) * lWidth));
    }
}

int32_t CountValid(const BlockSearchJob *pJob) {
    const int32_t lColumns = pJob->pCtx->lInWidth >> 5;
    int32_t lCount = 0;
    for (int32_t y = pJob->lY0 >> 5; y <= pJob->lY1 >> 5; y++)
        for (int32_t x = pJob->lX0 >> 5; x <= pJob->lX1 >> 5; x++)
            lCount += pJob->pCtx->pBlockMV[(ptrdiff_t)y * lColumns + x].bValid != 0;
    return lCount;
}

} // namespace

void BlockME32F0_BlockMT(BlockSearchJob *pJob, int32_t lYStart, int32_t lYEnd) {
    MVS_Context *pCtx = pJob->pCtx;
    const int32_t lWidth = pCtx->lInWidth, lColumns = lWidth >> 5;
    const int32_t lBlocks = pJob->lBlocks;
    for (int32_t y = lYStart; y < lYEnd; y += kBlock) {
        const int32_t lRow = y >> 5;
        int32_t lAbove = y > pJob->lY0 ? 0 : lBlocks; // blocks there that are known to be done
        for (int32_t i = 0; i < lBlocks; i++) {
            const int32_t x = pJob->lX0 + i * kBlock;
            const int32_t lNeeded = Min32(i + 2, lBlocks);
            if (lAbove < lNeeded) lAbove = AwaitCount(pJob, &pJob->stRow[lRow - 1], lNeeded);
            const ptrdiff_t lOffset = (ptrdiff_t)y * lWidth + x;
            if (i % 2 == 0) PrefetchBlocks(pJob, lOffset);
            pCtx->pBlockMV[(ptrdiff_t)lRow * lColumns + (x >> 5)] = BlockLDME32(
                pCtx, pJob->pCurFrame + lOffset, pJob->pPrevFrame + lOffset, lRow, x >> 5, kBlock);
            Publish(pJob, &pJob->stRow[lRow], i + 1);
        }
    }
}

void *thread_BlockME32F0(void *pArgument) {
    BlockSearchJob *pJob = (BlockSearchJob *)pArgument;
    const int32_t lEnd = pJob->lY1 + kBlock;
    for (;;) {
        const int32_t lY = TakeRow(pJob);
        if (lY >= lEnd) return nullptr;
        BlockME32F0_BlockMT(pJob, lY, lY + kBlock);
    }
}

namespace {

// One participant alone never waits, and needs nothing to sleep on.
void SearchRows(BlockSearchJob *pJob) {
    if (!MakeGate(&pJob->stGate)) {
        thread_BlockME32F0(pJob);
        return;
    }
    ShareJob(pJob->pCtx->pCrew, thread_BlockME32F0, pJob, pJob->pCtx->lInLumaSize, false);
    DropGate(&pJob->stGate);
}

} // namespace

int32_t BlockME32F0(MVS_Context *pCtx, const uint8_t *pCurFrame, const uint8_t *pPrevFrame) {
    BlockSearchJob stJob = {};
    stJob.pEvent = zekMEventCreate(nullptr);
    if (!stJob.pEvent) return 0;
    zekMEventSignal(stJob.pEvent);
    MMemSet(pCtx->pBlockMV, 0, (uint32_t)(Max32(pCtx->lBlockNum, 0) * (int32_t)sizeof(MVS_BlockMV)));

    stJob.pCtx = pCtx;
    stJob.pCurFrame = pCurFrame;
    stJob.pPrevFrame = pPrevFrame;
    SearchedSpan(pCtx->lInHeight, pCtx->lCurMotionRow, &stJob.lY0, &stJob.lY1);
    SearchedSpan(pCtx->lInWidth, pCtx->lCurMotionCol, &stJob.lX0, &stJob.lX1);
    stJob.lNextRow = stJob.lY0;
    stJob.lBlocks = stJob.lX1 < stJob.lX0 ? 0 : ((stJob.lX1 - stJob.lX0) >> 5) + 1;
    stJob.lLead = Min32(kLead, stJob.lBlocks);
    int32_t lResult = 0;
    if (stJob.lY0 <= stJob.lY1 && stJob.lX0 <= stJob.lX1) {
        SearchRows(&stJob);
        lResult = CountValid(&stJob) > pCtx->lBlockNum / 20;
    }
    zekMEventDestroy(nullptr, stJob.pEvent);
    return lResult;
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
