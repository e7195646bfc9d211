// SPDX-License-Identifier: BSD-2-Clause
// Global motion model: one translation and one rotation for the frame, from its block vectors.
//
// Translations are Q10 pixels, rotations Q16 radians, row before column.
#pragma once

#include "context.h"
#include "quorvel/export.h"

// No slope in a block row; no error on a side of the rotation search.
#define QEL_NOT_MEASURED 16777215

// ---- translation ----

// Median: the first bin where the cumulative count reaches (lSampleCount + 1) >> 1; 0 when none does.
QEL_API int32_t GetMediumValue(const int32_t *pHist, int32_t lBinCount, int32_t lSampleCount);

// Histograms of both components (cleared by the caller), their medians, and the mean around the
// medians. M3 takes the mean over a span that grows with the frame. M2 takes it over three bins, and
// sets up to half a pixel to 0. M1 returns the medians themselves, in whole pixels. Without a valid
// block all three return the coarse shift, with bShiftValid 0.
QEL_API MVS_ShiftTriple GetPreciseShiftM1(MVS_Context *pCtx, const MVS_BlockMV *pBlockMV,
                                          int32_t lRangeRow, int32_t lRangeCol);
QEL_API MVS_ShiftTriple GetPreciseShiftM2(MVS_Context *pCtx, const MVS_BlockMV *pBlockMV,
                                          int32_t lRangeRow, int32_t lRangeCol);
QEL_API MVS_ShiftTriple GetPreciseShiftM3(MVS_Context *pCtx, const MVS_BlockMV *pBlockMV,
                                          int32_t lRangeRow, int32_t lRangeCol);

// ---- rotation ----

// For the 32-pixel grid: the mean of the least-squares slopes of the block rows.
QEL_API int32_t GetTheta32(const MVS_BlockMV *pBlockMV, int32_t lWidth, int32_t lHeight);

// For the 16-pixel grid: the median of the blocks' angles, in 1/1024 radian.
QEL_API int32_t GetTheta16(const MVS_BlockMV *pBlockMV, int32_t lWidth, int32_t lHeight,
                           int32_t lShiftRow, int32_t lShiftCol);

// Least-squares slope of row displacement over column position, Q16; QEL_NOT_MEASURED without an entry.
QEL_API int32_t CalculateThetaRow(const int32_t *pRowDisp, const int32_t *pColPos,
                                  const int32_t *pValid, int32_t lCount);

// Inserts into an ascending list (its count, then its values), before equal values.
QEL_API void SortPush(int32_t *pList, int32_t lValue);

// ---- inliers of a model, on the 32-pixel grid ----

// Drops the blocks that are off by 3096 (Q10, about three pixels) or more in either component. Returns
// the squared error of the inliers, and their number in *pInliers.
QEL_API int32_t CheckBlockMV(MVS_BlockMV *pBlockMV, int32_t lWidth, int32_t lHeight, int32_t lShiftRow,
                             int32_t lShiftCol, int32_t lTheta, int32_t *pInliers);

// Squared error of the valid blocks.
QEL_API int32_t GetLSEError(const MVS_BlockMV *pBlockMV, int32_t lWidth, int32_t lHeight,
                            int32_t lShiftRow, int32_t lShiftCol, int32_t lTheta);

// Searches the rotation with the least error. The step starts at lStep and is halved while it is above
// lMinStep.
QEL_API MVS_ThetaFit EstimateTheta(const MVS_BlockMV *pBlockMV, int32_t lWidth, int32_t lHeight,
                                   int32_t lShiftRow, int32_t lShiftCol, int32_t lTheta, int32_t lError,
                                   int32_t lStep, int32_t lMinStep);

// ---- drivers: pBlockMV to lCurMotionRow/Col/Theta; always 1 ----

QEL_API int32_t GetGlobalMotionM1(MVS_Context *pCtx);
QEL_API int32_t GetGlobalMotionM3(MVS_Context *pCtx);
