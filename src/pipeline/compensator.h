// SPDX-License-Identifier: BSD-2-Clause
// From the motions of the frames to the view of each of them: live, some frames later, or at the end of
// the clip.
#pragma once

#include "pipeline/scene.h"
#include "smooth/path.h"
#include "smooth/spring.h"

const int32_t kWholeClip = -1;
const int32_t kLeastLookahead = 5; // frames: with fewer the spring is better

struct MotionChunk {
    FrameMotion *pMotions;
};

struct Compensator {
    SmoothSettings stSettings;
    int32_t lLookahead; // frames, 0: live, or kWholeClip

    MotionChunk *pChunks;       // the motion of frame f is the (f % llRoom)-th of all chunks together
    int64_t llChunks, llTable;  // chunks, and room for so many of them
    int64_t llRoom;             // frames
    int64_t llPushed, llPulled; // frames
    bool bEnded;

    Spring stSpring;
    View stLast[2]; // the last two views, in the axes of the last frame
    View *pCamera;  // the path that is planned for, of a long scene a piece of it
    View *pViews;   // the plan; that of a whole clip is kept
    double *pPlanRoom;
    bool bPlanned; // the whole clip
};

// Allocates what lLookahead needs. False when there is no memory.
bool PrepareCompensator(Compensator *pCompensator);
void FreeCompensator(Compensator *pCompensator);

// Room for one more motion. False when too many views wait to be pulled, or when there is no memory.
bool MakeMotionRoom(Compensator *pCompensator);

// After MakeMotionRoom.
void PushMotion(Compensator *pCompensator, const FrameMotion *pMotion);

// No motion follows.
void EndMotions(Compensator *pCompensator);

// The oldest view that was not pulled yet, and its frame's motion; false while it is not settled.
bool PullView(Compensator *pCompensator, View *pView, FrameMotion *pMotion);
