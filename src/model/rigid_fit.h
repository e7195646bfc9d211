// SPDX-License-Identifier: BSD-2-Clause
// The rigid motion of a picture from the motions of its tiles.
#pragma once

#include "rigid_motion.h"

// pFit->stMotion is where the fit starts, and its result. lLevel is the tiles' level. False when the
// tiles are too few or too much alike to tell a motion: the counts alone are set then.
bool FitRigid(const TileFlow *pFlows, int32_t lCount, int32_t lLevel, RigidFit *pFit);
