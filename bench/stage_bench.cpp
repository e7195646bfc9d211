// SPDX-License-Identifier: BSD-2-Clause
// Each stage inside whole frames, and what the stages are made of.
#include <benchmark/benchmark.h>

#include "cpu_clock.h"
#include "one_participant.h"
#include "platform/participants.h"
#include "quorvel/threads.h"
#include "sizes.h"
#include "stages.h"
#include "warp/map.h"
#include "warp/warp.h"

namespace {

struct StageCase {
    Size in, out;
    CpuLevel highest = kCpuLevels;
    bool oneParticipant = false;
};

// All stages of a frame together; each one's CPU and wall time are counters, in microseconds a frame. The
// system books the time of a thread that is still running somewhat later, so that CPU times of single stages
// hold for one participant only.
void RunStages(benchmark::State &state, const StageCase &c) {
    StagedFrames frames(c.in, c.out, SharedClip(c.in, 6), c.highest);
    if (!frames.EqualsPublicCall()) {
        state.SkipWithError("the stages do not make the frames of the public call");
        return;
    }
    const OneParticipant alone(c.oneParticipant);
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

// A still roll: how the cost of the block warp grows with it.
void WarpAtRoll(benchmark::State &state, bool luma, double milliradians, CpuLevel highest) {
    const Clip &clip = SharedClip(k1080p, 6);
    StagedFrames frames(k1080p, k1080p, clip, highest);
    MVS_Context *ctx = frames.Context();
    Outputs outputs(k1080p.Frame());
    ctx->lCompRow = 1717;
    ctx->lCompCol = -2929;
    ctx->lCompTheta = (int32_t)(milliradians * 65.536);
    const WarpMap map = MapWithZoom(ctx);
    int i = 0;
    for (auto _ : state) {
        const uint8_t *in = clip.Frame(i);
        uint8_t *out = outputs.At(i++);
        ctx->pCurFrame = in;
        ctx->pOutFrame = out;
        if (luma)
            StabY_Rotation_4x4_7to8(ctx, in, out, map.lR0, map.lC0, map.lZ, map.lS);
        else
            StabC2_Rotation_4x4_7to8(ctx, in + k1080p.Luma(), out + k1080p.Luma(), map.lR0 >> 1,
                                     map.lC0 >> 1, map.lZ, map.lS);
    }
}

void *Nothing(void *) { return nullptr; }

// Three threads that find nothing to do.
void CreateThreads(benchmark::State &state) {
    for (auto _ : state) {
        uintptr_t threads[3];
        for (uintptr_t &thread : threads) thread = zekMThreadCreate(Nothing, nullptr);
        for (uintptr_t thread : threads) zekMThreadDestory(thread);
    }
}

void AddStages(const std::string &where, const StageCase &c) {
    benchmark::RegisterBenchmark(("stages/" + where).c_str(), RunStages, c)->MeasureProcessCPUTime();
}

const bool registered = [] {
    AddStages("1080p", {k1080p, k1080p});
    AddStages("1080p/one_participant", {k1080p, k1080p, kCpuLevels, true});
    AddStages("720p", {{1280, 720}, {1280, 720}, kCpuLevels, true});
    AddStages("4k", {{3840, 2160}, {3840, 2160}, kCpuLevels, true});
    AddStages("1080p_to_1792x984", {k1080p, {1792, 984}, kCpuLevels, true});
    for (const CpuLevel level : Levels())
        AddStages(std::string("1080p/level_") + LevelName(level), {k1080p, k1080p, level, true});
    for (const double roll : {0.0, 3.0, 6.0, 13.0, 20.0, 40.0})
        for (const bool luma : {true, false})
            benchmark::RegisterBenchmark((std::string("still_roll/") + (luma ? "luma/" : "chroma/") +
                                          std::to_string((int)roll) + "_mrad")
                                             .c_str(),
                                         WarpAtRoll, luma, roll, kCpuLevels)
                ->MeasureProcessCPUTime();
    benchmark::RegisterBenchmark("threads/create_and_join_three", CreateThreads)->MeasureProcessCPUTime();
    return true;
}();

} // namespace
