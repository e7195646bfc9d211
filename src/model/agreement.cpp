// SPDX-License-Identifier: BSD-2-Clause
// How well the block vectors agree with a model of translation and rotation.
#include "model/model.h"

#include "platform/fixed.h"

namespace {

const int32_t kTolerance = 3096; // Q10 pixels, either component

struct Model {
    int32_t lShiftRow, lShiftCol; // Q10 pixels
    int32_t lTheta;               // Q16 radians
};

struct Residual {
    int32_t lRow, lCol; // Q10 pixels
};

// What the vector differs by from the model's at (lDy, lDx) whole pixels from the frame centre. Q16
// radians times pixels, divided by 64, are Q10 pixels.
Residual ResidualAt(const MVS_BlockMV *pBlock, const Model *pModel, int32_t lDy, int32_t lDx) {
    const int32_t lRow = WrapAdd32(pModel->lShiftRow, WrapMul32(pModel->lTheta, lDx) / 64);
    const int32_t lCol = WrapSub32(pModel->lShiftCol, WrapMul32(pModel->lTheta, lDy) / 64);
    return {WrapSub32(WrapMul32(pBlock->lMvRow, 1024), lRow),
            WrapSub32(WrapMul32(pBlock->lMvCol, 1024), lCol)};
}

int64_t SquaredError(Residual st) {
    return (int64_t)(WrapMul32(st.lRow, st.lRow) >> 10) + (WrapMul32(st.lCol, st.lCol) >> 10);
}

bool Agrees(Residual st) {
    return st.lRow > -kTolerance && st.lRow < kTolerance && st.lCol > -kTolerance &&
           st.lCol < kTolerance;
}

} // namespace

int32_t CheckBlockMV(MVS_BlockMV *pBlockMV, int32_t lWidth, int32_t lHeight, int32_t lShiftRow,
                     int32_t lShiftCol, int32_t lTheta, int32_t *pInliers) {
    const Model stModel = {lShiftRow, lShiftCol, lTheta};
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
    const Model stModel = {lShiftRow, lShiftCol, lTheta};
    const int32_t lColumns = lWidth >> 5, lRows = lHeight >> 5;
    int64_t llError = 0;
    for (int32_t r = 0; r < lRows; r++)
        for (int32_t c = 0; c < lColumns; c++, pBlockMV++)
            if (pBlockMV->bValid)
                llError += SquaredError(ResidualAt(pBlockMV, &stModel, 32 * r + 16 - (lHeight >> 1),
                                                   32 * c + 16 - (lWidth >> 1)));
    return Low32(llError);
}

MVS_ThetaFit EstimateTheta(const MVS_BlockMV *pBlockMV, int32_t lWidth, int32_t lHeight,
                           int32_t lShiftRow, int32_t lShiftCol, int32_t lTheta, int32_t lError,
                           int32_t lStep, int32_t lMinStep) {
    enum { kAny, kUpward, kDownward } eLast = kAny;
    int32_t lBest = lError;
    do {
        bool bAgain;
        do {
            bAgain = false;
            const int32_t lUp = WrapAdd32(lTheta, lStep), lDown = WrapSub32(lTheta, lStep);
            int32_t lErrorUp = QEL_NOT_MEASURED, lErrorDown = QEL_NOT_MEASURED;
            if (eLast != kDownward)
                lErrorUp = GetLSEError(pBlockMV, lWidth, lHeight, lShiftRow, lShiftCol, lUp);
            if (eLast != kUpward)
                lErrorDown = GetLSEError(pBlockMV, lWidth, lHeight, lShiftRow, lShiftCol, lDown);
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
