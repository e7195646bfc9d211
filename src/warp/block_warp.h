// SPDX-License-Identifier: BSD-2-Clause
// Rows of 4x4 blocks of one plane: each block's corner is mapped, its samples come from a fixed kernel.
#pragma once

#include "warp/warp_task.h"

// The map with the steps of a block.
WarpMap BlockMap(const WarpMap *pMap);

// Rows lFirst .. lEnd - 1 of blocks; the steps of the map are those of a block.
void WarpBlockRows(const Kernels *pKernels, const WarpPlane *pPlane, const WarpMap *pMap,
                   int32_t lFirst, int32_t lEnd);
