// SPDX-License-Identifier: BSD-2-Clause
// The kernels by themselves, on data in the cache, one table of kernels after the other.
#include <benchmark/benchmark.h>

#include "handle.h"
#include "kernels.h"
#include "motion/grid.h"
#include "motion/motion.h"
#include "quorvel/pitch.h"
#include "sizes.h"
#include "warp/mapping_kernels.h"
#include "warp/pixels.h"
#include "warp/strip.h"

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

// Rows of luma blocks as one strip, or as strips of one step as under a strong roll; items are steps.
void Strips(benchmark::State &state, StripKernel kernel, int sampleBytes, int steps) {
    std::vector<uint8_t> out(4 * kStride);
    const uint8_t *in = Input();
    for (auto _ : state) {
        for (int rowPhase = 0; rowPhase < 4; rowPhase++)
            for (int done = 0; done < 120; done += steps)
                kernel(in + QEL_STEP_IN * done, out.data() + QEL_STEP_OUT * done, kStride, rowPhase, 1,
                       sampleBytes, steps);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * 4 * 120);
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

// The search's grid of a 1080p frame.
const int kRange = 160;
Grid SearchGrid() {
    const int width = kStride - 2 * kRange;
    return GridOf(width, 1080 - 2 * kRange, width % kGroup + 2 * kRange + (kGridRowStep - 1) * kStride);
}
const uint8_t *SearchArea(int frame) {
    return SharedClip(k1080p, 6).Frame(frame) + kRange * kStride + kRange;
}

// Items are samples.
void Gather(benchmark::State &state, GridGather gather) {
    const Grid grid = SearchGrid();
    std::vector<uint8_t> samples((size_t)GridSize(&grid));
    for (auto _ : state) {
        gather(samples.data(), SearchArea(0), &grid);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * GridSize(&grid));
}
void SadOfGrid(benchmark::State &state, GridSad sad) {
    const Grid grid = SearchGrid();
    std::vector<uint8_t> samples((size_t)GridSize(&grid));
    GatherGridPortable(samples.data(), SearchArea(0), &grid);
    for (auto _ : state)
        benchmark::DoNotOptimize(sad(samples.data(), SearchArea(1), &grid, UINT32_MAX));
    state.SetItemsProcessed(state.iterations() * GridSize(&grid));
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
        for (int x = 0; x < 64; x++)
            benchmark::DoNotOptimize(GetSad16F0(block, block + x - 32, kStride));
    state.SetItemsProcessed(state.iterations() * 64);
}

// ---- rotation search: a row of 1080p blocks; items are blocks ----

void ErrorOfRow(benchmark::State &state, RowError error) {
    const int count = kStride / 32;
    std::vector<MVS_BlockMV> blocks;
    std::vector<int32_t> modelRow;
    for (int i = 0; i < count; i++) {
        blocks.push_back({i % 8 != 0, i % 5 - 2, i % 7 - 3});
        modelRow.push_back(300 + 11 * i);
    }
    for (auto _ : state) benchmark::DoNotOptimize(error(blocks.data(), count, modelRow.data(), -700));
    state.SetItemsProcessed(state.iterations() * count);
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
    RegisterBenchmark("kernel/blocks/planar", MapBlocks, kMappingKernels[0]);
    RegisterBenchmark("kernel/blocks/pairs", MapBlocks, kMappingKernels[1]);
    const Kernels *lower = nullptr;
    for (const CpuLevel level : Levels()) {
        const Kernels *kernels = KernelsOf(level);
        // A kernel that the level below has too is not measured again.
        const auto add = [&](const char *name, auto kernel, auto run) {
            if (lower && lower->*kernel == kernels->*kernel) return;
            const std::string full = std::string("kernel/") + name + "/" + LevelName(level);
            RegisterBenchmark(full.c_str(), run, kernels->*kernel);
        };
        const auto strips = [](int sampleBytes, int steps) {
            return
                [=](benchmark::State &state, StripKernel k) { Strips(state, k, sampleBytes, steps); };
        };
        const auto pixels = [](int zoom, int step) {
            return [=](benchmark::State &state, PixelKernel k) { Pixels(state, k, zoom, step); };
        };
        add("strip/row", &Kernels::pStrip, strips(1, 120));
        add("strip/single_steps", &Kernels::pStrip, strips(1, 1));
        add("strip/pairs", &Kernels::pStrip, strips(2, 120));
        add("pixels/luma", &Kernels::pLumaPixels, pixels(960, 6));
        add("pixels/luma_steep", &Kernels::pLumaPixels, pixels(960, 70));
        add("pixels/luma_unzoomed", &Kernels::pLumaPixels, pixels(1024, 6));
        add("pixels/nearest", &Kernels::pNearestPixels, pixels(960, 6));
        add("pixels/pairs", &Kernels::pNearestPairs, pixels(960, 6));
        add("grid_gather", &Kernels::pGatherGrid, Gather);
        add("grid_sad", &Kernels::pGridSad, SadOfGrid);
        add("block_sad", &Kernels::pBlockSad32, Sad32);
        add("block_texture", &Kernels::pTexture32, Texture32);
        add("row_error", &Kernels::pRowError, ErrorOfRow);
        lower = kernels;
    }
    RegisterBenchmark("kernel/block_sad_16", Sad16);
    RegisterBenchmark("kernel/chroma/split_pairs", SplitPairs);
    RegisterBenchmark("kernel/chroma/join_pairs", JoinPairs);
    RegisterBenchmark("kernel/chroma/to_uyvy", ToPacked);
    RegisterBenchmark("kernel/chroma/from_uyvy", FromPacked);
    return true;
}();

} // namespace
