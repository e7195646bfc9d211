// SPDX-License-Identifier: BSD-2-Clause
// Vector kernels against the portable ones that define them, at any alignment, with the bytes that they
// may touch between guard pages.
#include <string.h>

#include <algorithm>

#include "input.h"
#include "motion/grid.h"
#include "warp/pixel_warp.h"
#include "warp/strip.h"

namespace {

struct Plane : Guarded {
    Plane(Input *input, int32_t bytes, int32_t width)
        : Guarded((size_t)bytes, input->Byte() & 1 ? kAtStart : kAtEnd) {
        Paint(input, Data(), Size(), width, bytes / width + 1);
        ReadOnly();
    }
};

void Blocks(Input *input, const Kernels *fast) {
    const int32_t width = input->In(32, 72), height = input->In(29, 41), stride = 4 * width + 8;
    const Plane first(input, width * height, width), second(input, width * height, width);
    const uint8_t *p = first.Data() + input->In(0, height - 29) * width + input->In(0, width - 32);
    const uint8_t *q = second.Data() + input->In(0, height - 29) * width + input->In(0, width - 32);
    MUST(fast->pBlockSad32(p, q, stride) == BlockSad32Portable(p, q, stride));
    MUST(fast->pTexture32(p, width) == Texture32Portable(p, width));
}

// A bound may only be answered by a sum that is not below it.
void Grids(Input *input, const Kernels *fast) {
    const int32_t areaW = input->In(61, 400), areaH = input->In(1, 60);
    Grid grid = GridOf(areaW, areaH, 0);
    const int32_t width = areaW + input->In(0, 40), first = input->In(0, width - areaW);
    grid.lRowSkip = 10 * width - 64 * grid.lGroups;
    const Plane plane(input, 10 * (grid.lRows - 1) * width + first + areaW, width);
    const Plane samples(input, (int32_t)GridSize(&grid), 16 * grid.lGroups);
    const uint8_t *area = plane.Data() + first;
    const uint32_t want = GridSadPortable(samples.Data(), area, &grid, UINT32_MAX);
    const uint32_t bound = input->Byte() & 1 ? UINT32_MAX : want - 20 + (uint32_t)input->In(0, 40);
    const uint32_t got = fast->pGridSad(samples.Data(), area, &grid, bound);
    MUST(got == want || (want >= bound && got >= bound));
}

// The last input row ends with the bytes that a step may read, the last output row with its own.
void Strips(Input *input, const Kernels *fast) {
    const int32_t phase = input->In(0, 15), steps = input->In(1, 20), bytes = input->In(1, 2);
    const int32_t reads = QEL_STEP_IN * (steps - 1) + QEL_STEP_READ, writes = QEL_STEP_OUT * steps;
    const int32_t stride = writes + input->In(0, 30), rows = phase >= 12 ? 5 : 4;
    const Plane in(input, stride * (rows - 1) + reads, stride);
    const Guarded out((size_t)(stride * 3 + writes), Guarded::kAtEnd, kUntouched);
    const Guarded want(out.Size(), Guarded::kAtStart, kUntouched);
    fast->pStrip(in.Data(), out.Data(), stride, phase / 4, phase % 4, bytes, steps);
    StripPortable(in.Data(), want.Data(), stride, phase / 4, phase % 4, bytes, steps);
    MUST(!memcmp(out.Data(), want.Data(), out.Size()));
}

// A band of rows; the portable kernels do the same rows anywhere.
void Pixels(Input *input, const Kernels *fast) {
    const int32_t kind = input->In(0, 2), bytes = kind == 2 ? 2 : 1;
    const int32_t width = input->In(1, 90), height = input->In(1, 50), count = input->In(1, 120);
    const int32_t stride = width * bytes + input->In(0, 9), rows = input->In(1, 9);
    const Plane in(input, stride * (height - 1) + width * bytes, stride);
    const Guarded out((size_t)(count * bytes * rows), Guarded::kAtEnd, kUntouched),
        want(out.Size(), Guarded::kAtStart, kUntouched);
    const WarpMap map = {input->In(-9000, 50000), input->In(-9000, 50000), input->In(-9, 1100),
                         input->In(-1100, 1100)};
    WarpPlane plane = {in.Data(), out.Data(), width,         height, count,
                       rows,      stride,     count * bytes, bytes,  rows};
    const RowWarp warp = kind == 0 ? WarpLumaRows : WarpNearestRows;
    warp(fast, &plane, &map, 0, rows);
    plane.pOut = want.Data();
    warp(KernelsOf(kCpuPortable), &plane, &map, 0, rows);
    MUST(!memcmp(out.Data(), want.Data(), out.Size()));
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input input = {data, data + size};
    do {
        const Kernels *fast = KernelsOf(input.Level());
        const uint8_t which = input.Byte() & 3;
        if (which == 0) Blocks(&input, fast);
        if (which == 1) Grids(&input, fast);
        if (which == 2) Strips(&input, fast);
        if (which == 3) Pixels(&input, fast);
    } while (!input.Empty());
    return 0;
}
