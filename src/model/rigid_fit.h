// SPDX-License-Identifier: BSD-2-Clause
// The rigid motion of a picture from the motions of its tiles.
#pragma once

#include "rigid_motion.h"

// lLevel is the tiles' level. bFirst: the prediction they were measured at is rough. False when the
// tiles are too few or too much alike to tell a motion.
bool FitRigid(const TileFlow *pFlows, int32_t lCount, int32_t lLevel, bool bFirst, RigidFit *pFit);
