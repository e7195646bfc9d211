// SPDX-License-Identifier: BSD-2-Clause
// The worst of 1,000 frames against the median: cuts, a fast pan, noise and flat pictures among hand
// shake.
//
// The work of a frame is the same at every play, so each frame counts with the median of its plays:
// what another process does to one of them is not the frame's cost. Prints JSON.
#include <stdio.h>

#include "cpu_clock.h"
#include "handle.h"
#include "quantile.h"
#include "sizes.h"

namespace {

const int kFrames = 1000;
const int kPlays = 7;

enum Kind { kShake, kCut, kPan, kNoise, kFlat, kKinds };
const char *const kKindNames[kKinds] = {"shake", "cut", "pan", "noise", "flat"};

struct Picture {
    Kind kind;
    const uint8_t *frame;
};

Clip NoiseClip(Size size, int frames) {
    std::vector<uint8_t> bytes(size.Frame() * (size_t)frames);
    uint64_t state = 88172645463325252u;
    for (uint8_t &byte : bytes) {
        state ^= state << 13;
        state ^= state >> 7;
        state ^= state << 17;
        byte = (uint8_t)(state >> 32);
    }
    return Clip(size, std::move(bytes));
}

Motion MakeMotion(double roll, double pan, uint32_t seed) {
    Motion motion;
    motion.rollMilliradians = roll;
    motion.pan = pan;
    motion.sceneSeed = seed;
    return motion;
}

struct Pictures {
    Clip first{k1080p, MakeMotion(6, 0, 1)}, second{k1080p, MakeMotion(6, 0, 2)};
    Clip pan{k1080p, MakeMotion(6, 60, 1)};
    Clip noise = NoiseClip(k1080p, 8);
    Clip flat{k1080p, std::vector<uint8_t>(k1080p.Frame(), 128)};

    // A hundred frames, ten times over.
    Picture At(int i) const {
        const int k = i % 100;
        if (k == 0 || k == 40 || k == 60) return {kCut, k == 40 ? second.Frame(0) : first.Frame(0)};
        if (k < 40) return {kShake, first.Frame(k)};
        if (k < 60) return {kShake, second.Frame(k)};
        if (k < 80) return {kPan, pan.Frame(k - 60)};
        if (k < 86) return {kNoise, noise.Frame(k)};
        if (k < 92) return {kFlat, flat.Frame(0)};
        return {kCut, k % 2 ? first.Frame(k) : second.Frame(k)}; // every frame another scene
    }
};

} // namespace

int main() {
    const Pictures pictures;
    std::vector<std::vector<double>> plays((size_t)kFrames);
    std::vector<uint8_t> out(k1080p.Frame());
    for (int play = 0; play < kPlays; play++) {
        const Handle handle = MakeHandle(k1080p, k1080p);
        // The first frame is warped only and brings the handle to life; it is not one of the thousand.
        QEL_MVS_StabilizeFrame(handle.get(), pictures.At(kFrames - 1).frame, out.data());
        for (int i = 0; i < kFrames; i++) {
            const int64_t begin = CpuNanoseconds();
            QEL_MVS_StabilizeFrame(handle.get(), pictures.At(i).frame, out.data());
            plays[(size_t)i].push_back((double)(CpuNanoseconds() - begin) / 1000);
        }
    }

    std::vector<double> frames;
    double raw = 0, worst[kKinds] = {}, all = 0;
    std::vector<double> kinds[kKinds];
    for (int i = 0; i < kFrames; i++) {
        const std::vector<double> &times = plays[(size_t)i];
        const double time = Quantile(times, 0.5);
        const Kind kind = pictures.At(i).kind;
        frames.push_back(time);
        kinds[kind].push_back(time);
        worst[kind] = std::max(worst[kind], time);
        all = std::max(all, time);
        raw = std::max(raw, *std::max_element(times.begin(), times.end()));
    }
    printf("{\"frames\": %d, \"plays\": %d, \"median_us\": %.1f, \"worst_us\": %.1f,\n", kFrames,
           kPlays, Quantile(frames, 0.5), all);
    printf(" \"worst_single_measurement_us\": %.1f, \"kinds\": {\n", raw);
    for (int k = 0; k < kKinds; k++)
        printf("  \"%s\": {\"frames\": %zu, \"median_us\": %.1f, \"worst_us\": %.1f}%s\n",
               kKindNames[k], kinds[k].size(), Quantile(kinds[k], 0.5), worst[k],
               k + 1 < kKinds ? "," : "}}");
    return 0;
}
