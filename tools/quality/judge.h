// SPDX-License-Identifier: BSD-2-Clause
// What a stabilizer, whichever it was, has made of a clip.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "clipgen/camera_path.h"
#include "quality/csv_table.h"
#include "quality/jitter.h"
#include "video/frame_source.h"

struct JudgedFrame {
    CameraPose before;   // where the camera looked
    CameraPose after;    // where a camera would have looked that took the stabilized frame
    bool start = false;  // nothing connects it to the frame before: first, a cut, or not recognised
    bool found = false;  // the stabilized frame was recognised in the other
    double visible = 0;  // share of the input frame
    double invented = 0; // share of the output frame that the input does not show
};

// The same path at three stages, from the stabilizer's own trace: where the shake that is left comes
// from.
struct StageReport {
    PathRms measurementError; // of the motion from frame to frame
    PathRms smoothed;         // shake of the smoothed path, had the measurements been true
    PathRms planned;          // shake of the true path as compensated, had the warp been exact
    double atMargin = 0;      // share of the frames at the margin that the standard path has
};

struct Judgement {
    std::vector<JudgedFrame> frames;
    double framesPerSecond = 0;
    size_t lost = 0; // frames not recognised
    size_t used = 0; // frames that the RMS values are taken over
    PathRms before, after;
    double visible = 0, invented = 0; // means
    std::optional<double> sharpness;  // median; null: no frame has enough detail
};

// With the true path of the camera; without, the path is measured from the frames of `before`.
Judgement Judge(FrameSource &before, FrameSource &after, const std::optional<CsvTable> &truth,
                double framesPerSecond, double cutoff);

// Of a trace for pictures of equal sizes; `judgement` tells which frames belong together.
StageReport JudgeStages(const Judgement &judgement, const CsvTable &truth, const CsvTable &trace,
                        PictureSize size, double cutoff);
