// SPDX-License-Identifier: BSD-2-Clause
// Rules that depend on the size of a frame.
#pragma once

#include <stdint.h>

const int32_t kMaxSide = 16384; // of an input or output frame

// Narrow inputs have 16-pixel blocks, all others blocks of 32.
static inline bool HasBlocks32(int32_t lInWidth) { return lInWidth > 200; }

// Mode 3: large outputs are warped by blocks of 4x4 pixels, smaller ones pixel by pixel.
static inline bool IsLargeOutput(int32_t lOutWidth, int32_t lOutHeight) {
    return lOutWidth >= 320 && lOutHeight >= 240;
}

// Whole blocks cover an output of such a height, in the luma and in the chroma.
static inline bool HasWholeChromaBlocks(int32_t lOutHeight) { return lOutHeight % 8 == 0; }
