// SPDX-License-Identifier: BSD-2-Clause
// A handle that is destroyed with its scope, at a chosen level of vector instructions.
#pragma once

#include <memory>

#include "clip.h"
#include "context.h"
#include "kernels.h"
#include "quorvel/refined.h"

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

// Refined, with the frames of a lookahead.
inline Handle MakeRefined(Size size, int lookahead, bool cubic) {
    Handle handle = MakeHandle(size, size);
    if (!QEL_MVS_SetRefined(handle.get(), 1) || !QEL_MVS_SetLookahead(handle.get(), lookahead))
        handle.reset();
    else
        QEL_MVS_SetCubic(handle.get(), cubic);
    return handle;
}

// A packed NV21 frame as planes.
struct FramePlanes {
    MVS_Plane planes[2];
    FramePlanes(Size size, const uint8_t *frame) {
        uint8_t *pixels = const_cast<uint8_t *>(frame); // input planes are only read
        const MVS_Plane luma = {(int32_t)sizeof(MVS_Plane),
                                size.width,
                                size.height,
                                1,
                                0,
                                1,
                                8,
                                0,
                                0,
                                0,
                                0,
                                0,
                                size.width,
                                pixels};
        planes[0] = planes[1] = luma;
        planes[1].lWidth /= 2;
        planes[1].lHeight /= 2;
        planes[1].lChannels = 2;
        planes[1].lLog2X = planes[1].lLog2Y = 1;
        planes[1].lSiteY = 2;
        planes[1].pPixels = pixels + size.Luma();
    }
};

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
