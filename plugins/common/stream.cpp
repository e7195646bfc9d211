// SPDX-License-Identifier: BSD-2-Clause
#include "common/stream.h"

#include <math.h>

#include <algorithm>

namespace {

// In 1024ths, within the library's limits. Not a number counts as the least.
int32_t Parts(double value, int32_t least, int32_t most) {
    const double parts = 1024 * value;
    return parts > least ? (int32_t)lround(std::min<double>(parts, most)) : least;
}

void SetRate(MVS_Context *handle, int32_t numerator, int32_t denominator) {
    const int32_t most = 1000;                      // 1 is the least
    if (numerator <= 0 || denominator <= 0) return; // the library's usual rate
    const double rate = (double)numerator / denominator;
    if (rate < 1)
        QEL_MVS_SetFrameRate(handle, 1, 1);
    else if (rate > most)
        QEL_MVS_SetFrameRate(handle, most, 1);
    else
        QEL_MVS_SetFrameRate(handle, numerator, denominator);
}

} // namespace

int32_t FramesHeld(int32_t lookahead) {
    return lookahead < 5 ? 0 : std::min(lookahead, kMostLookahead);
}

MVS_Context *OpenStream(int32_t width, int32_t height, const StreamSettings &settings) {
    MVS_InitParam param = {};
    param.lMode = 3;
    param.lInWidth = param.lOutWidth = width;
    param.lInHeight = param.lOutHeight = height;
    param.lFormat = QEL_MVS_FORMAT_I420; // of frame calls, of which there are none
    MVS_Context *handle = QEL_MVS_CreateStabilizer(&param);
    if (!handle || !QEL_MVS_SetRefined(handle, 1) ||
        !QEL_MVS_SetLookahead(handle, FramesHeld(settings.lookahead))) {
        QEL_MVS_DestroyStabilizer(handle);
        return nullptr;
    }
    SetRate(handle, settings.rateNumerator, settings.rateDenominator);
    QEL_MVS_SetWindow(handle, Parts(settings.window, 615, 1003));
    QEL_MVS_SetStrength(handle, Parts(settings.strength, 256, 4096));
    QEL_MVS_SetRoll(handle, settings.roll);
    if (settings.threads > 0) QEL_MVS_SetThreads(handle, std::min(settings.threads, kMostThreads));
    return handle;
}

MVS_Plane MakePlane(int32_t width, int32_t height, int32_t channels, int32_t log2X, int32_t log2Y,
                    const uint8_t *pixels, int64_t pitch) {
    MVS_Plane plane = {};
    plane.lSize = (int32_t)sizeof(plane);
    plane.lWidth = (width + (1 << log2X) - 1) >> log2X;
    plane.lHeight = (height + (1 << log2Y) - 1) >> log2Y;
    plane.lChannels = channels;
    plane.lSampleBytes = 1;
    plane.lBits = 8;
    plane.lLog2X = log2X;
    plane.lLog2Y = log2Y;
    plane.lSiteY = log2Y > 0 ? 2 : 0;
    plane.llPitch = pitch;
    plane.pPixels = const_cast<uint8_t *>(pixels);
    return plane;
}
