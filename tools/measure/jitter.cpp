// SPDX-License-Identifier: BSD-2-Clause
#include "measure/jitter.h"

#include <math.h>

#include "clipgen/camera_path.h"
#include "video/picture.h"

namespace {

// Beyond three deviations the Gaussian's weight is too small to matter.
const double kReach = 3;

const double kPi = 3.14159265358979323846;

std::vector<CameraPose> CameraPoses(const CsvTable &truth) {
    std::vector<CameraPose> poses(truth.Rows());
    for (size_t i = 0; i < poses.size(); i++) {
        poses[i].x = truth.Column("x_px")[i];
        poses[i].y = truth.Column("y_px")[i];
        poses[i].angle = truth.Column("angle_rad")[i];
    }
    return poses;
}

// The poses of a camera that would have taken the stabilized pictures: each is a part of the camera's
// own picture, moved and turned by the compensation. Zoom is left out, jitter counts in input pixels.
std::vector<CameraPose> StabilizedPoses(const std::vector<CameraPose> &poses, const CsvTable &trace) {
    const std::vector<double> &row = trace.Column("comp_row_px");
    const std::vector<double> &col = trace.Column("comp_col_px");
    const std::vector<double> &theta = trace.Column("comp_theta_rad");
    std::vector<CameraPose> result;
    for (size_t i = 0; i < poses.size(); i++)
        result.push_back(PoseOfCut(poses[i], {row[i], col[i], theta[i]}, 1));
    return result;
}

PathRms PathJitter(const std::vector<CameraPose> &poses, double framesPerSecond, double cutoff,
                   size_t &framesUsed) {
    Path path;
    for (const CameraPose &pose : poses) {
        path.row.push_back(pose.y);
        path.col.push_back(pose.x);
        path.angle.push_back(pose.angle);
    }
    size_t margin = 0;
    PathRms rms = {Rms(HighPass(path.row, framesPerSecond, cutoff, margin)),
                   Rms(HighPass(path.col, framesPerSecond, cutoff, margin)),
                   Rms(HighPass(path.angle, framesPerSecond, cutoff, margin))};
    framesUsed = poses.size() - 2 * margin;
    return rms;
}

double FramesPerSecond(const CsvTable &truth) {
    const std::vector<double> &time = truth.Column("time_s");
    double span = time.empty() ? 0 : time.back() - time.front();
    if (!(span > 0)) throw VideoError("the clip is too short to tell its frame rate");
    return (double)(time.size() - 1) / span;
}

// Frames of a standard deviation: exp(-2 (pi f deviation)^2) is the mean's response, a half at the
// cutoff.
double Deviation(double framesPerSecond, double cutoff) {
    return sqrt(log(2.0) / 2) / (kPi * cutoff) * framesPerSecond;
}

} // namespace

double Rms(const std::vector<double> &values) {
    double sum = 0;
    for (double value : values) sum += value * value;
    return values.empty() ? 0 : sqrt(sum / (double)values.size());
}

PathRms MeasurementError(const CsvTable &truth, const CsvTable &trace, size_t &framesMeasured) {
    const std::vector<double> &measured = trace.Column("measured");
    Path error;
    if (truth.Column("frame") != trace.Column("frame"))
        throw VideoError("truth and trace are not of the same clip, their frames differ");
    for (size_t i = 0; i < trace.Rows(); i++) {
        if (measured[i] == 0 || truth.Column("cut")[i] != 0) continue;
        error.row.push_back(trace.Column("motion_row_px")[i] - truth.Column("row_px")[i]);
        error.col.push_back(trace.Column("motion_col_px")[i] - truth.Column("col_px")[i]);
        error.angle.push_back(trace.Column("motion_theta_rad")[i] - truth.Column("theta_rad")[i]);
    }
    framesMeasured = error.row.size();
    return {Rms(error.row), Rms(error.col), Rms(error.angle)};
}

size_t HighPassMargin(double framesPerSecond, double cutoff) {
    return (size_t)ceil(kReach * Deviation(framesPerSecond, cutoff));
}

std::vector<double> HighPass(const std::vector<double> &values, double framesPerSecond, double cutoff,
                             size_t &margin) {
    const double deviation = Deviation(framesPerSecond, cutoff);
    margin = HighPassMargin(framesPerSecond, cutoff);
    if (values.size() <= 2 * margin)
        throw VideoError("the clip is too short: more than " + std::to_string(2 * margin) +
                         " frames are needed for this cutoff");
    std::vector<double> weights;
    double sum = 0;
    for (size_t i = 0; i <= 2 * margin; i++) {
        double distance = ((double)i - (double)margin) / deviation;
        weights.push_back(exp(-distance * distance / 2));
        sum += weights.back();
    }
    std::vector<double> result;
    for (size_t start = 0; start + 2 * margin < values.size(); start++) {
        double mean = 0;
        for (size_t i = 0; i < weights.size(); i++) mean += values[start + i] * weights[i] / sum;
        result.push_back(values[start + margin] - mean);
    }
    return result;
}

JitterReport MeasureJitter(const CsvTable &truth, const CsvTable &trace, double cutoff) {
    if (truth.Column("frame") != trace.Column("frame"))
        throw VideoError("truth and trace are not of the same clip, their frames differ");
    double framesPerSecond = FramesPerSecond(truth);
    std::vector<CameraPose> poses = CameraPoses(truth);
    JitterReport report;
    report.frames = truth.Rows();
    report.before = PathJitter(poses, framesPerSecond, cutoff, report.framesUsed);
    report.after =
        PathJitter(StabilizedPoses(poses, trace), framesPerSecond, cutoff, report.framesUsed);
    report.measurementError = MeasurementError(truth, trace, report.framesMeasured);
    return report;
}
