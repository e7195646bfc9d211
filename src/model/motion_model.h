// SPDX-License-Identifier: BSD-2-Clause
// A model of the frame's motion, and the distance of a block's vector from it.
#pragma once

#include "context.h"
#include "kernels.h"
#include "platform/fixed.h"

struct MotionModel {
    int32_t lShiftRow, lShiftCol; // Q10 pixels
    int32_t lTheta;               // Q16 radians
};

// The model's vector in Q10 pixels, at an offset of whole pixels from the frame centre. Q16 radians
// times pixels, divided by 64, are Q10 pixels.
static inline int32_t ModelRow(const MotionModel *pModel, int32_t lDx) {
    return WrapAdd32(pModel->lShiftRow, WrapMul32(pModel->lTheta, lDx) / 64);
}
static inline int32_t ModelCol(const MotionModel *pModel, int32_t lDy) {
    return WrapSub32(pModel->lShiftCol, WrapMul32(pModel->lTheta, lDy) / 64);
}

// Vector minus model, Q10 pixels.
struct Residual {
    int32_t lRow, lCol;
};

static inline Residual ResidualOf(const MVS_BlockMV *pBlock, int32_t lModelRow, int32_t lModelCol) {
    return {WrapSub32(WrapMul32(pBlock->lMvRow, 1024), lModelRow),
            WrapSub32(WrapMul32(pBlock->lMvCol, 1024), lModelCol)};
}

// Q10 square pixels.
static inline int32_t SquaredError(Residual stResidual) {
    return (WrapMul32(stResidual.lRow, stResidual.lRow) >> 10) +
           (WrapMul32(stResidual.lCol, stResidual.lCol) >> 10);
}

// Searches the rotation with the least error from stModel.lTheta on, whose error is lError. The step
// starts at lStep and is halved while it is above lMinStep.
MVS_ThetaFit SearchTheta(const Kernels *pKernels, const MVS_BlockMV *pBlockMV, int32_t lWidth,
                         int32_t lHeight, MotionModel stModel, int32_t lError, int32_t lStep,
                         int32_t lMinStep);

// Squared error of the valid blocks, Q10 square pixels.
int32_t ModelError(const Kernels *pKernels, const MVS_BlockMV *pBlockMV, int32_t lWidth,
                   int32_t lHeight, MotionModel stModel);
