// SPDX-License-Identifier: BSD-2-Clause
// What is kept of a frame's motion for reports.
#pragma once

#include <stdint.h>

struct Movement {
    double row = 0;    // pixels, down
    double column = 0; // pixels, to the right
    double theta = 0;  // radians, clockwise
};

struct MotionRecord {
    int64_t frame = 0;     // counted from 1
    double seconds = 0;    // the frame's time
    bool measured = false; // against the frame before
    bool reset = false;    // the path starts anew
    bool held = false;     // it may be a flash, the window stays
    Movement motion;       // of the camera since the frame before; 0 when not measured
    Movement compensation; // where the output's window is, from the middle
    bool reliable = true;
    int blocksValid = 0; // parts of the picture that could be followed
    int blocksKept = 0;  // and of these the ones that agree
};
