// SPDX-License-Identifier: BSD-2-Clause
// What the rooms of the public interface share; the exported calls are in include/quorvel/.
#pragma once

#include "context.h"

// One frame on its road through the stabilizer. The chroma pointers name planes of V,U pairs that go
// through the planar scratch planes; they are null for planar frames, and where the warp takes the
// pairs from behind the luma itself.
struct FrameCall {
    const uint8_t *pIn;
    const uint8_t *pInVU;
    uint8_t *pOut;
    uint8_t *pOutVU;
    int32_t lSplit; // left columns that show the unstabilized frame, 0: none
};

// In place (pIn equals pOut), or from one buffer into another. True when the whole output was written.
// The caller's frames are untouched when the handle's own cannot be allocated; a plane whose pass could
// not begin is left as it was.
bool StabilizeInPlace(MVS_Context *pCtx, const FrameCall *pCall);
bool StabilizeApart(MVS_Context *pCtx, const FrameCall *pCall);

// Fills the scratch planes with grey, once in a handle's life: their pages cost nothing before.
void NeedScratch(MVS_Context *pCtx);

// QEL_MVS_StabilizeFrame_DiffBuffer with that result.
bool StabilizeWholeFrame(MVS_Context *pCtx, const uint8_t *pIn, uint8_t *pOut);

// Runs the driver of the handle's mode; none for an unknown mode.
void RunDriver(MVS_Context *pCtx, const uint8_t *pCurrent, const uint8_t *pPrevious, uint8_t *pOutput);
