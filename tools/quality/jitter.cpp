// SPDX-License-Identifier: BSD-2-Clause
#include "quality/jitter.h"

#include <math.h>

#include "video/picture.h"

namespace {

// Beyond three deviations the Gaussian's weight is too small to matter.
const double kReach = 3;

const double kPi = 3.14159265358979323846;

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

PathRms MeasurementError(const CsvTable &truth, const CsvTable &trace) {
    const std::vector<double> &measured = trace.Column("measured");
    std::vector<double> row, col, angle;
    if (truth.Column("frame") != trace.Column("frame"))
        throw VideoError("truth and trace are not of the same clip, their frames differ");
    for (size_t i = 0; i < trace.Rows(); i++) {
        if (measured[i] == 0 || truth.Column("cut")[i] != 0) continue;
        row.push_back(trace.Column("motion_row_px")[i] - truth.Column("row_px")[i]);
        col.push_back(trace.Column("motion_col_px")[i] - truth.Column("col_px")[i]);
        angle.push_back(trace.Column("motion_theta_rad")[i] - truth.Column("theta_rad")[i]);
    }
    return {Rms(row), Rms(col), Rms(angle)};
}

std::vector<double> HighPass(const std::vector<double> &values, double framesPerSecond, double cutoff) {
    const double deviation = Deviation(framesPerSecond, cutoff);
    const size_t margin = (size_t)ceil(kReach * deviation);
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

PathRms Jitter(const std::vector<CameraPose> &poses, const std::vector<bool> &starts,
               double framesPerSecond, double cutoff, size_t &used) {
    std::vector<double> kept[3];
    for (size_t begin = 0, end; begin < poses.size(); begin = end) {
        std::vector<double> path[3];
        for (end = begin; end < poses.size() && (end == begin || !starts[end]); end++) {
            path[0].push_back(poses[end].y);
            path[1].push_back(poses[end].x);
            path[2].push_back(poses[end].angle);
        }
        for (int i = 0; i < 3; i++)
            for (double value : HighPass(path[i], framesPerSecond, cutoff)) kept[i].push_back(value);
    }
    used = kept[0].size();
    return {Rms(kept[0]), Rms(kept[1]), Rms(kept[2])};
}
