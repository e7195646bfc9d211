// SPDX-License-Identifier: BSD-2-Clause
#include "stabilize/window.h"

#include <math.h>

#include <algorithm>

#include "quality/jitter.h"
#include "video/interrupt.h"

namespace {

const int kLeastPercent = 60;
const int kMostPercent = 98;
const int kStride = 4;           // of the first search: a smaller window is not always the calmer one
const double kCutoff = 1;        // Hz
const double kLeft = 0.1;        // of the input's shake, the most that may be left
const double kUnseen = 1e-4;     // of the width: a smaller shake does not matter
const double kUnseenRoll = 0.05; // mrad

PoseMotion MotionOf(const MVS_Compensation &from) {
    const double pixel = 65536, radian = 16777216;
    return {from.lMotionRow / pixel, from.lMotionCol / pixel, from.lMotionTheta / radian};
}

PoseMotion CutOf(const MVS_Compensation &from) {
    const double pixel = 65536, radian = 16777216;
    return {from.lRow / pixel, from.lCol / pixel, from.lTheta / radian};
}

// Of the camera as it was measured, or of what the output shows. False when no scene is long enough.
bool MeasureShake(const std::vector<FrameRecord> &records, bool shown, double framesPerSecond,
                  FastShake &shake) {
    std::vector<CameraPose> poses;
    std::vector<bool> starts;
    CameraPose camera;
    for (const FrameRecord &record : records) {
        camera = PoseOfCut(camera, MotionOf(record.compensation), 1);
        poses.push_back(shown ? PoseOfCut(camera, CutOf(record.compensation), 1) : camera);
        starts.push_back(record.compensation.lFlags & QEL_MVS_NEW_SCENE);
    }
    size_t used = 0;
    const PathRms rms = Jitter(poses, starts, framesPerSecond, kCutoff, used);
    shake = {hypot(rms.row, rms.col), 1000 * rms.angle};
    return used > 0;
}

FastShake ShakeLeft(const StreamInfo &info, RefinedSettings settings, int percent,
                    const std::vector<FrameRecord> &records) {
    settings.window = percent / 100.0;
    RefinedStabilizer trial(info, settings, 1);
    trial.Replay(records);
    trial.EndMeasuring();
    FastShake shake;
    MeasureShake(trial.TakeRecords(), true, RateOf(info).Value(), shake);
    return shake;
}

} // namespace

WindowChoice ChooseWindow(const StreamInfo &info, const RefinedSettings &settings,
                          const std::vector<FrameRecord> &records) {
    WindowChoice choice;
    choice.window = settings.window;
    choice.known = MeasureShake(records, false, RateOf(info).Value(), choice.before);
    if (!choice.known) return choice;
    FastShake most = {std::max(kLeft * choice.before.pixels, kUnseen * info.size.width),
                      std::max(kLeft * choice.before.milliradians, kUnseenRoll)};
    if (!settings.roll) most.milliradians = INFINITY;
    int low = kMostPercent, high = low + 1;
    const auto calm = [&](int percent) {
        const FastShake left = ShakeLeft(info, settings, percent, records);
        const bool yes = left.pixels <= most.pixels && left.milliradians <= most.milliradians;
        if (yes || percent == kLeastPercent) choice.after = left;
        return yes;
    };
    while (!calm(low) && low > kLeastPercent && !Interrupted()) {
        high = low;
        low = std::max(low - kStride, kLeastPercent);
    }
    while (high - low > 1 && !Interrupted()) {
        const int middle = (low + high) / 2;
        (calm(middle) ? low : high) = middle;
    }
    choice.window = low / 100.0;
    return choice;
}
