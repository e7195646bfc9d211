// SPDX-License-Identifier: BSD-2-Clause
#include "motion/cost_table.h"

namespace {

uint32_t GlobalSadPortable(const uint8_t *pSamples, const uint8_t *pPrevArea, int32_t lAreaW,
                           int32_t lAreaH, int32_t lRowSkip, uint32_t) {
    return GetGlobalSADAlignF0(pSamples, pPrevArea, lAreaW, lAreaH, lRowSkip);
}

const CostTable kPortable = {GatherGrid, GlobalSadPortable, GetSad32AlignF0, GetInnerSad32};
#ifdef QEL_X86
const CostTable kSse2 = {GatherGridSse2, GlobalSadSse2, Sad32Sse2, Texture32Sse2};
const CostTable kAvx2 = {GatherGridSse2, GlobalSadAvx2, Sad32Sse2, Texture32Sse2};
#elif defined(QEL_NEON)
const CostTable kNeon = {GatherGridNeon, GlobalSadNeon, Sad32Neon, Texture32Neon};
#endif

} // namespace

const CostTable *CostTableOf(CpuLevel eLevel) {
    switch (eLevel) {
#ifdef QEL_X86
    case kCpuSse2:
    case kCpuSsse3:
        return &kSse2;
    case kCpuAvx2:
        return &kAvx2;
#elif defined(QEL_NEON)
    case kCpuNeon:
        return &kNeon;
#endif
    default:
        return &kPortable;
    }
}
