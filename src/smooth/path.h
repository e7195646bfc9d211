// SPDX-License-Identifier: BSD-2-Clause
// The refined smoothers: what they share.
//
// A picture is where the output is taken from: its centre, in pixels from the frame's centre and in the
// frame's axes, and its roll. While the camera moves by a RigidMotion, a picture that stands still in
// the scene moves the other way in the frame.
#pragma once

#include <stdint.h>

#include "rigid_motion.h"

struct Picture {
    double dX, dY;
    double dRoll; // radians
};

struct SmoothSettings {
    double dWidth;         // of the input, pixels
    double dHalfX, dHalfY; // half of the window's sides
    double dRoomX, dRoomY; // from the window in the middle to the input's edges
    double dRoomRoll;      // radians either way
    double dFramesPerSecond;
    double dStrength; // seconds: the frequencies that are followed are divided by it
    bool bRoll;       // false: the roll is left as it is
};

// The window whose output pixels are dStep input pixels apart.
void SetRoom(SmoothSettings *pSettings, int32_t lInWidth, int32_t lInHeight, int32_t lOutWidth,
             int32_t lOutHeight, double dStep);

// lWindow, Q10: the part of each side that is shown. False when that is more than two input pixels for
// one of the output.
bool SetWindow(SmoothSettings *pSettings, int32_t lInWidth, int32_t lInHeight, int32_t lOutWidth,
               int32_t lOutHeight, int32_t lWindow);

// The same place of the scene after the camera has moved.
Picture Carry(Picture stPicture, const RigidMotion *pMotion);

// Within the room, whatever it was.
Picture ClampPicture(const SmoothSettings *pSettings, Picture stPicture);
