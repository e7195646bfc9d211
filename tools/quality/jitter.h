// SPDX-License-Identifier: BSD-2-Clause
// How much of a path is shake, and how far a measured one is from the true one.
#pragma once

#include <vector>

#include "clipgen/camera_path.h"
#include "quality/csv_table.h"

// Of each of the three ways in which a picture moves: pixels, pixels, radians.
struct PathRms {
    double row = 0;
    double col = 0;
    double angle = 0;
};

// Measured minus true motion from frame to frame, over the frames that were measured. `truth` as
// written by quorvel-clipgen, `trace` as by quorvel-stabilize --trace; throws VideoError when they do
// not belong together.
PathRms MeasurementError(const CsvTable &truth, const CsvTable &trace);

double Rms(const std::vector<double> &values);

// What is left of the values when a Gaussian mean, which has no delay, is taken off. A swing of
// `cutoff` passes by half, faster ones more. Frames near an end, whose mean lacks one side, are left
// out: few values give none.
std::vector<double> HighPass(const std::vector<double> &values, double framesPerSecond, double cutoff);

// RMS of a path above the cutoff, over its stretches: each begins where `starts` says, is filtered by
// itself, and counts where it is long enough. `used`: frames that counted.
PathRms Jitter(const std::vector<CameraPose> &poses, const std::vector<bool> &starts,
               double framesPerSecond, double cutoff, size_t &used);
