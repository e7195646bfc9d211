// SPDX-License-Identifier: BSD-2-Clause
// Four blocks at a time.
#include "context.h"
#include "kernels.h"

#ifdef QEL_NEON
#include <arm_neon.h>

namespace {

inline int32x4_t Squares(int32x4_t vMv, int32x4_t vModel) {
    const int32x4_t v = vsubq_s32(vshlq_n_s32(vMv, 10), vModel);
    return vshrq_n_s32(vmulq_s32(v, v), 10);
}

} // namespace

int64_t RowErrorNeon(const MVS_BlockMV *pBlockMV, int32_t lCount, const int32_t *pModelRow,
                     int32_t lModelCol) {
    static_assert(sizeof(MVS_BlockMV) == 12, "three words: valid, row, column");
    const int32x4_t vModelCol = vdupq_n_s32(lModelCol);
    int32x4_t vSum = vdupq_n_s32(0);
    int32_t i = 0;
    for (; i + 4 <= lCount; i += 4) {
        const int32x4x3_t v = vld3q_s32((const int32_t *)(pBlockMV + i));
        const int32x4_t vError =
            vaddq_s32(Squares(v.val[1], vld1q_s32(pModelRow + i)), Squares(v.val[2], vModelCol));
        vSum = vaddq_s32(vSum, vandq_s32(vreinterpretq_s32_u32(vtstq_s32(v.val[0], v.val[0])), vError));
    }
    return vaddlvq_s32(vSum) + RowErrorPortable(pBlockMV + i, lCount - i, pModelRow + i, lModelCol);
}
#endif
