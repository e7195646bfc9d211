// SPDX-License-Identifier: BSD-2-Clause
#include "model/motion_model.h"

int64_t RowErrorPortable(const MVS_BlockMV *pBlockMV, int32_t lCount, const int32_t *pModelRow,
                         int32_t lModelCol) {
    int64_t llError = 0;
    for (int32_t i = 0; i < lCount; i++)
        if (pBlockMV[i].bValid)
            llError += SquaredError(ResidualOf(&pBlockMV[i], pModelRow[i], lModelCol));
    return llError;
}
