// SPDX-License-Identifier: BSD-2-Clause
// The sum that the rotation search forms a dozen times a frame over all blocks.
#pragma once

#include "context.h"

// Squared error of the valid ones of lCount blocks side by side. Along a row of blocks the model's rows
// differ (pModelRow, one a block) and its column is the same; Q10 pixels.
typedef int64_t (*ErrorOfRow)(const MVS_BlockMV *pBlockMV, int32_t lCount, const int32_t *pModelRow,
                              int32_t lModelCol);

// Blocks that the twins take at most: sums of so many fit 32 bits a lane.
const int32_t kErrorBlocks = 256;

struct ModelledBlocks {
    const MVS_BlockMV *pBlockMV;
    int32_t lWidth, lHeight; // of the frame in pixels
    ErrorOfRow pErrorOfRow;
};

struct MotionModel {
    int32_t lShiftRow, lShiftCol; // Q10 pixels
    int32_t lTheta;               // Q16 radians
};

// EstimateTheta with kernels of choice.
MVS_ThetaFit SearchTheta(const ModelledBlocks &stBlocks, const MotionModel &stModel, int32_t lError,
                         int32_t lStep, int32_t lMinStep);

ErrorOfRow ErrorOfRowAt(CpuLevel eLevel);

int64_t ErrorOfRowPortable(const MVS_BlockMV *pBlockMV, int32_t lCount, const int32_t *pModelRow,
                           int32_t lModelCol);
int64_t ErrorOfRowAvx2(const MVS_BlockMV *pBlockMV, int32_t lCount, const int32_t *pModelRow,
                       int32_t lModelCol);
int64_t ErrorOfRowNeon(const MVS_BlockMV *pBlockMV, int32_t lCount, const int32_t *pModelRow,
                       int32_t lModelCol);
