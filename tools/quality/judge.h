// SPDX-License-Identifier: BSD-2-Clause
// What a stabilizer, whichever it was, has made of a clip.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "clipgen/camera_path.h"
#include "measure/csv_table.h"
#include "measure/jitter.h"
#include "video/frame_source.h"

struct JudgedFrame {
    CameraPose before;   // where the camera looked
    CameraPose after;    // where a camera would have looked that took the stabilized frame
    bool start = false;  // nothing connects it to the frame before: first, a cut, or not recognised
    bool found = false;  // the stabilized frame was recognised in the other
    double visible = 0;  // share of the input frame
    double invented = 0; // share of the output frame that the input does not show
};

struct Judgement {
    std::vector<JudgedFrame> frames;
    double framesPerSecond = 0;
    size_t lost = 0; // frames not recognised
    size_t used = 0; // frames that the RMS values are taken over
    PathRms before, after;
    double visible = 0, invented = 0; // means
};

// With the true path of the camera; without, the path is measured from the frames of `before`.
Judgement Judge(FrameSource &before, FrameSource &after, const std::optional<CsvTable> &truth,
                double framesPerSecond, double cutoff);
