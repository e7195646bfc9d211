// SPDX-License-Identifier: BSD-2-Clause
// One whole-pixel shift of the whole picture, from a search of all shifts at the coarsest level.
#pragma once

#include "context.h"
#include "motion/pyramid.h"
#include "rigid_motion.h"

// Up to an eighth of the longer side and a sixth of the shorter one; the prediction may lie beyond.
RigidMotion WideShift(const Kernels *pKernels, const Pyramid *pCurrent, const Pyramid *pPrevious,
                      RigidMotion stPrediction);
