// SPDX-License-Identifier: BSD-2-Clause
// The rotation that fits the inliers best: descent with a step that halves.
#include "model/model.h"
#include "model/motion_model.h"

int32_t ModelError(const Kernels *pKernels, const MVS_BlockMV *pBlockMV, int32_t lWidth,
                   int32_t lHeight, MotionModel stModel) {
    const int32_t lColumns = lWidth >> 5, lRows = lHeight >> 5;
    int32_t lModelRow[kRowErrorBlocks];
    int64_t llError = 0;
    for (int32_t c = 0; c < lColumns; c += kRowErrorBlocks) {
        const int32_t lCount = Min32(lColumns - c, kRowErrorBlocks);
        for (int32_t i = 0; i < lCount; i++)
            lModelRow[i] = ModelRow(&stModel, 32 * (c + i) + 16 - (lWidth >> 1));
        for (int32_t r = 0; r < lRows; r++)
            llError += pKernels->pRowError(pBlockMV + (ptrdiff_t)r * lColumns + c, lCount, lModelRow,
                                           ModelCol(&stModel, 32 * r + 16 - (lHeight >> 1)));
    }
    return Low32(llError);
}

MVS_ThetaFit SearchTheta(const Kernels *pKernels, const MVS_BlockMV *pBlockMV, int32_t lWidth,
                         int32_t lHeight, MotionModel stModel, int32_t lError, int32_t lStep,
                         int32_t lMinStep) {
    const auto ErrorAt = [=](int32_t lTheta) {
        return ModelError(pKernels, pBlockMV, lWidth, lHeight,
                          {stModel.lShiftRow, stModel.lShiftCol, lTheta});
    };
    int32_t lTheta = stModel.lTheta;
    enum { kAny, kUpward, kDownward } eLast = kAny;
    int32_t lBest = lError;
    do {
        bool bAgain;
        do {
            bAgain = false;
            const int32_t lUp = WrapAdd32(lTheta, lStep), lDown = WrapSub32(lTheta, lStep);
            int32_t lErrorUp = QEL_NOT_MEASURED, lErrorDown = QEL_NOT_MEASURED;
            if (eLast != kDownward) lErrorUp = ErrorAt(lUp);
            if (eLast != kUpward) lErrorDown = ErrorAt(lDown);
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
                    return {stModel.lShiftRow, stModel.lShiftCol, lTheta, lBest};
                lStep >>= 1;
                eLast = kAny;
                bAgain = lErrorUp < lBest || lErrorDown < lBest; // both better and equal: smaller step
            }
        } while (bAgain);
    } while (lStep > lMinStep);
    return {stModel.lShiftRow, stModel.lShiftCol, lTheta, lBest};
}
