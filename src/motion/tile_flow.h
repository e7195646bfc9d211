// SPDX-License-Identifier: BSD-2-Clause
// The motion of tiles of a picture near a predicted motion, by the gradients of both frames.
#pragma once

#include "context.h"
#include "motion/pyramid.h"
#include "rigid_motion.h"

// Most tiles that a picture of this size has at any level.
int32_t MostTiles(int32_t lWidth, int32_t lHeight);

// Measures the tiles of a level near the predicted stMotion, and returns how many lie within both
// frames. pFlows has room for MostTiles.
int32_t MeasureTiles(MVS_Context *pCtx, const Pyramid *pCurrent, const Pyramid *pPrevious,
                     int32_t lLevel, RigidMotion stMotion, TileFlow *pFlows);
