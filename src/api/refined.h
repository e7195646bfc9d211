// SPDX-License-Identifier: BSD-2-Clause
// What the refined calls share.
#pragma once

#include "api/api.h"
#include "quorvel/refined.h"
#include "refined_state.h"
#include "warp/fine_map.h"

void FreeRefined(MVS_Context *pCtx);

// Measures the next frame. False when the handle serves other calls, when its stream has ended or too
// many records wait, or when there is no memory.
bool PushFrame(MVS_Context *pCtx, RefinedUse eUse, const LumaSource *pSource);

// Takes the next frame's motion from a record. False as for PushFrame.
bool PushRecord(MVS_Context *pCtx, const MVS_Compensation *pRecord);

// Fills in the next record, whose lSize is set; false while none can be pulled.
bool PullFrame(MVS_Context *pCtx, MVS_Compensation *pRecord);

// The view of a record, limited to the input.
FineView ViewOfRecord(const MVS_Context *pCtx, const MVS_Compensation *pRecord);

// StabilizeFrame for a refined handle. False when the frame was not taken.
bool StabilizeRefinedFrame(MVS_Context *pCtx, const FrameCall *pCall, bool bInPlace);
