// SPDX-License-Identifier: BSD-2-Clause
// The block warp: maps the corner of each 4x4 block, and resamples the block with a fixed kernel.
#pragma once

#include "warp/warp_task.h"

// The map with steps for whole blocks instead of pixels.
WarpMap BlockMap(const WarpMap *pMap);

// Warps rows lFirst .. lEnd - 1 of blocks. The map has steps for whole blocks.
void WarpBlockRows(const Kernels *pKernels, const WarpPlane *pPlane, const WarpMap *pMap,
                   int32_t lFirst, int32_t lEnd);
