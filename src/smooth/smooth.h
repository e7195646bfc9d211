// SPDX-License-Identifier: BSD-2-Clause
// Motion smoothing: from the measured camera path to the compensation of each frame.
//
// A filter for each axis follows the accumulated path. The frame is moved by smoothed minus measured
// path. Translations are Q10 pixels, rotations Q16 radians, row before column.
#pragma once

#include "context.h"
#include "quorvel/export.h"

// Starting state of all three filters, from the crop margins and the output size.
QEL_API void InitKalmanFilter(MVS_Context *pCtx);

// InitKalmanFilter, and the compensation of a frame without motion: {0, 0, 0}.
QEL_API MVS_MotionTriple ResetGmvQueue(MVS_Context *pCtx);

// Advances the filters by one measured motion; returns smoothed minus measured path.
QEL_API MVS_MotionTriple KalmanFilterOnePos(MVS_Context *pCtx, int32_t lRow, int32_t lCol,
                                            int32_t lTheta);

// Keeps a measured and a smoothed position within +-262142 without changing their difference.
QEL_API void CheckKFPos(int64_t *pMeasPos, int64_t *pPos);

// KalmanFilterOnePos, limited so that the moved and rotated crop stays within the margins.
QEL_API MVS_MotionTriple AddGmvQueueM3(MVS_Context *pCtx, int32_t lRow, int32_t lCol, int32_t lTheta);

// Adjusts the filters after the compensation lOld* was limited to lNew*.
QEL_API void ReviseKFCurPos(int32_t lNewRow, int32_t lNewCol, int32_t lNewTheta, int32_t lOldRow,
                            int32_t lOldCol, int32_t lOldTheta, MVS_Context *pCtx);

// From lCurMotion* to lComp*. The filters are reset unless bValid is 1. Always returns 1.
QEL_API int32_t SmoothGlobalMotionM3(MVS_Context *pCtx, int32_t bValid);
