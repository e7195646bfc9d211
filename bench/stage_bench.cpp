// SPDX-License-Identifier: BSD-2-Clause
// Each stage inside whole frames, and what the stages are made of.
#include <benchmark/benchmark.h>

#include "cpu_clock.h"
#include "platform/workers.h"
#include "sizes.h"
#include "stages.h"
#include "warp/warp.h"

namespace {

struct StageCase {
    Size in, out;
    CpuLevel highest = kCpuLevels;
    int threads = 1;
};

// All stages of a frame together; each one's CPU and wall time are counters, in microseconds a frame.
// The system books the time of a thread that is still running somewhat later, so that CPU times of
// single stages hold for one thread only.
void RunStages(benchmark::State &state, const StageCase &c) {
    StagedFrames frames(c.in, c.out, SharedClip(c.in, 6), c.threads, c.highest);
    if (!frames.EqualsPublicCall()) {
        state.SkipWithError("the stages do not make the frames of the public call");
        return;
    }
    int64_t cpu[kStages] = {}, wall[kStages] = {};
    for (auto _ : state) {
        int64_t cpuBegin = CpuNanoseconds(), wallBegin = WallNanoseconds();
        for (int stage = 0; stage < kStages; stage++) {
            frames.Run((Stage)stage);
            const int64_t cpuEnd = CpuNanoseconds(), wallEnd = WallNanoseconds();
            cpu[stage] += cpuEnd - cpuBegin;
            wall[stage] += wallEnd - wallBegin;
            cpuBegin = cpuEnd;
            wallBegin = wallEnd;
        }
    }
    for (int stage = 0; stage < kStages; stage++) {
        const std::string name = kStageNames[stage];
        const double count = 1000.0 * (double)state.iterations();
        state.counters[name] = (double)cpu[stage] / count;
        state.counters[name + ", wall"] = (double)wall[stage] / count;
    }
}

// A still roll: how the cost of the warp grows with it.
void WarpAtRoll(benchmark::State &state, double milliradians) {
    const Clip &clip = SharedClip(k1080p, 6);
    const Handle handle = MakeHandle(k1080p, k1080p);
    MVS_Context *ctx = handle.get();
    Outputs outputs(k1080p.Frame());
    QEL_MVS_SetThreads(ctx, 1);
    ctx->lCompRow = 1717;
    ctx->lCompCol = -2929;
    ctx->lCompTheta = (int32_t)(milliradians * 65.536);
    int i = 0;
    for (auto _ : state) {
        ctx->pCurFrame = clip.Frame(i);
        ctx->pOutFrame = outputs.At(i);
        StabilizeFrameM3F0(ctx, ctx->pCurFrame, ctx->pOutFrame);
        i++;
    }
}

// Workers that find nothing to do.
void StartAndJoin(benchmark::State &state) {
    Workers *workers = CreateWorkers();
    for (auto _ : state) {
        StartWorkers(workers, (int32_t)state.range(0));
        JoinWorkers(workers);
    }
    DestroyWorkers(workers);
}

void AddStages(const std::string &where, const StageCase &c) {
    benchmark::RegisterBenchmark(("stages/" + where).c_str(), RunStages, c)->MeasureProcessCPUTime();
}

const bool registered = [] {
    AddStages("1080p", {k1080p, k1080p, kCpuLevels, 0});
    AddStages("1080p/one_thread", {k1080p, k1080p});
    AddStages("720p", {{1280, 720}, {1280, 720}});
    AddStages("4k", {{3840, 2160}, {3840, 2160}});
    AddStages("1080p_to_1792x984", {k1080p, {1792, 984}});
    for (const CpuLevel level : Levels())
        AddStages(std::string("1080p/level_") + LevelName(level), {k1080p, k1080p, level});
    for (const double roll : {0.0, 3.0, 6.0, 13.0, 20.0, 40.0})
        benchmark::RegisterBenchmark(("still_roll/" + std::to_string((int)roll) + "_mrad").c_str(),
                                     WarpAtRoll, roll)
            ->MeasureProcessCPUTime();
    benchmark::RegisterBenchmark("workers/start_and_join", StartAndJoin)
        ->Arg(1)
        ->Arg(3)
        ->MeasureProcessCPUTime();
    return true;
}();

} // namespace
