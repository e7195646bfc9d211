// SPDX-License-Identifier: BSD-2-Clause
// The refined measurement from frame to frame: rest, flashes, cuts.
#pragma once

#include "pipeline/align.h"

struct SceneState {
    Pyramid stPyramids[2]; // the reference, and the frame that is measured
    int32_t lReference;    // which of them is the reference
    bool bReference;       // there is one
    int32_t lSpan;         // frames that are compared with one reference while the camera moves
    int32_t lAge;          // frames since the reference was taken
    RigidMotion stSince;   // what was handed out since then, together
    RigidMotion stLast;    // motion of the last frame that moved
    bool bFlash;           // the last frame looked like a flash: the next one decides
    TileFlow *pFlows;      // room for MostTiles
};

struct FrameMotion {
    RigidMotion stMotion; // from the frame before; 0 when it was not measured
    bool bNewScene;       // it has nothing to do with the frame before
    bool bMeasured;
    bool bHeld;                  // perhaps a flash: the view of the frame before stays
    int32_t lTextured, lMatched; // tiles that show something, and those that look alike in both frames
};

// The next frame.
FrameMotion MeasureFrame(MVS_Context *pCtx, SceneState *pScene, const LumaSource *pSource);

// Before the first frame.
void SetSceneRate(SceneState *pScene, double dFramesPerSecond);

// The next frame starts a scene.
void ForgetScene(SceneState *pScene);
