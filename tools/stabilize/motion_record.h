// SPDX-License-Identifier: BSD-2-Clause
// What is kept of a frame's motion for reports.
#pragma once

#include "quorvel/stabilizer.h"

struct MotionRecord {
    int64_t frame = 0;  // counted from 1
    double seconds = 0; // the frame's time
    bool reset = false; // the path starts anew: no motion could be measured against the frame before
    MVS_MotionInfo motion = {};
};

inline double Pixels(int32_t q10) { return q10 / 1024.0; }
inline double Radians(int32_t q16) { return q16 / 65536.0; }
