// SPDX-License-Identifier: BSD-2-Clause
// The state of a refined handle.
#pragma once

#include "context.h"
#include "pipeline/compensator.h"
#include "pipeline/scene.h"

enum RefinedUse { kUnused, kFrameCalls, kPlaneCalls };

struct Refined {
    bool bCubic;
    RefinedUse eUse;
    bool bGoesOn;   // the next frame may belong to the scene of the last one
    uint8_t *pLuma; // memory of the pyramids
    SceneState stScene;
    Compensator stCompensator;
};
