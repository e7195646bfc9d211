// SPDX-License-Identifier: BSD-2-Clause
// Histograms of the block vectors.
#pragma once

#include "context.h"

// One component of the vectors: bin k of the histogram counts the displacement k - lRange.
struct Histogram {
    int32_t *pBins;
    int32_t lBins; // of those 2 * lRange + 1 that exist
    int32_t lRange;
};

struct Votes {
    Histogram stRow, stCol;
    int32_t lMedianRow, lMedianCol; // bins
    int32_t lCount;
};

// Counts the valid vectors into the context's histograms and finds the medians.
Votes CountVectors(MVS_Context *pCtx, const MVS_BlockMV *pBlockMV, int32_t lRangeRow,
                   int32_t lRangeCol);

// Without a vote: the coarse shift of this frame, which the current motion still holds, times lScale.
MVS_ShiftTriple CoarseShift(const MVS_Context *pCtx, int32_t lScale);
