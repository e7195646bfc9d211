// SPDX-License-Identifier: BSD-2-Clause
// One shift of the whole picture, in whole pixels of a level. On the coarsest, every second shift
// within reach is tried, then those around the best.
#pragma once

#include "context.h"
#include "motion/pyramid.h"
#include "rigid_motion.h"

// The coarsest level reaches an eighth of the longer side and a sixth of the shorter one. Others reach
// 16 of their pixels, for pictures whose texture is too fine for the coarser levels. The prediction,
// which is tried too, may lie beyond. The result has no rotation.
RigidMotion WideShift(const Kernels *pKernels, const Pyramid *pCurrent, const Pyramid *pPrevious,
                      RigidMotion stPrediction, int32_t lLevel);
