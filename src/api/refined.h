// SPDX-License-Identifier: BSD-2-Clause
// What the refined calls share.
#pragma once

#include "api/api.h"
#include "quorvel/refined.h"
#include "refined_state.h"
#include "warp/fine_map.h"

void FreeRefined(MVS_Context *pCtx);

// Measures the next frame. False when the handle serves other calls, or has no room.
bool PushFrame(MVS_Context *pCtx, RefinedUse eUse, const LumaSource *pSource);

// The next compensation, of a record whose lSize is set; false while none is settled.
bool PullFrame(MVS_Context *pCtx, MVS_Compensation *pRecord);

// What a record shows, limited to what the input holds.
FineView ViewOfRecord(const MVS_Context *pCtx, const MVS_Compensation *pRecord);

// StabilizeFrame for a refined handle.
bool StabilizeRefinedFrame(MVS_Context *pCtx, const FrameCall *pCall, bool bInPlace);
