// SPDX-License-Identifier: BSD-2-Clause
// What the motions of all frames come to: the paths of input and output, the margin that was used, and
// which frequencies are in the shake.
#pragma once

#include <vector>

#include "stabilize/motion_record.h"
#include "stabilize/window.h"

// Pixels of the input, each way, between the view in the middle and the edge; and half of that view.
struct Margins {
    double column = 0, row = 0;
    double halfWidth = 0, halfHeight = 0;
};

// Values of one path: pixels, pixels, milliradians.
struct PathValues {
    std::vector<double> row, column, roll;
};

struct ReportPath {
    std::vector<double> seconds;
    std::vector<bool> starts; // scenes
    PathValues before, after;
    std::vector<double> margin; // used, percent
    bool known = false;         // a scene is long enough for these, and motion was measured
    FastShake shakeBefore, shakeAfter;
};

ReportPath FollowPath(const std::vector<MotionRecord> &records, double framesPerSecond,
                      const Margins &margins);

// A third of an octave.
struct ShakeBand {
    double hertz = 0;  // its middle
    double before = 0; // pixels, root mean square
    double after = 0;
};

// Rows and columns together, as a mean over the scenes; empty when all scenes are too short.
std::vector<ShakeBand> ShakeSpectrum(const ReportPath &path, double framesPerSecond);
