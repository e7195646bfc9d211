// SPDX-License-Identifier: BSD-2-Clause
// Exported functions that frame calls do not use.
#include "model/model.h"
#include "model/motion_model.h"
#include "model/votes.h"

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

MVS_ShiftTriple GetPreciseShiftM1(MVS_Context *pCtx, const MVS_BlockMV *pBlockMV, int32_t lRangeRow,
                                  int32_t lRangeCol) {
    const Votes stVotes = CountVectors(pCtx, pBlockMV, lRangeRow, lRangeCol);
    if (!stVotes.lCount) return CoarseShift(pCtx, 1);
    return {stVotes.lMedianRow - lRangeRow, stVotes.lMedianCol - lRangeCol, 1};
}
