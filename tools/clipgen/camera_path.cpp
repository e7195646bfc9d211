// SPDX-License-Identifier: BSD-2-Clause
#include "clipgen/camera_path.h"

#include <math.h>

#include "clipgen/scene_paint.h"

namespace {

const double kPi = 3.14159265358979323846;

// The band of a hand's unrest, and how many swings it is made of: enough that no rhythm shows.
const double kLowest = 1.0;
const double kHighest = 8.0;
const int kSwings = 24;

double Fraction(uint32_t seed, uint32_t key) { return HashNoise(seed, key) / 4294967296.0; }

double RoundTo(double value, double steps) { return floor(value * steps + 0.5) / steps; }

} // namespace

CameraPath::CameraPath(const PathOptions &options)
    : mOptions(options), mX(MakeSwings(options.seed, 301, options.shake)),
      mY(MakeSwings(options.seed, 302, options.shake)),
      mAngle(MakeSwings(options.seed, 303, options.roll)) {}

// Swings spread evenly over the band, weaker the faster they are.
std::vector<CameraPath::Swing> CameraPath::MakeSwings(uint32_t seed, uint32_t series, double strength) {
    uint32_t key = HashNoise(seed, series);
    std::vector<Swing> swings;
    double power = 0;
    for (int i = 0; i < kSwings; i++) {
        double place = (i + Fraction(key, (uint32_t)(2 * i))) / kSwings;
        double frequency = kLowest + (kHighest - kLowest) * place * place;
        double amplitude = (0.3 + Fraction(key, (uint32_t)(1000 + i))) / frequency;
        swings.push_back({frequency, Fraction(key, (uint32_t)(2 * i + 1)), amplitude});
        power += amplitude * amplitude / 2;
    }
    for (Swing &swing : swings) swing.amplitude *= strength / sqrt(power);
    return swings;
}

double CameraPath::Sum(const std::vector<Swing> &swings, double time) {
    double sum = 0;
    for (const Swing &swing : swings)
        sum += swing.amplitude * PlainSine(2 * kPi * (swing.frequency * time + swing.phase));
    return sum;
}

CameraPose CameraPath::Pose(int frame) const {
    double time = frame / mOptions.framesPerSecond;
    CameraPose pose;
    pose.x = RoundTo(Sum(mX, time) + mOptions.pan * time, 65536);
    pose.y = RoundTo(Sum(mY, time), 65536);
    pose.angle = RoundTo(Sum(mAngle, time) + mOptions.turn * time, 16777216);
    return pose;
}

PoseMotion MotionBetween(const CameraPose &before, const CameraPose &now) {
    double c = PlainCosine(before.angle);
    double s = PlainSine(before.angle);
    double dx = now.x - before.x;
    double dy = now.y - before.y;
    return {c * dy - s * dx, c * dx + s * dy, now.angle - before.angle};
}

CameraPose PoseOfCut(const CameraPose &pose, const PoseMotion &cut, double zoom) {
    double c = PlainCosine(pose.angle) / pose.zoom;
    double s = PlainSine(pose.angle) / pose.zoom;
    CameraPose result;
    result.x = pose.x + c * cut.col - s * cut.row;
    result.y = pose.y + c * cut.row + s * cut.col;
    result.angle = pose.angle + cut.theta;
    result.zoom = pose.zoom * zoom;
    return result;
}
