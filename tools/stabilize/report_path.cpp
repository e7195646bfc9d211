// SPDX-License-Identifier: BSD-2-Clause
#include "stabilize/report_path.h"

#include <math.h>

#include <algorithm>

namespace {

const double kPi = 3.14159265358979323846;
const double kSegmentSeconds = 8; // of the spectrum, where scenes are as long
const size_t kLeastSegment = 32;  // frames
const size_t kMostSegment = 1024; // frames
const double kBandsOfOctave = 3;

// The share of the margin that a corner of the view has used up.
double MarginUsed(const Margins &margins, const Movement &at) {
    if (margins.column <= 0 || margins.row <= 0) return 0;
    const double c = fabs(cos(at.theta)), s = fabs(sin(at.theta));
    const double width = c * margins.halfWidth + s * margins.halfHeight - margins.halfWidth;
    const double height = c * margins.halfHeight + s * margins.halfWidth - margins.halfHeight;
    const double used =
        std::max((fabs(at.column) + width) / margins.column, (fabs(at.row) + height) / margins.row);
    return std::clamp(used, 0.0, 1.0);
}

void AddPose(PathValues &path, const CameraPose &pose) {
    path.row.push_back(pose.y);
    path.column.push_back(pose.x);
    path.roll.push_back(1000 * pose.angle);
}

PoseMotion MotionOf(const Movement &from) { return {from.row, from.column, from.theta}; }

// First frames of the scenes, and the end.
std::vector<size_t> SceneBorders(const std::vector<bool> &starts) {
    std::vector<size_t> borders;
    for (size_t i = 0; i < starts.size(); i++)
        if (i == 0 || starts[i]) borders.push_back(i);
    borders.push_back(starts.size());
    return borders;
}

// A stretch of a path, without the straight line that it follows, fading in and out.
std::vector<double> Windowed(const std::vector<double> &values, size_t begin, size_t size) {
    const double middle = ((double)size - 1) / 2;
    double mean = 0, slope = 0, squares = 0;
    for (size_t i = 0; i < size; i++) mean += values[begin + i] / (double)size;
    for (size_t i = 0; i < size; i++) {
        slope += ((double)i - middle) * (values[begin + i] - mean);
        squares += ((double)i - middle) * ((double)i - middle);
    }
    slope /= squares;
    std::vector<double> result(size);
    for (size_t i = 0; i < size; i++) {
        const double fade = 0.5 - 0.5 * cos(2 * kPi * ((double)i + 0.5) / (double)size);
        result[i] = fade * (values[begin + i] - mean - slope * ((double)i - middle));
    }
    return result;
}

// Mean squares of stretches of a path by frequency, in steps of framesPerSecond / size.
class PowerSum {
  public:
    explicit PowerSum(size_t size) : mCosines(size), mSines(size), mPower(size / 2 + 1) {
        for (size_t i = 0; i < size; i++) {
            mCosines[i] = cos(2 * kPi * (double)i / (double)size);
            mSines[i] = sin(2 * kPi * (double)i / (double)size);
        }
    }

    void Add(const std::vector<double> &values, size_t begin) {
        const size_t size = mCosines.size();
        const double fadedSquare = 0.375; // mean square of the fading
        const std::vector<double> stretch = Windowed(values, begin, size);
        for (size_t step = 1; step < mPower.size(); step++) {
            double real = 0, imaginary = 0;
            for (size_t i = 0, turn = 0; i < size; i++) {
                real += stretch[i] * mCosines[turn];
                imaginary += stretch[i] * mSines[turn];
                turn += turn + step < size ? step : step - size;
            }
            mPower[step] +=
                2 * (real * real + imaginary * imaginary) / ((double)(size * size) * fadedSquare);
        }
    }

    // RMS between two frequencies, in steps.
    double Between(double low, double high, size_t stretches) const {
        double sum = 0;
        for (size_t i = 1; i < mPower.size(); i++) {
            const double part = std::min(high, (double)i + 0.5) - std::max(low, (double)i - 0.5);
            sum += std::max(part, 0.0) * mPower[i];
        }
        return sqrt(sum / (double)stretches);
    }

  private:
    std::vector<double> mCosines, mSines;
    std::vector<double> mPower;
};

} // namespace

ReportPath FollowPath(const std::vector<MotionRecord> &records, double framesPerSecond,
                      const Margins &margins) {
    ReportPath path;
    std::vector<CameraPose> before, after;
    CameraPose camera;
    for (const MotionRecord &record : records) {
        camera = PoseOfCut(camera, MotionOf(record.motion), 1);
        before.push_back(camera);
        after.push_back(PoseOfCut(camera, MotionOf(record.compensation), 1));
        AddPose(path.before, before.back());
        AddPose(path.after, after.back());
        path.seconds.push_back(record.seconds);
        path.starts.push_back(record.reset);
        path.margin.push_back(100 * MarginUsed(margins, record.compensation));
    }
    const bool measured = std::any_of(records.begin(), records.end(),
                                      [](const MotionRecord &record) { return record.measured; });
    path.known = MeasureShake(before, path.starts, framesPerSecond, path.shakeBefore) && measured;
    MeasureShake(after, path.starts, framesPerSecond, path.shakeAfter);
    return path;
}

std::vector<ShakeBand> ShakeSpectrum(const ReportPath &path, double framesPerSecond) {
    const std::vector<size_t> borders = SceneBorders(path.starts);
    size_t size = 0;
    for (size_t i = 1; i < borders.size(); i++) size = std::max(size, borders[i] - borders[i - 1]);
    size = std::min({size, (size_t)(kSegmentSeconds * framesPerSecond), kMostSegment});
    if (size < kLeastSegment) return {};
    PowerSum before(size), after(size);
    size_t stretches = 0;
    for (size_t i = 1; i < borders.size(); i++) {
        for (size_t begin = borders[i - 1]; begin + size <= borders[i];
             begin += size / 2, stretches++) {
            before.Add(path.before.row, begin);
            before.Add(path.before.column, begin);
            after.Add(path.after.row, begin);
            after.Add(path.after.column, begin);
        }
    }
    std::vector<ShakeBand> bands;
    const double step = framesPerSecond / (double)size, half = exp2(0.5 / kBandsOfOctave);
    for (int band = (int)ceil(kBandsOfOctave * log2(step * half));; band++) {
        const double hertz = exp2(band / kBandsOfOctave);
        if (hertz * half > framesPerSecond / 2) return bands;
        const double low = hertz / half / step, high = hertz * half / step;
        bands.push_back(
            {hertz, before.Between(low, high, stretches), after.Between(low, high, stretches)});
    }
}
