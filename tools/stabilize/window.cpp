// SPDX-License-Identifier: BSD-2-Clause
#include "stabilize/window.h"

#include <math.h>

#include <algorithm>
#include <functional>

#include "quality/jitter.h"
#include "video/interrupt.h"

namespace {

const int kLeastPercent = 60;
const int kMostPercent = 98;
const int kStride = 4;           // of the first search: a smaller window is not always the calmer one
const double kLeft = 0.1;        // of the input's shake, the most that may be left
const double kUnseen = 1e-4;     // of the width: a smaller shake does not matter
const double kUnseenRoll = 0.05; // mrad
const double kNearCalmest = 1.1; // where no window leaves so little: times the least that one leaves

PoseMotion MotionOf(const MVS_Compensation &from) {
    const double pixel = 65536, radian = 16777216;
    return {from.lMotionRow / pixel, from.lMotionCol / pixel, from.lMotionTheta / radian};
}

PoseMotion CutOf(const MVS_Compensation &from) {
    const double pixel = 65536, radian = 16777216;
    return {from.lRow / pixel, from.lCol / pixel, from.lTheta / radian};
}

// Of the camera as it was measured, or of what the output shows. False when no scene is long enough.
bool ShakeOf(const std::vector<FrameRecord> &records, bool shown, double framesPerSecond,
             FastShake &shake) {
    std::vector<CameraPose> poses;
    std::vector<bool> starts;
    CameraPose camera;
    for (const FrameRecord &record : records) {
        camera = PoseOfCut(camera, MotionOf(record.compensation), 1);
        poses.push_back(shown ? PoseOfCut(camera, CutOf(record.compensation), 1) : camera);
        starts.push_back(record.compensation.lFlags & QEL_MVS_NEW_SCENE);
    }
    return MeasureShake(poses, starts, framesPerSecond, shake);
}

struct Trial {
    int percent = 0;
    FastShake left;
    double excess = 0; // the worse of both, over the most that may be left
};

FastShake ShakeLeft(const StreamInfo &info, RefinedSettings settings, int percent,
                    const std::vector<FrameRecord> &records) {
    settings.window = percent / 100.0;
    RefinedStabilizer trial(info, settings, 1);
    trial.Replay(records);
    trial.EndMeasuring();
    FastShake shake;
    ShakeOf(trial.TakeRecords(), true, RateOf(info).Value(), shake);
    return shake;
}

// The largest window that leaves little enough. Steps down until one does, then looks for it between
// the last two.
Trial Search(const std::function<Trial(int percent)> &attempt) {
    std::vector<Trial> trials;
    double calmest = INFINITY;
    for (int percent = kMostPercent; calmest > 1;
         percent = std::max(percent - kStride, kLeastPercent)) {
        trials.push_back(attempt(percent));
        calmest = std::min(calmest, trials.back().excess);
        if (percent == kLeastPercent || Interrupted()) break;
    }
    const double enough = calmest > 1 ? kNearCalmest * calmest : 1;
    size_t first = 0;
    while (trials[first].excess > enough) first++;
    Trial taken = trials[first];
    int high = first > 0 ? trials[first - 1].percent : taken.percent + 1;
    while (high - taken.percent > 1 && !Interrupted()) {
        const Trial middle = attempt((taken.percent + high) / 2);
        if (middle.excess <= enough)
            taken = middle;
        else
            high = middle.percent;
    }
    return taken;
}

} // namespace

bool MeasureShake(const std::vector<CameraPose> &poses, const std::vector<bool> &starts,
                  double framesPerSecond, FastShake &shake) {
    size_t used = 0;
    const PathRms rms = Jitter(poses, starts, framesPerSecond, kShakeCutoff, used);
    shake = {hypot(rms.row, rms.col), 1000 * rms.angle};
    return used > 0;
}

WindowChoice ChooseWindow(const StreamInfo &info, const RefinedSettings &settings,
                          const std::vector<FrameRecord> &records) {
    WindowChoice choice;
    choice.window = settings.window;
    choice.known = ShakeOf(records, false, RateOf(info).Value(), choice.before);
    if (!choice.known) return choice;
    FastShake most = {std::max(kLeft * choice.before.pixels, kUnseen * info.size.width),
                      std::max(kLeft * choice.before.milliradians, kUnseenRoll)};
    if (!settings.roll) most.milliradians = INFINITY;
    const Trial taken = Search([&](int percent) {
        const FastShake left = ShakeLeft(info, settings, percent, records);
        return Trial{percent, left,
                     std::max(left.pixels / most.pixels, left.milliradians / most.milliradians)};
    });
    choice.after = taken.left;
    choice.window = taken.percent / 100.0;
    return choice;
}
