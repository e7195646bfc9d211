// SPDX-License-Identifier: BSD-2-Clause
// The previous frame, which the next one is compared with. A frame from one buffer to another is
// copied after it has been stabilized. A frame in place is copied before, and the copy becomes the
// previous frame.
#pragma once

#include "context.h"

// Allocates the handle's frames; false when there is no memory.
bool EnsureFrames(MVS_Context *pCtx, bool bInPlace);

// The copy alone, for handles that keep no previous frame.
bool EnsureOwnFrame(MVS_Context *pCtx);

// Copies a frame that is stabilized in place, and returns the copy. pInPairs points to the pairs,
// which need not follow the luma; it is null for planar frames.
const uint8_t *CopyFrameInPlace(MVS_Context *pCtx, const uint8_t *pIn, const uint8_t *pInPairs);

// Makes the frame at pCurFrame the previous one.
void KeepFrame(MVS_Context *pCtx, bool bInPlace);
