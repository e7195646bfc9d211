// SPDX-License-Identifier: BSD-2-Clause
// Global motion model: one translation and one rotation for the frame, from its block vectors.
//
// Translations are Q10 pixels, rotations Q16 radians, row before column.
#pragma once

#include "context.h"
#include "quorvel/export.h"

// Marks a block row without a slope, and a side of the rotation search that was not probed.
#define QEL_NOT_MEASURED 16777215

// ---- translation ----

// Smallest bin at which the cumulated count reaches (lSampleCount + 1) >> 1; 0 when none does.
QEL_API int32_t GetMediumValue(const int32_t *pHist, int32_t lBinCount, int32_t lSampleCount);

// Histograms of both components (cleared by the caller), their medians, and the mean around them. M3:
// over a span that grows with the frame; M2: over three bins, with a dead zone of half a pixel; M1: the
// medians themselves, in whole pixels. Without a valid block the coarse shift, bShiftValid 0.
QEL_API MVS_ShiftTriple GetPreciseShiftM1(MVS_Context *pCtx, const MVS_BlockMV *pBlockMV,
                                          int32_t lRangeRow, int32_t lRangeCol);
QEL_API MVS_ShiftTriple GetPreciseShiftM2(MVS_Context *pCtx, const MVS_BlockMV *pBlockMV,
                                          int32_t lRangeRow, int32_t lRangeCol);
QEL_API MVS_ShiftTriple GetPreciseShiftM3(MVS_Context *pCtx, const MVS_BlockMV *pBlockMV,
                                          int32_t lRangeRow, int32_t lRangeCol);

// ---- rotation ----

// 32-pixel grid: mean over the block rows of the least-squares slope of each.
QEL_API int32_t GetTheta32(const MVS_BlockMV *pBlockMV, int32_t lWidth, int32_t lHeight);

// 16-pixel grid: median of one angle a block, in units of 1/1024 radian.
QEL_API int32_t GetTheta16(const MVS_BlockMV *pBlockMV, int32_t lWidth, int32_t lHeight,
                           int32_t lShiftRow, int32_t lShiftCol);

// Least-squares slope of row displacement over column position, Q16; QEL_NOT_MEASURED without an entry.
QEL_API int32_t CalculateThetaRow(const int32_t *pRowDisp, const int32_t *pColPos,
                                  const int32_t *pValid, int32_t lCount);

// Inserts into an ascending list (its count, then its values), before equal values.
QEL_API void SortPush(int32_t *pList, int32_t lValue);

// ---- agreement of the blocks with a model, on the 32-pixel grid ----

// Drops the blocks that are 3096 (Q10, about three pixels) or more away in either component. Returns
// the squared error of the others and their number.
QEL_API int32_t CheckBlockMV(MVS_BlockMV *pBlockMV, int32_t lWidth, int32_t lHeight, int32_t lShiftRow,
                             int32_t lShiftCol, int32_t lTheta, int32_t *pInliers);

// Squared error of the valid blocks.
QEL_API int32_t GetLSEError(const MVS_BlockMV *pBlockMV, int32_t lWidth, int32_t lHeight,
                            int32_t lShiftRow, int32_t lShiftCol, int32_t lTheta);

// Searches the rotation of least error in steps from lStep down to just above lMinStep.
QEL_API MVS_ThetaFit EstimateTheta(const MVS_BlockMV *pBlockMV, int32_t lWidth, int32_t lHeight,
                                   int32_t lShiftRow, int32_t lShiftCol, int32_t lTheta, int32_t lError,
                                   int32_t lStep, int32_t lMinStep);

// ---- drivers: pBlockMV to lCurMotionRow/Col/Theta; always 1 ----

QEL_API int32_t GetGlobalMotionM1(MVS_Context *pCtx);
QEL_API int32_t GetGlobalMotionM3(MVS_Context *pCtx);
