// SPDX-License-Identifier: BSD-2-Clause
#include "clip.h"

#include <map>
#include <memory>
#include <tuple>
#include <utility>

#include "clipgen/scene.h"

namespace {

const double kTurn = 6.283185307179586;

// Whole numbers of swings, so that the last frame leads to the first one again.
double Swing(int swings, double start, int frame, int frames) {
    return PlainSine(kTurn * (swings * frame / (double)frames + start));
}

const Scene &SharedScene(uint32_t seed) {
    static std::map<uint32_t, std::unique_ptr<Scene>> scenes;
    std::unique_ptr<Scene> &scene = scenes[seed];
    if (!scene) scene = std::make_unique<Scene>(seed);
    return *scene;
}

} // namespace

Clip::Clip(Size size, const Motion &motion, int frames)
    : mFrames(frames), mFrameSize(size.Frame()), mBytes(size.Frame() * (size_t)frames) {
    const Scene &scene = SharedScene(motion.sceneSeed);
    const double shake = size.width / 240.0;
    for (int i = 0; i < frames; i++) {
        CameraPose pose;
        pose.x = 700 + motion.pan * i +
                 shake * (0.7 * Swing(2, 0.1, i, frames) + 0.3 * Swing(5, 0.4, i, frames));
        pose.y = 500 + shake * (0.7 * Swing(2, 0.8, i, frames) + 0.3 * Swing(7, 0.2, i, frames));
        pose.angle = 0.001 * motion.rollMilliradians * Swing(2, 0.55, i, frames);
        scene.RenderNV21(pose, size.width, size.height, mBytes.data() + (size_t)i * mFrameSize);
    }
}

Clip::Clip(Size size, std::vector<uint8_t> bytes)
    : mFrames((int)(bytes.size() / size.Frame())), mFrameSize(size.Frame()), mBytes(std::move(bytes)) {}

const Clip &SharedClip(Size size, double rollMilliradians) {
    static std::map<std::tuple<int, int, double>, std::unique_ptr<Clip>> clips;
    std::unique_ptr<Clip> &clip = clips[{size.width, size.height, rollMilliradians}];
    if (!clip) {
        Motion motion;
        motion.rollMilliradians = rollMilliradians;
        clip = std::make_unique<Clip>(size, motion);
    }
    return *clip;
}
