// SPDX-License-Identifier: BSD-2-Clause
// Where output samples come from: the affine map of a frame, and positions clamped into a plane.
#pragma once

#include "context.h"
#include "platform/fixed.h"

// The affine map that warp.h describes, Q10.
struct WarpMap {
    int32_t lR0, lC0; // input position of output pixel (0, 0)
    int32_t lZ;       // zoom step, 0 .. 1024
    int32_t lS;       // rotation step
};

// Rotation about the centre of the output without a zoom, and with the handle's zoom.
WarpMap MapWithoutZoom(const MVS_Context *pCtx);
WarpMap MapWithZoom(const MVS_Context *pCtx);

// A sampling position along one axis: whole pixel and quarters, 0 .. 3.
struct Position {
    int32_t lBase;
    int32_t lPhase;
};

// Positions outside the plane are clamped to the first or the last base, with phase 0.
static inline Position PositionOf(int32_t lQ10, int32_t lLastBase) {
    if (lQ10 < 0) return {0, 0};
    if (lQ10 > lLastBase << 10) return {lLastBase, 0};
    return {lQ10 >> 10, (lQ10 >> 8) & 3};
}
