// SPDX-License-Identifier: BSD-2-Clause
// The live smoother: a damped spring that pulls the picture to the middle of the frame, stiffer the
// further out the picture is, with a soft stop at the margin.
#pragma once

#include "smooth/path.h"

struct Spring {
    Picture stPicture;
    Picture stSpeed; // a frame
};

// The picture of a frame that the camera moved by stMotion to. A new scene starts in the middle.
void StepSpring(const SmoothSettings *pSettings, const RigidMotion *pMotion, Spring *pSpring);
void StartSpring(Spring *pSpring);
