// SPDX-License-Identifier: BSD-2-Clause
// How large the picture can be while its shake stays small.
#pragma once

#include <vector>

#include "clipgen/camera_path.h"
#include "stabilize/refined.h"

// RMS of what is faster than 1 Hz.
struct FastShake {
    double pixels = 0;
    double milliradians = 0;
};

const double kShakeCutoff = 1; // Hz

// Of a path whose stretches begin where `starts` says. False when none is long enough.
bool MeasureShake(const std::vector<CameraPose> &poses, const std::vector<bool> &starts,
                  double framesPerSecond, FastShake &shake);

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
