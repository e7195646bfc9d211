// SPDX-License-Identifier: BSD-2-Clause
// What bench/mca.sh traces: some calls of one kernel between two markers.
//   kernel_calls                  prints the cases: name, unit, and units of one run
//   kernel_calls NAME portable|neon
// The samples are all zero: no kernel's way depends on them.
#include <stdio.h>
#include <string.h>

#include "context.h"
#include "kernels.h"
#include "motion/grid.h"
#include "warp/pixels.h"
#include "warp/strip.h"

extern "C" {
__attribute__((noinline)) void TraceBegin() { __asm__ volatile(""); }
__attribute__((noinline)) void TraceEnd() { __asm__ volatile(""); }
}

namespace {

const int kStride = 1920;
uint8_t input[64 * kStride], output[8 * kStride];

const int kGroups = 25, kGridRows = 4;
const Grid kGrid = {kGroups, kGridRows, 10 * kStride - 64 * kGroups};
const int kSamples = 16 * kGroups * kGridRows;

void Gather(const Kernels *k) { k->pGatherGrid(output, input, &kGrid); }
void SadOfGrid(const Kernels *k) { k->pGridSad(output, input, &kGrid, UINT32_MAX); }

const int kCandidates = 16;

void Sad32(const Kernels *k) {
    for (int x = 0; x < kCandidates; x++) k->pBlockSad32(input, input + x, 4 * kStride + 8);
}
void Texture32(const Kernels *k) {
    for (int x = 0; x < kCandidates; x++) k->pTexture32(input + 32 * x, kStride);
}

const int kBlocks = 60;

void ErrorOfRow(const Kernels *k) {
    static MVS_BlockMV blocks[kBlocks];
    static const int32_t modelRow[kBlocks] = {};
    for (MVS_BlockMV &block : blocks) block.bValid = 1;
    TraceBegin(); // once more: what went before is not counted
    k->pRowError(blocks, kBlocks, modelRow, 700);
}

const int kSteps = 40;

template <int kSampleBytes> void Strips(const Kernels *k) {
    for (int rowPhase = 0; rowPhase < 4; rowPhase++)
        k->pStrip(input, output, kStride, rowPhase, 1, kSampleBytes, kSteps);
}

const int kPixels = 960;
const PixelPlane kPlane = {input, kStride, 61, 958, kStride, 1};

template <int kZoom, int kStep> void Luma(const Kernels *k) {
    k->pLumaPixels(&kPlane, output, 200, 300, kZoom, kStep, 0, kPixels - 24);
}
template <int kStep> void NearestBytes(const Kernels *k) {
    k->pNearestPixels(&kPlane, output, 200, 300, 960, kStep, 0, kPixels - 24);
}
template <int kStep> void NearestPairs(const Kernels *k) {
    k->pNearestPairs(&kPlane, output, 200, 300, 960, kStep, 0, kPixels - 24);
}

const struct {
    const char *name, *unit;
    int units;
    void (*run)(const Kernels *);
} kCases[] = {
    {"grid_gather", "sample", kSamples, Gather},
    {"grid_sad", "sample", kSamples, SadOfGrid},
    {"block_sad", "sample", 64 * kCandidates, Sad32},
    {"block_texture", "sample", 64 * kCandidates, Texture32},
    {"row_error", "block", kBlocks, ErrorOfRow},
    {"strip/luma", "byte", 4 * 64 * kSteps, Strips<1>},
    {"strip/pairs", "byte", 4 * 64 * kSteps, Strips<2>},
    {"pixels/luma", "pixel", kPixels - 24, Luma<960, 6>},
    {"pixels/luma_steep", "pixel", kPixels - 24, Luma<960, 60>},
    {"pixels/luma_unzoomed", "pixel", kPixels - 24, Luma<1024, 6>},
    {"pixels/nearest", "pixel", kPixels - 24, NearestBytes<6>},
    {"pixels/pairs", "pair", kPixels - 24, NearestPairs<6>},
};

} // namespace

static_assert(sizeof(Kernels) == 9 * sizeof(void *), "every kernel has a case above");

int main(int argc, char **argv) {
    for (const auto &c : kCases) {
        if (argc != 3)
            printf("%s %s %d\n", c.name, c.unit, c.units);
        else if (strcmp(argv[1], c.name) == 0) {
            const Kernels *kernels = KernelsOf(strcmp(argv[2], "neon") ? kCpuPortable : kCpuNeon);
            TraceBegin();
            c.run(kernels);
            TraceEnd();
        }
    }
    return 0;
}
