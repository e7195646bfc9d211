// SPDX-License-Identifier: BSD-2-Clause
// A handle that is destroyed with its scope, at a chosen level of vector instructions.
#pragma once

#include <memory>

#include "clip.h"
#include "context.h"
#include "kernels.h"

struct HandleDeleter {
    void operator()(MVS_Context *context) const { QEL_MVS_DestroyStabilizer(context); }
};
using Handle = std::unique_ptr<MVS_Context, HandleDeleter>;

inline Handle MakeHandle(Size in, Size out, int format = QEL_MVS_FORMAT_NV21, int mode = 3,
                         CpuLevel highest = kCpuLevels) {
    const MVS_InitParam param = {mode, in.width, in.height, out.width, out.height, format, 0};
    LimitCpuLevel(highest);
    Handle handle(QEL_MVS_CreateStabilizer(&param));
    LimitCpuLevel(kCpuLevels);
    if (handle && mode != 3 && !QEL_MVS_SetMode(handle.get(), mode)) handle.reset();
    return handle;
}

inline const char *LevelName(CpuLevel level) {
    switch (level) {
    case kCpuPortable:
        return "portable";
    case kCpuSse2:
        return "sse2";
    case kCpuSsse3:
        return "ssse3";
    case kCpuAvx2:
        return "avx2";
    case kCpuNeon:
        return "neon";
    default:
        return "best";
    }
}

// The levels that this processor has, worst first.
inline std::vector<CpuLevel> Levels() {
    const CpuLevel best = ChooseCpuLevel();
    if (best == kCpuNeon) return {kCpuPortable, kCpuNeon};
    std::vector<CpuLevel> levels;
    for (int32_t i = kCpuPortable; i <= best; i++) levels.push_back((CpuLevel)i);
    return levels;
}
