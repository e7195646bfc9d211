// SPDX-License-Identifier: BSD-2-Clause
// The live smoother: a damped spring that pulls the view to the middle of the frame, stiffer the
// further out the view is, with a soft stop at the margin.
#pragma once

#include "smooth/path.h"

struct Spring {
    View stView;
    View stSpeed; // change in a frame
};

// A new scene: starts in the middle, at rest.
void StartSpring(Spring *pSpring);

// The next frame, after the camera has moved by *pMotion.
void StepSpring(const SmoothSettings *pSettings, const RigidMotion *pMotion, Spring *pSpring);
