// SPDX-License-Identifier: BSD-2-Clause
// What the files of the public interface share; the exported calls are in include/quorvel/.
#pragma once

#include "context.h"

// One frame call. The chroma pointers name pairs; they are null for planar frames.
struct FrameCall {
    const uint8_t *pIn;
    const uint8_t *pInPairs;
    uint8_t *pOut;
    uint8_t *pOutPairs;
    int32_t lSplit; // left columns that show the unstabilized frame, 0: none
};

// From one buffer to another, or in place (pIn equals pOut). Returns false, without touching the
// caller's frames, when there is no memory for the handle's copies.
bool StabilizeFrame(MVS_Context *pCtx, const FrameCall *pCall, bool bInPlace);

// QEL_MVS_StabilizeFrame_DiffBuffer; returns what StabilizeFrame returns.
bool StabilizeWholeFrame(MVS_Context *pCtx, const uint8_t *pIn, uint8_t *pOut);

// Around the work of a frame call. BeginFrame returns the number of workers, for EndFrame.
int32_t BeginFrame(MVS_Context *pCtx);
void EndFrame(MVS_Context *pCtx, int32_t lWorkers);
