// SPDX-License-Identifier: BSD-2-Clause
// The 32x32 pattern, one run of eight bytes at a time.
#include "kernels.h"

#ifdef QEL_NEON
#include <arm_neon.h>

uint32_t BlockSad32Neon(const uint8_t *pCurBlock, const uint8_t *pCandBlock, int32_t lPatternStride) {
    uint16x8_t vSum = vdupq_n_u16(0);
    for (int32_t k = 0; k < 8; k++) {
        const ptrdiff_t lOffset = (ptrdiff_t)k * lPatternStride - (k >= 4 ? 32 : 0);
        vSum = vabal_u8(vSum, vld1_u8(pCurBlock + lOffset), vld1_u8(pCandBlock + lOffset));
    }
    return vaddlvq_u16(vSum);
}

uint32_t Texture32Neon(const uint8_t *pCurBlock, int32_t lPitch) {
    const ptrdiff_t S = 4 * (ptrdiff_t)lPitch + 8;
    const uint8x8_t vFirst = vld1_u8(pCurBlock);
    uint8x8_t vRun = vFirst;
    uint16x8_t vSum = vdupq_n_u16(0);
    for (int32_t k = 1; k < 8; k++) {
        const uint8x8_t vNext = vld1_u8(pCurBlock + k * S - (k >= 4 ? 32 : 0));
        vSum = vabal_u8(vSum, vRun, vNext);
        vRun = vNext;
    }
    return vaddlvq_u16(vabal_u8(vSum, vRun, vFirst));
}
#endif
