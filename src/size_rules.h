// SPDX-License-Identifier: BSD-2-Clause
// What a frame's size decides, each rule once.
#pragma once

#include <stdint.h>

const int32_t kMaxSide = 16384; // of an input or output frame

// Narrow inputs have 16-pixel blocks, all others blocks of 32.
static inline bool HasBlocks32(int32_t lInWidth) { return lInWidth > 200; }

// Mode 3: large outputs are warped by blocks of 4x4 pixels, smaller ones pixel by pixel.
static inline bool IsLargeOutput(int32_t lOutWidth, int32_t lOutHeight) {
    return lOutWidth >= 320 && lOutHeight >= 240;
}

// The block warp covers such a height by whole blocks, in the luma and in the chroma.
static inline bool HasWholeChromaBlocks(int32_t lOutHeight) { return lOutHeight % 8 == 0; }
