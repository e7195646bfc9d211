// SPDX-License-Identifier: BSD-2-Clause
// The grid, a group of 64 columns at a time. A group's last sample is its 61st byte, and the bytes
// after it may be outside the plane, so the last load of a row's last group begins three bytes
// earlier.
#include "motion/grid.h"

#ifdef QEL_NEON
#include <arm_neon.h>

namespace {

// Every fourth of 16 bytes as words: bytes 0, 4, 8, 12, or with bLast 3, 7, 11, 15.
inline uint16x4_t Fourths(const uint8_t *p, bool bLast) {
    const uint32x4_t v = vreinterpretq_u32_u8(vld1q_u8(p));
    return vmovn_u32(bLast ? vshrq_n_u32(v, 24) : vandq_u32(v, vdupq_n_u32(0xFF)));
}

inline uint8x16_t LastGroup(const uint8_t *p) {
    const uint16x8_t v0 = vcombine_u16(Fourths(p, false), Fourths(p + 16, false));
    const uint16x8_t v1 = vcombine_u16(Fourths(p + 32, false), Fourths(p + 45, true));
    return vcombine_u8(vmovn_u16(v0), vmovn_u16(v1));
}

inline uint32x4_t AddSad(uint32x4_t vSum, uint8x16_t v0, uint8x16_t v1) {
    return vpadalq_u16(vSum, vpaddlq_u8(vabdq_u8(v0, v1)));
}

} // namespace

void GatherGridNeon(uint8_t *pSamples, const uint8_t *pArea, const Grid *pGrid) {
    const int32_t lGroups = pGrid->lGroups, lRows = pGrid->lRows;
    for (int32_t r = 0; r < lRows; r++) {
        for (int32_t g = 1; g < lGroups; g++, pSamples += 16, pArea += 64) {
            PrefetchNextRow(pArea, pGrid);
            vst1q_u8(pSamples, vld4q_u8(pArea).val[0]);
        }
        vst1q_u8(pSamples, LastGroup(pArea));
        pSamples += 16;
        pArea += 64 + pGrid->lRowSkip;
    }
}

uint32_t GridSadNeon(const uint8_t *pSamples, const uint8_t *pArea, const Grid *pGrid,
                     uint32_t lBound) {
    const int32_t lGroups = pGrid->lGroups, lRows = pGrid->lRows;
    uint32_t lSum = 0;
    for (int32_t r = 0; r < lRows && lSum < lBound; r++) {
        uint32x4_t vSum = vdupq_n_u32(0);
        for (int32_t g = 1; g < lGroups; g++, pSamples += 16, pArea += 64) {
            PrefetchNextRow(pArea, pGrid);
            vSum = AddSad(vSum, vld4q_u8(pArea).val[0], vld1q_u8(pSamples));
        }
        lSum += vaddvq_u32(AddSad(vSum, LastGroup(pArea), vld1q_u8(pSamples)));
        pSamples += 16;
        pArea += 64 + pGrid->lRowSkip;
    }
    return lSum;
}

#endif
