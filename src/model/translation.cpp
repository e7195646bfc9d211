// SPDX-License-Identifier: BSD-2-Clause
// One translation from the block vectors: histograms, their medians, and the mean around the medians.
#include "model/model.h"

#include "model/votes.h"
#include "platform/fixed.h"

namespace {

Histogram View(int32_t *pBins, int32_t lLength, int32_t lRange) {
    const int64_t lBins = 2 * (int64_t)lRange + 1;
    return {pBins, lBins < 0 ? 0 : lBins < lLength ? (int32_t)lBins : lLength, lRange};
}

// The bin of a displacement, or -1 outside the histogram.
int32_t BinOf(const Histogram *pHist, int32_t lDisplacement) {
    const int64_t lBin = (int64_t)pHist->lRange + lDisplacement;
    return lBin < 0 || lBin >= pHist->lBins ? -1 : (int32_t)lBin;
}

// Mean displacement of the bins lMedian - lSpan .. lMedian + lSpan, Q10; bins outside are empty.
int32_t MeanAround(const Histogram *pHist, int32_t lMedian, int32_t lSpan) {
    int32_t lCount = 0, lSum = 0;
    for (int32_t k = Max32(lMedian - lSpan, 0); k <= lMedian + lSpan && k < pHist->lBins; k++) {
        lCount = WrapAdd32(lCount, pHist->pBins[k]);
        lSum = WrapAdd32(lSum, WrapMul32(k - pHist->lRange, pHist->pBins[k]));
    }
    return Quotient32(WrapMul32(lSum, 1024), lCount);
}

int32_t WithoutHalfPixel(int32_t lShift) { return lShift >= -512 && lShift <= 512 ? 0 : lShift; }

} // namespace

Votes CountVectors(MVS_Context *pCtx, const MVS_BlockMV *pBlockMV, int32_t lRangeRow,
                   int32_t lRangeCol) {
    Votes stVotes = {View(pCtx->pRowProj, pCtx->lRowProjLen, lRangeRow),
                     View(pCtx->pColProj, pCtx->lColProjLen, lRangeCol), 0, 0, 0};
    int32_t i = 0;
    do { // a frame without blocks has one record all the same
        if (pBlockMV[i].bValid) {
            const int32_t lRow = BinOf(&stVotes.stRow, pBlockMV[i].lMvRow);
            const int32_t lCol = BinOf(&stVotes.stCol, pBlockMV[i].lMvCol);
            if (lRow >= 0 && lCol >= 0) {
                stVotes.stRow.pBins[lRow]++;
                stVotes.stCol.pBins[lCol]++;
                stVotes.lCount++;
            }
        }
    } while (++i < pCtx->lBlockNum);
    stVotes.lMedianRow = GetMediumValue(stVotes.stRow.pBins, stVotes.stRow.lBins, stVotes.lCount);
    stVotes.lMedianCol = GetMediumValue(stVotes.stCol.pBins, stVotes.stCol.lBins, stVotes.lCount);
    return stVotes;
}

// Without a vote: the coarse shift of this frame, which the current motion still holds, times lScale.
MVS_ShiftTriple CoarseShift(const MVS_Context *pCtx, int32_t lScale) {
    return {WrapSub32(0, WrapMul32(pCtx->lCurMotionRow, lScale)),
            WrapSub32(0, WrapMul32(pCtx->lCurMotionCol, lScale)), 0};
}

int32_t GetMediumValue(const int32_t *pHist, int32_t lBinCount, int32_t lSampleCount) {
    int32_t lRemaining = WrapAdd32(lSampleCount, 1) >> 1;
    for (int32_t i = 0; i < lBinCount; i++) {
        lRemaining = WrapSub32(lRemaining, pHist[i]);
        if (lRemaining <= 0) return i;
    }
    return 0;
}

MVS_ShiftTriple GetPreciseShiftM2(MVS_Context *pCtx, const MVS_BlockMV *pBlockMV, int32_t lRangeRow,
                                  int32_t lRangeCol) {
    const Votes stVotes = CountVectors(pCtx, pBlockMV, lRangeRow, lRangeCol);
    if (!stVotes.lCount) return CoarseShift(pCtx, 1024);
    return {WithoutHalfPixel(MeanAround(&stVotes.stRow, stVotes.lMedianRow, 1)),
            WithoutHalfPixel(MeanAround(&stVotes.stCol, stVotes.lMedianCol, 1)), 1};
}

MVS_ShiftTriple GetPreciseShiftM3(MVS_Context *pCtx, const MVS_BlockMV *pBlockMV, int32_t lRangeRow,
                                  int32_t lRangeCol) {
    const Votes stVotes = CountVectors(pCtx, pBlockMV, lRangeRow, lRangeCol);
    if (!stVotes.lCount) return CoarseShift(pCtx, 1024);
    return {MeanAround(&stVotes.stRow, stVotes.lMedianRow, lRangeRow / 240),
            MeanAround(&stVotes.stCol, stVotes.lMedianCol, lRangeCol / 320), 1};
}
