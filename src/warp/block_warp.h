// SPDX-License-Identifier: BSD-2-Clause
// Rows of 4x4 blocks of one plane: each block's corner is mapped, its samples come from a fixed kernel.
#pragma once

#include "warp/warp_task.h"

static inline int32_t BlockCount(int32_t lSize) { return (lSize + 3) >> 2; }

// Block rows of a frame's chroma. By default only those under whole pairs of the luma's block rows: the
// last rows of chroma stay as they were.
int32_t ChromaBlockRows(const MVS_Context *pCtx);

// The map with the steps of a block.
WarpMap BlockMap(const WarpMap *pMap);

// Rows lFirst .. lEnd - 1 of blocks; the steps of the map are those of a block.
void WarpBlockRows(const Kernels *pKernels, const WarpPlane *pPlane, const WarpMap *pMap,
                   int32_t lFirst, int32_t lEnd);
