// SPDX-License-Identifier: BSD-2-Clause
// How large the picture can be while its shake stays small.
#pragma once

#include <vector>

#include "stabilize/refined.h"

// RMS of what is faster than 1 Hz.
struct FastShake {
    double pixels = 0;
    double milliradians = 0;
};

struct WindowChoice {
    double window = 0;  // of each side, what is shown
    bool known = false; // false: the clip is too short to tell its shake, the window is the usual one
    FastShake before, after;
};

// The largest window of whole percents whose pictures shake a tenth as much as the input, or so little
// that nobody sees it; where none does, the largest that is nearly as calm as any. `settings` say how
// the path is planned.
WindowChoice ChooseWindow(const StreamInfo &info, const RefinedSettings &settings,
                          const std::vector<FrameRecord> &records);
