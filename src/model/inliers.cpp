// SPDX-License-Identifier: BSD-2-Clause
// The blocks that fit the model.
#include "model/model.h"
#include "model/motion_model.h"

namespace {

const int32_t kTolerance = 3096; // Q10 pixels, either component

bool IsInlier(Residual stResidual) {
    return stResidual.lRow > -kTolerance && stResidual.lRow < kTolerance &&
           stResidual.lCol > -kTolerance && stResidual.lCol < kTolerance;
}

} // namespace

int32_t CheckBlockMV(MVS_BlockMV *pBlockMV, int32_t lWidth, int32_t lHeight, int32_t lShiftRow,
                     int32_t lShiftCol, int32_t lTheta, int32_t *pInliers) {
    const MotionModel stModel = {lShiftRow, lShiftCol, lTheta};
    const int32_t lColumns = lWidth >> 5, lRows = lHeight >> 5;
    int64_t llError = 0;
    *pInliers = 0;
    for (int32_t r = 0; r < lRows; r++) {
        const int32_t lModelCol = ModelCol(&stModel, 32 * r + 16 - (lHeight >> 1));
        for (int32_t c = 0; c < lColumns; c++, pBlockMV++) {
            if (!pBlockMV->bValid) continue;
            const int32_t lModelRow = ModelRow(&stModel, 32 * c + 16 - (lWidth >> 1));
            const Residual stResidual = ResidualOf(pBlockMV, lModelRow, lModelCol);
            if (!IsInlier(stResidual)) {
                pBlockMV->bValid = 0;
                continue;
            }
            llError += SquaredError(stResidual);
            ++*pInliers;
        }
    }
    return Low32(llError);
}
