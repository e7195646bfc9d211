// SPDX-License-Identifier: BSD-2-Clause
// What the plugins share: a refined handle for one stream, and the planes of its frames.
#pragma once

#include <stdint.h>

#include "quorvel/refined.h"

const double kLeastWindow = 0.60, kMostWindow = 0.98, kUsualWindow = 0.875;
const double kLeastStrength = 0.25, kMostStrength = 4, kUsualStrength = 1;
const int32_t kMostLookahead = 240;
const int32_t kMostThreads = 4;

struct StreamSettings {
    int32_t lookahead = 0;            // frames
    double window = kUsualWindow;     // part of each side that is shown
    double strength = kUsualStrength; // seconds
    bool roll = true;
    int32_t threads = 0;        // 0: the library's choice
    int32_t rateNumerator = 30; // frames a second; 0: not known
    int32_t rateDenominator = 1;
};

// The frames that wait in a stream of this lookahead: 0 where it is too short to be used.
int32_t FramesHeld(int32_t lookahead);

// A handle for the plane calls, for frames of this size. Settings beyond their limits are limited.
// Null: a size that the library does not take, or no memory.
MVS_Context *OpenStream(int32_t width, int32_t height, const StreamSettings &settings);

// A plane of 8-bit samples; width and height are the picture's. Where the plane is subsampled, its size
// is rounded up, and its samples lie as in most video: at the left of their pixels, between two rows.
MVS_Plane MakePlane(int32_t width, int32_t height, int32_t channels, int32_t log2X, int32_t log2Y,
                    const uint8_t *pixels, int64_t pitch);
