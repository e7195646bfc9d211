// SPDX-License-Identifier: BSD-2-Clause
// Checks of a caller's planes.
#pragma once

#include "quorvel/refined.h"

// A possible plane of a picture of this size.
bool IsPlaneOf(const MVS_Plane *pPlane, int32_t lWidth, int32_t lHeight);

// Equal in all but size, pitch, address and the channel that is luma.
bool SameLayout(const MVS_Plane *pOne, const MVS_Plane *pOther);

// The memory from the first to the last byte of each, the gaps between rows included, overlaps.
bool Overlap(const MVS_Plane *pOne, const MVS_Plane *pOther);
