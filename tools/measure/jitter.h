// SPDX-License-Identifier: BSD-2-Clause
// How much of a camera path is shake, before and after stabilization.
#pragma once

#include <vector>

#include "measure/csv_table.h"

// One value a frame for each of the three ways in which a picture moves: pixels, pixels, radians.
struct Path {
    std::vector<double> row, col, angle;
};

struct PathRms {
    double row = 0;
    double col = 0;
    double angle = 0;
};

struct JitterReport {
    PathRms before;           // of the camera's own path, above the cutoff
    PathRms after;            // of the path that the stabilized pictures show
    PathRms measurementError; // measured motion minus true motion
    size_t framesUsed = 0;
    size_t framesMeasured = 0;
    size_t frames = 0;
};

// `truth` as written by quorvel-clipgen, `trace` as by quorvel-stabilize --trace; cutoff in Hz. Throws
// VideoError when the tables do not belong together or are too short.
JitterReport MeasureJitter(const CsvTable &truth, const CsvTable &trace, double cutoff);

// Measured minus true motion from frame to frame, over the frames that were measured.
PathRms MeasurementError(const CsvTable &truth, const CsvTable &trace, size_t &framesMeasured);

double Rms(const std::vector<double> &values);

size_t HighPassMargin(double framesPerSecond, double cutoff);

// What is left of the values when a Gaussian mean, which has no delay, is taken off. A swing of
// `cutoff` passes by half, faster ones more. The first and last `margin` frames, whose mean lacks one
// side, are left out.
std::vector<double> HighPass(const std::vector<double> &values, double framesPerSecond, double cutoff,
                             size_t &margin);
