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
    int threads = 0; // as QEL_MVS_SetThreads takes them
};

void RunFrames(benchmark::State &state, const FrameCase &c) {
    const Clip &clip = SharedClip(c.in, c.roll);
    const Handle handle = MakeHandle(c.in, c.out, c.format, c.mode, c.highest);
    if (!handle) {
        state.SkipWithError("no handle");
        return;
    }
    QEL_MVS_SetFullChroma(handle.get(), c.fullChroma);
    QEL_MVS_SetThreads(handle.get(), c.threads);
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

void AddOne(const std::string &name, const FrameCase &c) {
    benchmark::RegisterBenchmark(("frame/" + name).c_str(), RunFrames, c)->MeasureProcessCPUTime();
}

// With the default threads and with one.
void Add(const std::string &name, FrameCase c) {
    AddOne(name + "/default", c);
    c.threads = 1;
    AddOne(name + "/one_thread", c);
}

FrameCase Equal(Size size) {
    FrameCase c;
    c.in = c.out = size;
    return c;
}

void AddVariants() {
    FrameCase c = Equal(k1080p);
    c.inPlace = true;
    Add("1080p, in place", c);
    c = Equal(k1080p);
    c.format = QEL_MVS_FORMAT_I420;
    Add("1080p, I420", c);
    c.fullChroma = true;
    Add("1080p, I420, full chroma", c);
    Add("1920x1076", Equal({1920, 1076}));
    for (const double roll : {6.0, 20.0}) {
        const std::string end = roll == 6 ? "" : ", 20 mrad";
        c = Equal(k1080p);
        c.roll = roll;
        if (roll != 6) Add("1080p" + end, c);
        c.out = {1792, 984};
        Add("1080p to 1792x984" + end, c);
    }
    c = Equal(k1080p);
    c.in = {2112, 1188};
    for (const int mode : {1, 2}) {
        c.mode = mode;
        Add("2112x1188 to 1080p, mode " + std::to_string(mode), c);
    }
}

void AddLevels() {
    for (const CpuLevel level : Levels()) {
        FrameCase c = Equal(k1080p);
        c.highest = level;
        c.threads = 1;
        AddOne(std::string("1080p/level_") + LevelName(level), c);
    }
}

const bool registered = [] {
    for (const NamedSize &named : kSizes) Add(named.name, Equal(named.size));
    AddVariants();
    AddLevels();
    return true;
}();

} // namespace
