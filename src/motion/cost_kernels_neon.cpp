// SPDX-License-Identifier: BSD-2-Clause
// Sums of absolute differences by sixteen bytes at a time.
#include "motion/cost_table.h"

#ifdef QEL_NEON
#include <arm_neon.h>

namespace {

// Every fourth of 16 bytes, counted from the first or (bLast) to the last, as words.
inline uint16x4_t Fourths(const uint8_t *p, bool bLast) {
    const uint32x4_t v = vreinterpretq_u32_u8(vld1q_u8(p));
    return vmovn_u32(bLast ? vshrq_n_u32(v, 24) : vandq_u32(v, vdupq_n_u32(0xFF)));
}

// The last group: its samples end three bytes before the 64th, which may lie outside the plane.
inline uint8x16_t LastGroup(const uint8_t *p) {
    const uint16x8_t v0 = vcombine_u16(Fourths(p, false), Fourths(p + 16, false));
    const uint16x8_t v1 = vcombine_u16(Fourths(p + 32, false), Fourths(p + 45, true));
    return vcombine_u8(vmovn_u16(v0), vmovn_u16(v1));
}

inline uint32x4_t AddSad(uint32x4_t vSum, uint8x16_t v0, uint8x16_t v1) {
    return vpadalq_u16(vSum, vpaddlq_u8(vabdq_u8(v0, v1)));
}

} // namespace

void GatherGridNeon(uint8_t *pSamples, const uint8_t *pArea, int32_t lAreaW, int32_t lAreaH,
                    int32_t lRowSkip) {
    const int32_t lGroups = GridGroups(lAreaW), lRows = GridRows(lAreaH);
    for (int32_t r = 0; r < lRows; r++) {
        for (int32_t g = 1; g < lGroups; g++, pSamples += 16, pArea += 64) {
            PrefetchNextRow(pArea, lGroups, lRowSkip);
            vst1q_u8(pSamples, vld4q_u8(pArea).val[0]);
        }
        vst1q_u8(pSamples, LastGroup(pArea));
        pSamples += 16;
        pArea += 64 + lRowSkip;
    }
}

uint32_t GlobalSadNeon(const uint8_t *pSamples, const uint8_t *pPrevArea, int32_t lAreaW,
                       int32_t lAreaH, int32_t lRowSkip, uint32_t lBound) {
    const int32_t lGroups = GridGroups(lAreaW), lRows = GridRows(lAreaH);
    uint32_t lSum = 0;
    for (int32_t r = 0; r < lRows && lSum < lBound; r++) {
        uint32x4_t vSum = vdupq_n_u32(0);
        for (int32_t g = 1; g < lGroups; g++, pSamples += 16, pPrevArea += 64) {
            PrefetchNextRow(pPrevArea, lGroups, lRowSkip);
            vSum = AddSad(vSum, vld4q_u8(pPrevArea).val[0], vld1q_u8(pSamples));
        }
        lSum += vaddvq_u32(AddSad(vSum, LastGroup(pPrevArea), vld1q_u8(pSamples)));
        pSamples += 16;
        pPrevArea += 64 + lRowSkip;
    }
    return lSum;
}

uint32_t Sad32Neon(const uint8_t *pCurBlock, const uint8_t *pCandBlock, int32_t lPatternStride) {
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
