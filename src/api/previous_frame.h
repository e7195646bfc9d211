// SPDX-License-Identifier: BSD-2-Clause
// The frame that the next one is compared with. A frame from one buffer to another is copied after it
// has been stabilized; a frame in place is worked on as a copy, which then becomes the previous frame.
#pragma once

#include "context.h"

// Allocates the handle's frames; false when there is no memory.
bool EnsureFrames(MVS_Context *pCtx, bool bInPlace);

// The working copy of a frame in place. Pairs may lie apart from the luma: pInPairs, null for planar
// frames.
const uint8_t *CopyFrameInPlace(MVS_Context *pCtx, const uint8_t *pIn, const uint8_t *pInPairs);

// Makes the frame at pCurFrame the previous one.
void KeepFrame(MVS_Context *pCtx, bool bInPlace);
