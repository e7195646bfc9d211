// SPDX-License-Identifier: BSD-2-Clause
// What a run came to.
#pragma once

#include <string>
#include <vector>

#include "stabilize/motion_record.h"
#include "video/picture.h"

// Names of files may be any bytes: what is no UTF-8 becomes U+FFFD.
std::string ValidText(const std::string &text);

struct Summary {
    std::string input;
    std::string output; // empty: none
    std::string encoder;
    PictureSize inSize;
    PictureSize outSize;
    double window = 0; // of each side, what is shown; 0 on the standard path
    double seconds = 0;
    bool interrupted = false;
    std::string fault; // empty: none
    std::vector<std::string> notes;

    void Add(const MotionRecord &record);

    // A line.
    std::string Text() const;
    std::string Json() const;

    int64_t Frames() const { return mFrames; }
    int64_t FramesMeasured() const { return mMeasured; }
    int64_t Resets() const { return mResets; }

    // Root mean square of the motion from frame to frame, measured and left in the output.
    struct Shake {
        double pixels = 0;
        double milliradians = 0;
    };
    Shake Measured() const;
    Shake Left() const;

  private:
    int64_t mFrames = 0;
    int64_t mMeasured = 0;
    int64_t mResets = 0;
    int64_t mDoubtful = 0;
    double mSquares[4] = {}; // of pixels and radians, measured; of both, left
    Movement mBefore;
};
