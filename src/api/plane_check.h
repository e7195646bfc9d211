// SPDX-License-Identifier: BSD-2-Clause
// Doubts about a caller's planes.
#pragma once

#include "quorvel/refined.h"

// A plane that exists, of a picture of this size.
bool IsPlaneOf(const MVS_Plane *pPlane, int32_t lWidth, int32_t lHeight);

// The same but for sizes, pitch and place.
bool SameLayout(const MVS_Plane *pOne, const MVS_Plane *pOther);

// Rows of the two have bytes in common.
bool Overlap(const MVS_Plane *pOne, const MVS_Plane *pOther);
