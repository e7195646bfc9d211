// SPDX-License-Identifier: BSD-2-Clause
// The rigid motion of a picture from the motions of its tiles.
#pragma once

#include "rigid_motion.h"

// lLevel is the tiles' level, and *pFit holds the prediction that they were measured at. False when the
// tiles are too few or too much alike to tell a motion.
bool FitRigid(const TileFlow *pFlows, int32_t lCount, int32_t lLevel, RigidFit *pFit);
