// SPDX-License-Identifier: BSD-2-Clause
#include "warp/run_kernels.h"

namespace {

constexpr int32_t kQuarters[4] = {0, 3, 7, 10}; // to output sample k of a block
constexpr int32_t kBlockQuarters = 14;          // to the next block

// Taps of 16 output bytes, lStep bytes a sample.
constexpr RunTaps TapsOf(int32_t lPhase, int32_t lStep) {
    RunTaps st = {};
    for (int32_t k = 0; k < QEL_STEP_OUT; k++) {
        const int32_t lSample = k / lStep, lComponent = k % lStep;
        const int32_t q = lPhase + kBlockQuarters * (lSample / 4) + kQuarters[lSample % 4];
        const int32_t lFirst = q / 4 * lStep + lComponent;
        const int32_t lFraction = q % 4;
        st.lIndex[2 * k] = (uint8_t)lFirst;
        st.lIndex[2 * k + 1] = (uint8_t)(lFraction ? lFirst + lStep : lFirst);
        st.lWeight[2 * k] = (int8_t)(4 - lFraction);
        st.lWeight[2 * k + 1] = (int8_t)lFraction;
    }
    return st;
}

} // namespace

const RunTaps kPlanarTaps[4] = {TapsOf(0, 1), TapsOf(1, 1), TapsOf(2, 1), TapsOf(3, 1)};
const RunTaps kPairTaps[4] = {TapsOf(0, 2), TapsOf(1, 2), TapsOf(2, 2), TapsOf(3, 2)};

RunKernel RunKernelOf(CpuLevel eLevel) {
    switch (eLevel) {
#ifdef QEL_X86
    case kCpuSsse3:
        return RunSsse3;
    case kCpuAvx2:
        return RunAvx2;
#elif defined(QEL_NEON)
    case kCpuNeon:
        return RunNeon;
#endif
    default:
        return nullptr;
    }
}
