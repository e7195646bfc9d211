// SPDX-License-Identifier: BSD-2-Clause
// Histograms of the block vectors.
#pragma once

#include "context.h"

// One component of the vectors: bin k of the histogram counts the displacement k - lRange.
struct Histogram {
    int32_t *pBins;
    int32_t lBins; // 2 * lRange + 1, or as many as there is room for
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

// For frames without a valid vector: the coarse shift, which is still in lCurMotion*, times lScale.
MVS_ShiftTriple CoarseShift(const MVS_Context *pCtx, int32_t lScale);
