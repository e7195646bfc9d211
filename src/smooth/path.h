// SPDX-License-Identifier: BSD-2-Clause
// The refined smoothers: what they share.
//
// While the camera moves by a RigidMotion, a view that stands still in the scene moves the other way in
// the frame.
#pragma once

#include <stdint.h>

#include "rigid_motion.h"

// The part of a frame that the output shows: its centre, in pixels from the frame's centre and in the
// frame's axes, and its roll. All views of a stream have one size, which the settings hold. The place
// of the camera has the same form, in the axes of a frame.
struct View {
    double dX, dY;
    double dRoll; // radians
};

struct SmoothSettings {
    double dWidth;             // of the input, pixels
    double dHalfX, dHalfY;     // half of the view's sides
    double dMarginX, dMarginY; // from the view in the middle to the input's edges
    double dMarginRoll;        // radians either way
    double dFramesPerSecond;
    double dStrength; // seconds: the frequencies that are followed are divided by it
    bool bRoll;       // false: the roll is left as it is
};

// The view whose output pixels are dStep input pixels apart.
void SetViewStep(SmoothSettings *pSettings, int32_t lInWidth, int32_t lInHeight, int32_t lOutWidth,
                 int32_t lOutHeight, double dStep);

// lPart, Q10: the view's part of each side. False when that is more than two input pixels for one of
// the output.
bool SetViewPart(SmoothSettings *pSettings, int32_t lInWidth, int32_t lInHeight, int32_t lOutWidth,
                 int32_t lOutHeight, int32_t lPart);

// The same place of the scene after the camera has moved.
View Carry(View stView, const RigidMotion *pMotion);

// Within the margins, whatever it was.
View ClampView(const SmoothSettings *pSettings, View stView);
