// SPDX-License-Identifier: BSD-2-Clause
// Measures the motion between two frames from coarse to fine.
#pragma once

#include "context.h"
#include "motion/pyramid.h"
#include "rigid_motion.h"

// Where the luma of a frame is: the top 8 bits of lSampleBytes, lStep bytes from pixel to pixel.
struct LumaSource {
    const uint8_t *pSamples;
    ptrdiff_t lPitch;
    int32_t lStep;
    int32_t lSampleBytes; // 1, or 2 in native byte order
    int32_t lShift;       // right, to the top 8 bits
};

// Fills all levels, the finest from the source.
void BuildPyramid(MVS_Context *pCtx, const LumaSource *pSource, const Pyramid *pPyramid);

struct Alignment {
    RigidFit stFit;   // of the finest level
    RigidFit stMatch; // at a quarter of the size, where noise is small: tells whether the frames match
    bool bSolved;
};

// The motion from pPrevious to pCurrent, from the level lFirst on. pFlows has room for MostTiles.
Alignment AlignFrames(MVS_Context *pCtx, const Pyramid *pCurrent, const Pyramid *pPrevious,
                      const RigidMotion *pPrediction, int32_t lFirst, TileFlow *pFlows);
