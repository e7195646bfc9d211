// SPDX-License-Identifier: BSD-2-Clause
// Exported functions that no frame passes.
#include "model/model.h"
#include "model/motion_model.h"

int32_t GetLSEError(const MVS_BlockMV *pBlockMV, int32_t lWidth, int32_t lHeight, int32_t lShiftRow,
                    int32_t lShiftCol, int32_t lTheta) {
    return ModelError(ProcessorKernels(), pBlockMV, lWidth, lHeight, {lShiftRow, lShiftCol, lTheta});
}

MVS_ThetaFit EstimateTheta(const MVS_BlockMV *pBlockMV, int32_t lWidth, int32_t lHeight,
                           int32_t lShiftRow, int32_t lShiftCol, int32_t lTheta, int32_t lError,
                           int32_t lStep, int32_t lMinStep) {
    return SearchTheta(ProcessorKernels(), pBlockMV, lWidth, lHeight, {lShiftRow, lShiftCol, lTheta},
                       lError, lStep, lMinStep);
}
