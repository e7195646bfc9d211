// SPDX-License-Identifier: BSD-2-Clause
#include "model/error_kernels.h"

#include "platform/fixed.h"

int64_t ErrorOfRowPortable(const MVS_BlockMV *pBlockMV, int32_t lCount, const int32_t *pModelRow,
                           int32_t lModelCol) {
    int64_t llError = 0;
    for (int32_t i = 0; i < lCount; i++) {
        if (!pBlockMV[i].bValid) continue;
        const int32_t lRow = WrapSub32(WrapMul32(pBlockMV[i].lMvRow, 1024), pModelRow[i]);
        const int32_t lCol = WrapSub32(WrapMul32(pBlockMV[i].lMvCol, 1024), lModelCol);
        llError += (WrapMul32(lRow, lRow) >> 10) + (WrapMul32(lCol, lCol) >> 10);
    }
    return llError;
}

ErrorOfRow ErrorOfRowAt(CpuLevel eLevel) {
    switch (eLevel) {
#ifdef QEL_X86
    case kCpuAvx2:
        return ErrorOfRowAvx2;
#elif defined(QEL_NEON)
    case kCpuNeon:
        return ErrorOfRowNeon;
#endif
    default:
        return ErrorOfRowPortable;
    }
}
