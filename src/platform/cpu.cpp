// SPDX-License-Identifier: BSD-2-Clause
#include "platform/cpu.h"

#ifdef QEL_AVX2
#include <cpuid.h>
#endif

namespace {

int32_t lHighest = kCpuLevels;

#ifdef QEL_AVX2
// True when the operating system saves the 256-bit registers.
bool SavesYmm() {
    uint32_t lLow, lHigh;
    __asm__("xgetbv" : "=a"(lLow), "=d"(lHigh) : "c"(0));
    return (lLow & 6) == 6;
}

CpuLevel Detect() {
    uint32_t a, b, c, d;
    if (!__get_cpuid(1, &a, &b, &c, &d) || !(d & bit_SSE2)) return kCpuPortable;
    if (!(c & bit_SSSE3)) return kCpuSse2;
    if (!(c & bit_OSXSAVE) || !(c & bit_AVX) || !SavesYmm()) return kCpuSsse3;
    if (!__get_cpuid_count(7, 0, &a, &b, &c, &d) || !(b & bit_AVX2)) return kCpuSsse3;
    return kCpuAvx2;
}
#elif defined(QEL_X86)
CpuLevel Detect() { return kCpuSsse3; }
#elif defined(QEL_NEON)
CpuLevel Detect() { return kCpuNeon; }
#else
CpuLevel Detect() { return kCpuPortable; }
#endif

} // namespace

CpuLevel ChooseCpuLevel() {
    const CpuLevel eLimit = (CpuLevel)__atomic_load_n(&lHighest, __ATOMIC_RELAXED);
    const CpuLevel eLevel = Detect();
    return eLevel < eLimit ? eLevel : eLimit == kCpuLevels ? eLevel : eLimit;
}

void LimitCpuLevel(CpuLevel eHighest) { __atomic_store_n(&lHighest, eHighest, __ATOMIC_RELAXED); }
