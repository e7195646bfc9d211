// SPDX-License-Identifier: BSD-2-Clause
// The kernels by themselves, on data in the cache, at each level of vector instructions.
#include <benchmark/benchmark.h>

#include "handle.h"
#include "motion/cost_table.h"
#include "motion/motion.h"
#include "quorvel/memory.h"
#include "quorvel/pitch.h"
#include "sizes.h"
#include "warp/mapping_kernels.h"
#include "warp/pixels.h"
#include "warp/run_kernels.h"

namespace {

const int kStride = 1920;

const uint8_t *Input() { return SharedClip(k1080p, 6).Frame(0); }

// ---- block warp ----

// All 16 phases of a family in turn; items are blocks.
void MapBlocks(benchmark::State &state, const MappingKernel *kernels) {
    std::vector<uint8_t> out(8 * kStride);
    const uint8_t *in = Input();
    for (auto _ : state) {
        for (int x = 0; x < 128; x++) kernels[x & 15](in + 7 * x, out.data() + 8 * x, kStride);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * 128);
}

// A whole row of luma blocks in one run, or in runs of one step as under a strong roll; items are steps.
void Run(benchmark::State &state, RunKernel run, const RunTaps *taps, int steps) {
    std::vector<uint8_t> out(4 * kStride);
    const uint8_t *in = Input();
    for (auto _ : state) {
        for (int done = 0; done < 120; done += steps)
            run(in + QEL_STEP_IN * done, out.data() + QEL_STEP_OUT * done, kStride, done & 3, taps, steps);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * 120);
}

// ---- per-pixel warp: a row inside the plane; items are pixels ----

void Pixels(benchmark::State &state, PixelKernel kernel, int zoom, int step) {
    const int count = 900;
    std::vector<uint8_t> out(2 * (size_t)count);
    const PixelPlane plane = {Input(), kStride, 1078, 958, kStride, 1}; // 960 pixels of one byte or two
    for (auto _ : state) {
        kernel(&plane, out.data(), 300 << 10, 10 << 10, zoom, step, 0, count);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * count);
}

// ---- costs ----

// The search's grid of a 1080p frame; items are samples.
void GridSad(benchmark::State &state, GlobalSad sad) {
    const int range = 160, areaW = kStride - 2 * range, areaH = 1080 - 2 * range;
    const int skip = areaW - 64 * GridGroups(areaW) + 2 * range + 9 * kStride;
    const uint8_t *area = Input() + range * kStride + range;
    uint8_t *samples = GetCurBuffer(area, areaW, areaH, skip, areaH / 10);
    const uint8_t *previous = SharedClip(k1080p, 6).Frame(1) + range * kStride + range;
    for (auto _ : state)
        benchmark::DoNotOptimize(sad(samples, previous, areaW, areaH, skip, UINT32_MAX));
    state.SetItemsProcessed(state.iterations() * 16 * GridGroups(areaW) * GridRows(areaH));
    MMemFree(nullptr, samples);
}

// Items are samples.
void Gather(benchmark::State &state, GridGather gather) {
    const int range = 160, areaW = kStride - 2 * range, areaH = 1080 - 2 * range;
    const int skip = areaW - 64 * GridGroups(areaW) + 2 * range + 9 * kStride;
    std::vector<uint8_t> samples((size_t)(16 * GridGroups(areaW) * GridRows(areaH)));
    for (auto _ : state) {
        gather(samples.data(), Input() + range * kStride + range, areaW, areaH, skip);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * (int64_t)samples.size());
}

// A block of 32 x 32 against candidates around it; items are candidates.
void Sad32(benchmark::State &state, BlockSad sad) {
    const uint8_t *block = Input() + 320 * kStride + 640;
    for (auto _ : state)
        for (int x = 0; x < 64; x++)
            benchmark::DoNotOptimize(sad(block, block + x - 32, 4 * kStride + 8));
    state.SetItemsProcessed(state.iterations() * 64);
}
void Texture32(benchmark::State &state, BlockTexture texture) {
    const uint8_t *block = Input() + 320 * kStride;
    for (auto _ : state)
        for (int x = 0; x < 32; x++) benchmark::DoNotOptimize(texture(block + 32 * x, kStride));
    state.SetItemsProcessed(state.iterations() * 32);
}
void Sad16(benchmark::State &state) {
    const uint8_t *block = Input() + 320 * kStride + 640;
    for (auto _ : state)
        for (int x = 0; x < 64; x++) benchmark::DoNotOptimize(GetSad16F0(block, block + x - 32, kStride));
    state.SetItemsProcessed(state.iterations() * 64);
}

// ---- chroma of a 1080p frame; items are samples ----

void SplitPairs(benchmark::State &state) {
    std::vector<uint8_t> planes(k1080p.Luma() / 2);
    uint8_t *v = planes.data() + planes.size() / 2;
    for (auto _ : state) UV_NV21_to_I420(planes.data(), v, Input() + k1080p.Luma(), 960, 540);
    state.SetItemsProcessed(state.iterations() * 2 * 960 * 540);
}
void JoinPairs(benchmark::State &state) {
    std::vector<uint8_t> pairs(k1080p.Luma() / 2);
    const uint8_t *u = Input() + k1080p.Luma(), *v = u + pairs.size() / 2;
    for (auto _ : state) UV_I420_to_NV21(u, v, pairs.data(), 960, 540);
    state.SetItemsProcessed(state.iterations() * 2 * 960 * 540);
}
void ToPacked(benchmark::State &state) {
    std::vector<uint8_t> packed(k1080p.Luma() * 2);
    const uint8_t *u = Input() + k1080p.Luma(), *v = u + k1080p.Luma() / 4;
    for (auto _ : state) I420_uyvy_conversion_c(Input(), u, v, packed.data(), 1920, 1080, 3840);
    state.SetItemsProcessed(state.iterations() * 3 * 960 * 1080);
}
void FromPacked(benchmark::State &state) {
    std::vector<uint8_t> packed(k1080p.Luma() * 2, 77), frame(k1080p.Frame());
    uint8_t *u = frame.data() + k1080p.Luma(), *v = u + k1080p.Luma() / 4;
    for (auto _ : state) uyvy_I420_conversion_c(packed.data(), frame.data(), u, v, 1920, 1080, 3840);
    state.SetItemsProcessed(state.iterations() * 3 * 960 * 1080);
}

const bool registered = [] {
    using benchmark::RegisterBenchmark;
    RegisterBenchmark("kernel/blocks/planar", MapBlocks, kPlanarKernels);
    RegisterBenchmark("kernel/blocks/threaded", MapBlocks, kThreadedKernels);
    RegisterBenchmark("kernel/blocks/pairs", MapBlocks, kPairKernels);
    for (const CpuLevel level : Levels()) {
        const std::string end = std::string("/") + LevelName(level);
        if (const RunKernel run = RunKernelOf(level)) {
            RegisterBenchmark(("kernel/run/row" + end).c_str(), Run, run, &kPlanarTaps[1], 120);
            RegisterBenchmark(("kernel/run/single_steps" + end).c_str(), Run, run, &kPlanarTaps[1], 1);
            RegisterBenchmark(("kernel/run/pairs" + end).c_str(), Run, run, &kPairTaps[1], 120);
        }
        const PixelKernels *pixels = PixelKernelsOf(level);
        if (level == kCpuPortable || pixels->pLuma != LumaPixels) {
            RegisterBenchmark(("kernel/pixels/luma" + end).c_str(), Pixels, pixels->pLuma, 960, 6);
            RegisterBenchmark(("kernel/pixels/luma_steep" + end).c_str(), Pixels, pixels->pLuma, 960, 70);
            RegisterBenchmark(("kernel/pixels/luma_unzoomed" + end).c_str(), Pixels, pixels->pLuma, 1024, 6);
            RegisterBenchmark(("kernel/pixels/nearest" + end).c_str(), Pixels, pixels->pNearest, 960, 6);
            RegisterBenchmark(("kernel/pixels/pairs" + end).c_str(), Pixels, pixels->pPairs, 960, 6);
        }
        const CostTable *costs = CostTableOf(level);
        RegisterBenchmark(("kernel/grid_gather" + end).c_str(), Gather, costs->pGather);
        RegisterBenchmark(("kernel/grid_sad" + end).c_str(), GridSad, costs->pGlobalSad);
        RegisterBenchmark(("kernel/sad32" + end).c_str(), Sad32, costs->pSad32);
        RegisterBenchmark(("kernel/texture32" + end).c_str(), Texture32, costs->pTexture32);
    }
    RegisterBenchmark("kernel/sad16", Sad16);
    RegisterBenchmark("kernel/chroma/split_pairs", SplitPairs);
    RegisterBenchmark("kernel/chroma/join_pairs", JoinPairs);
    RegisterBenchmark("kernel/chroma/to_uyvy", ToPacked);
    RegisterBenchmark("kernel/chroma/from_uyvy", FromPacked);
    return true;
}();

} // namespace
