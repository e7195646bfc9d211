// SPDX-License-Identifier: BSD-2-Clause
// How well the block vectors agree with a model of translation and rotation.
#include "model/model.h"

#include "model/error_kernels.h"
#include "platform/fixed.h"

namespace {

const int32_t kTolerance = 3096; // Q10 pixels, either component

struct Residual {
    int32_t lRow, lCol; // Q10 pixels
};

// The model's vector at (lDy, lDx) whole pixels from the frame centre. Q16 radians times pixels,
// divided by 64, are Q10 pixels.
int32_t RowAt(const MotionModel *pModel, int32_t lDx) {
    return WrapAdd32(pModel->lShiftRow, WrapMul32(pModel->lTheta, lDx) / 64);
}
int32_t ColAt(const MotionModel *pModel, int32_t lDy) {
    return WrapSub32(pModel->lShiftCol, WrapMul32(pModel->lTheta, lDy) / 64);
}

Residual ResidualAt(const MVS_BlockMV *pBlock, const MotionModel *pModel, int32_t lDy, int32_t lDx) {
    return {WrapSub32(WrapMul32(pBlock->lMvRow, 1024), RowAt(pModel, lDx)),
            WrapSub32(WrapMul32(pBlock->lMvCol, 1024), ColAt(pModel, lDy))};
}

int64_t SquaredError(Residual st) {
    return (int64_t)(WrapMul32(st.lRow, st.lRow) >> 10) + (WrapMul32(st.lCol, st.lCol) >> 10);
}

bool Agrees(Residual st) {
    return st.lRow > -kTolerance && st.lRow < kTolerance && st.lCol > -kTolerance &&
           st.lCol < kTolerance;
}

int32_t ErrorOf(const ModelledBlocks &stBlocks, const MotionModel &stModel) {
    const int32_t lColumns = stBlocks.lWidth >> 5, lRows = stBlocks.lHeight >> 5;
    int32_t lModelRow[kErrorBlocks];
    int64_t llError = 0;
    for (int32_t c = 0; c < lColumns; c += kErrorBlocks) {
        const int32_t lCount = Min32(lColumns - c, kErrorBlocks);
        for (int32_t i = 0; i < lCount; i++)
            lModelRow[i] = RowAt(&stModel, 32 * (c + i) + 16 - (stBlocks.lWidth >> 1));
        for (int32_t r = 0; r < lRows; r++)
            llError +=
                stBlocks.pErrorOfRow(stBlocks.pBlockMV + (ptrdiff_t)r * lColumns + c, lCount, lModelRow,
                                     ColAt(&stModel, 32 * r + 16 - (stBlocks.lHeight >> 1)));
    }
    return Low32(llError);
}

} // namespace

int32_t CheckBlockMV(MVS_BlockMV *pBlockMV, int32_t lWidth, int32_t lHeight, int32_t lShiftRow,
                     int32_t lShiftCol, int32_t lTheta, int32_t *pInliers) {
    const MotionModel stModel = {lShiftRow, lShiftCol, lTheta};
    const int32_t lColumns = lWidth >> 5, lRows = lHeight >> 5;
    int64_t llError = 0;
    *pInliers = 0;
    for (int32_t r = 0; r < lRows; r++)
        for (int32_t c = 0; c < lColumns; c++, pBlockMV++) {
            if (!pBlockMV->bValid) continue;
            const Residual st = ResidualAt(pBlockMV, &stModel, 32 * r + 16 - (lHeight >> 1),
                                           32 * c + 16 - (lWidth >> 1));
            if (!Agrees(st)) {
                pBlockMV->bValid = 0;
                continue;
            }
            llError += SquaredError(st);
            ++*pInliers;
        }
    return Low32(llError);
}

int32_t GetLSEError(const MVS_BlockMV *pBlockMV, int32_t lWidth, int32_t lHeight, int32_t lShiftRow,
                    int32_t lShiftCol, int32_t lTheta) {
    return ErrorOf({pBlockMV, lWidth, lHeight, ErrorOfRowPortable}, {lShiftRow, lShiftCol, lTheta});
}

MVS_ThetaFit EstimateTheta(const MVS_BlockMV *pBlockMV, int32_t lWidth, int32_t lHeight,
                           int32_t lShiftRow, int32_t lShiftCol, int32_t lTheta, int32_t lError,
                           int32_t lStep, int32_t lMinStep) {
    return SearchTheta({pBlockMV, lWidth, lHeight, ErrorOfRowPortable}, {lShiftRow, lShiftCol, lTheta},
                       lError, lStep, lMinStep);
}

MVS_ThetaFit SearchTheta(const ModelledBlocks &stBlocks, const MotionModel &stModel, int32_t lError,
                         int32_t lStep, int32_t lMinStep) {
    const int32_t lShiftRow = stModel.lShiftRow, lShiftCol = stModel.lShiftCol;
    int32_t lTheta = stModel.lTheta;
    enum { kAny, kUpward, kDownward } eLast = kAny;
    int32_t lBest = lError;
    do {
        bool bAgain;
        do {
            bAgain = false;
            const int32_t lUp = WrapAdd32(lTheta, lStep), lDown = WrapSub32(lTheta, lStep);
            int32_t lErrorUp = QEL_NOT_MEASURED, lErrorDown = QEL_NOT_MEASURED;
            if (eLast != kDownward) lErrorUp = ErrorOf(stBlocks, {lShiftRow, lShiftCol, lUp});
            if (eLast != kUpward) lErrorDown = ErrorOf(stBlocks, {lShiftRow, lShiftCol, lDown});
            if (lErrorUp < lErrorDown && lErrorUp < lBest) {
                lTheta = lUp;
                lBest = lErrorUp;
                eLast = kUpward;
            } else if (lErrorDown < lErrorUp && lErrorDown < lBest) {
                lTheta = lDown;
                lBest = lErrorDown;
                eLast = kDownward;
            } else {
                if (lStep >> 1 == lStep || lStep >> 1 == 0)
                    return {lShiftRow, lShiftCol, lTheta, lBest};
                lStep >>= 1;
                eLast = kAny;
                bAgain = lErrorUp < lBest || lErrorDown < lBest; // equal on both sides: look closer
            }
        } while (bAgain);
    } while (lStep > lMinStep);
    return {lShiftRow, lShiftCol, lTheta, lBest};
}
