// SPDX-License-Identifier: BSD-2-Clause
// Vector kernels against the portable ones that define them, at any alignment, with the bytes that they
// may touch between guard pages.
#include <string.h>

#include <algorithm>

#include "input.h"
#include "motion/cost_table.h"
#include "warp/mapping_kernels.h"
#include "warp/pixel_warp.h"
#include "warp/run_kernels.h"

namespace {

struct Plane : Guarded {
    Plane(Input *input, int32_t bytes, int32_t width)
        : Guarded((size_t)bytes, input->Byte() & 1 ? kAtStart : kAtEnd) {
        Paint(input, Data(), Size(), width, bytes / width + 1);
        ReadOnly();
    }
};

void Blocks(Input *input, const CostTable *fast) {
    const int32_t width = input->In(32, 72), height = input->In(29, 41), stride = 4 * width + 8;
    const Plane first(input, width * height, width), second(input, width * height, width);
    const uint8_t *p = first.Data() + input->In(0, height - 29) * width + input->In(0, width - 32);
    const uint8_t *q = second.Data() + input->In(0, height - 29) * width + input->In(0, width - 32);
    MUST(fast->pSad32(p, q, stride) == GetSad32AlignF0(p, q, stride));
    MUST(fast->pTexture32(p, width) == GetInnerSad32(p, width));
}

// A bound may only be answered by a sum that is not below it.
void Grids(Input *input, const CostTable *fast) {
    const int32_t areaW = input->In(61, 400), areaH = input->In(1, 60);
    const int32_t rows = GridRows(areaH), groups = GridGroups(areaW);
    const int32_t width = areaW + input->In(0, 40), skip = 10 * width - 64 * groups;
    const int32_t first = input->In(0, width - areaW);
    const Plane plane(input, 10 * (rows - 1) * width + first + areaW, width);
    const Plane samples(input, 16 * groups * rows, 16 * groups);
    const uint8_t *area = plane.Data() + first;
    const uint32_t want = GetGlobalSADAlignF0(samples.Data(), area, areaW, areaH, skip);
    const uint32_t bound = input->Byte() & 1 ? UINT32_MAX : want - 20 + (uint32_t)input->In(0, 40);
    const uint32_t got = fast->pGlobalSad(samples.Data(), area, areaW, areaH, skip, bound);
    MUST(got == want || (want >= bound && got >= bound));
}

// The last input row ends with the bytes that a step may read, the last output row with its own.
void Runs(Input *input, CpuLevel level) {
    const RunKernel run = RunKernelOf(level);
    if (!run) return;
    const int32_t phase = input->In(0, 15), steps = input->In(1, 20), component = input->In(1, 2);
    const int32_t reads = QEL_STEP_IN * (steps - 1) + QEL_STEP_READ, writes = QEL_STEP_OUT * steps;
    const int32_t stride = writes + input->In(0, 30), rows = phase >= 12 ? 5 : 4;
    const Plane in(input, stride * (rows - 1) + reads, stride);
    const Guarded out((size_t)(stride * 3 + writes), Guarded::kAtEnd, kUntouched);
    const Guarded want(out.Size(), Guarded::kAtStart, kUntouched);
    run(in.Data(), out.Data(), stride, phase / 4,
        (component == 1 ? kPlanarTaps : kPairTaps) + phase % 4, steps);
    for (int32_t b = 0; b < writes / 4 / component; b++) {
        const int32_t q = 14 * b + phase % 4; // of the block's column, behind the run's first sample
        const int32_t kernel = phase / 4 * 4 + q % 4;
        for (int32_t i = 0; i < component; i++)
            (component == 1 ? kPlanarKernels : kPairKernels)[kernel](
                in.Data() + q / 4 * component + i, want.Data() + 4 * b * component + i, stride);
    }
    MUST(!memcmp(out.Data(), want.Data(), out.Size()));
}

// A band of rows; the definition does the same rows anywhere.
void Pixels(Input *input, CpuLevel level) {
    const PixelKernels *definition = PixelKernelsOf(kCpuPortable), *fast = PixelKernelsOf(level);
    const PixelKernel kDefinitions[] = {definition->pLuma, definition->pNearest, definition->pPairs};
    const PixelKernel kFast[] = {fast->pLuma, fast->pNearest, fast->pPairs};
    const int32_t kind = input->In(0, 2), bytes = kind == 2 ? 2 : 1;
    const int32_t width = input->In(1, 90), height = input->In(1, 50), count = input->In(1, 120);
    const int32_t stride = width * bytes + input->In(0, 9), rows = input->In(1, 9);
    const Plane in(input, stride * (height - 1) + width * bytes, stride);
    const Guarded out((size_t)(count * bytes * rows), Guarded::kAtEnd, kUntouched),
        want(out.Size(), Guarded::kAtStart, kUntouched);
    const WarpMap map = {input->In(-9000, 50000), input->In(-9000, 50000), input->In(-9, 1100),
                         input->In(-1100, 1100)};
    WarpPlane plane = {kDefinitions[kind], kFast[kind], in.Data(), out.Data(), width, height, bytes,
                       count, stride, count * bytes};
    WarpPixelRows(&plane, &map, 0, rows);
    plane.pInside = plane.pAnywhere;
    plane.pOut = want.Data();
    WarpPixelRows(&plane, &map, 0, rows);
    MUST(!memcmp(out.Data(), want.Data(), out.Size()));
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input input = {data, data + size};
    do {
        const CpuLevel level = input.Level();
        const uint8_t which = input.Byte() & 3;
        if (which == 0) Blocks(&input, CostTableOf(level));
        if (which == 1) Grids(&input, CostTableOf(level));
        if (which == 2) Runs(&input, level);
        if (which == 3) Pixels(&input, level);
    } while (!input.Empty());
    return 0;
}
