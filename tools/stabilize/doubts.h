// SPDX-License-Identifier: BSD-2-Clause
// Frames that deserve a look: cuts, and those whose motion is not known or in doubt.
#pragma once

#include <string>
#include <vector>

#include "stabilize/motion_record.h"
#include "stabilize/thumbnail.h"

enum class Doubt { None, NewScene, Held, NotMeasured, FewTiles };

Doubt DoubtOf(const MotionRecord &record);

// Neighbouring frames of one kind.
struct DoubtfulFrames {
    Doubt kind = Doubt::None;
    int64_t first = 0;
    int64_t last = 0;
    // Of the first of them: time, parts, pictures.
    double seconds = 0;
    int blocksValid = 0;
    int blocksKept = 0;
    Thumbnail before, after;
};

const size_t kMostShown = 20;

// Keeps a limited number of them with their pictures, evenly spread however many come.
class Doubts {
  public:
    // True when the frame is one to be shown: Show is called next, with its pictures.
    bool Add(const MotionRecord &record);
    void Show(Thumbnail before, Thumbnail after);

    size_t Count() const { return mCount; }
    // At most kMostShown, in the order of time.
    std::vector<DoubtfulFrames> Chosen() const;

  private:
    std::vector<DoubtfulFrames> mKept; // every mStride-th
    DoubtfulFrames mOpen;              // the newest
    bool mOpenKept = false;
    size_t mCount = 0;
    size_t mStride = 1;
};
