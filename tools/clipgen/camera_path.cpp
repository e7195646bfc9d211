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

// Walking: the sway to both sides takes two steps, each step bobs once.
const double kStride = 0.95;
const double kHandOfWalker = 0.3;

// Stop and go: still, then moving, with this much time to speed up and to slow down.
const double kHalt = 2;
const double kRamp = 0.2;

const uint32_t kSeriesX = 301;
const uint32_t kSeriesY = 302;
const uint32_t kSeriesAngle = 303;

double Fraction(uint32_t seed, uint32_t key) { return HashNoise(seed, key) / 4294967296.0; }

double RoundTo(double value, double steps) { return floor(value * steps + 0.5) / steps; }

} // namespace

CameraPath::CameraPath(const PathOptions &options)
    : mOptions(options), mX(MakeAxis(options, kSeriesX, options.shake)),
      mY(MakeAxis(options, kSeriesY, options.shake)),
      mAngle(MakeAxis(options, kSeriesAngle, options.roll)) {}

std::vector<CameraPath::Swing> CameraPath::MakeAxis(const PathOptions &options, uint32_t series,
                                                    double strength) {
    const double peak = strength * sqrt(2.0);
    const double phase = Fraction(options.seed, series);
    if (options.kind == PathKind::Tripod) return {};
    if (options.kind == PathKind::Swing) return {{options.frequency, phase, peak}};
    if (options.kind != PathKind::Walk) return MakeSwings(options.seed, series, strength);
    std::vector<Swing> swings = MakeSwings(options.seed, series, kHandOfWalker * strength);
    const double beat = series == kSeriesY ? 2 * kStride : kStride;
    swings.push_back({beat, phase, 0.9 * peak});
    swings.push_back({2 * beat, 2 * phase, 0.3 * peak});
    return swings;
}

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

double CameraPath::PanAt(double time) const {
    if (mOptions.kind != PathKind::StopAndGo) return mOptions.pan * time;
    const double period = 2 * kHalt;
    const double rounds = floor(time / period);
    const double going = fmax(0, time - rounds * period - kHalt);
    // Speed is a trapezoid of unit height over kHalt seconds.
    const double up = fmin(going, kRamp);
    const double level = fmin(fmax(0, going - kRamp), kHalt - 2 * kRamp);
    const double down = fmax(0, going - (kHalt - kRamp));
    const double way = up * up / (2 * kRamp) + level + down - down * down / (2 * kRamp);
    return mOptions.pan * (rounds * (kHalt - kRamp) + way);
}

CameraPose CameraPath::Pose(double frame) const {
    double time = frame / mOptions.framesPerSecond;
    CameraPose pose;
    pose.x = RoundTo(Sum(mX, time) + PanAt(time), 65536);
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
