// SPDX-License-Identifier: BSD-2-Clause
// Whole frames through the public calls. CPU time is that of the process: all threads of a frame.
#include <benchmark/benchmark.h>

#include <math.h>
#include <string.h>

#include <algorithm>

#include "handle.h"
#include "sizes.h"

namespace {

struct FrameCase {
    Size in, out;
    int format = QEL_MVS_FORMAT_NV21;
    int mode = 3;
    double roll = 6;
    bool inPlace = false;
    bool fullChroma = false;
    CpuLevel highest = kCpuLevels;
    bool oneThread = false;
};

void RunFrames(benchmark::State &state, const FrameCase &c) {
    const Clip &clip = SharedClip(c.in, c.roll);
    const Handle handle = MakeHandle(c.in, c.out, c.format, c.mode, c.highest);
    if (!handle) {
        state.SkipWithError("no handle");
        return;
    }
    QEL_MVS_SetFullChroma(handle.get(), c.fullChroma);
    QEL_MVS_SetThreads(handle.get(), c.oneThread ? 1 : 0);
    Outputs out(std::max(c.in.Frame(), c.out.Frame()));
    const auto Frame = [&](int i) {
        QEL_MVS_StabilizeFrame(handle.get(), c.inPlace ? out.At(i) : clip.Frame(i), out.At(i));
    };

    int next = 0;
    double roll = 0, rollSum = 0; // of the compensation: what decides how the warp's blocks fall
    for (; next < clip.Frames(); next++) {
        if (c.inPlace) memcpy(out.At(next), clip.Frame(next), c.in.Frame());
        Frame(next);
        const double r = fabs(handle->lCompTheta / 65.536);
        roll = std::max(roll, r);
        rollSum += r;
    }
    for (auto _ : state) {
        if (c.inPlace) {
            state.PauseTiming();
            memcpy(out.At(next), clip.Frame(next), c.in.Frame());
            state.ResumeTiming();
        }
        Frame(next++);
    }
    state.counters["roll_max_mrad"] = roll;
    state.counters["roll_mean_mrad"] = rollSum / clip.Frames();
}

void Add(const std::string &name, const FrameCase &c) {
    benchmark::RegisterBenchmark(("frame/" + name).c_str(), RunFrames, c)->MeasureProcessCPUTime();
}

FrameCase Equal(Size size) {
    FrameCase c;
    c.in = c.out = size;
    return c;
}

// Every size in both formats and both ways; with one thread: what the threads cost.
void AddSizes() {
    for (const NamedSize &named : kSizes) {
        for (const bool planar : {false, true})
            for (const bool inPlace : {false, true}) {
                FrameCase c = Equal(named.size);
                c.format = planar ? QEL_MVS_FORMAT_I420 : QEL_MVS_FORMAT_NV21;
                c.inPlace = inPlace;
                Add(std::string(named.name) + (planar ? "/i420" : "/nv21") +
                        (inPlace ? "/in_place" : "/separate"),
                    c);
            }
        FrameCase c = Equal(named.size);
        c.oneThread = true;
        Add(std::string(named.name) + "/nv21/one_thread", c);
    }
}

void AddVariants() {
    for (const double roll : {0.0, 3.0, 20.0}) {
        FrameCase c = Equal(k1080p);
        c.roll = roll;
        Add("1080p/nv21/roll_" + std::to_string((int)roll), c);
    }
    for (const CpuLevel level : Levels()) {
        FrameCase c = Equal(k1080p);
        c.highest = level;
        c.oneThread = true;
        Add(std::string("1080p/nv21/level_") + LevelName(level), c);
    }
    FrameCase full = Equal(k1080p);
    full.format = QEL_MVS_FORMAT_I420;
    full.fullChroma = true;
    Add("1080p/i420/full_chroma", full);

    FrameCase odd = Equal({1920, 1076});
    Add("1920x1076/nv21", odd);
    odd.format = QEL_MVS_FORMAT_I420;
    Add("1920x1076/i420", odd);

    FrameCase unequal = Equal(k1080p);
    unequal.out = {1792, 984};
    Add("1080p_to_1792x984/nv21", unequal);
    unequal.format = QEL_MVS_FORMAT_I420;
    Add("1080p_to_1792x984/i420", unequal);

    FrameCase crop = Equal(k1080p);
    crop.in = {2112, 1188};
    for (const int mode : {1, 2}) {
        crop.mode = mode;
        Add("2112x1188_to_1080p/nv21/mode_" + std::to_string(mode), crop);
    }
}

const bool registered = [] {
    AddSizes();
    AddVariants();
    return true;
}();

} // namespace
