// SPDX-License-Identifier: BSD-2-Clause
// Paints the picture of a scene into tables; see scene.h for what it looks like.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <vector>

// 32 bits of noise for a key; equal keys give equal noise.
uint32_t HashNoise(uint32_t seed, uint32_t key);

// A square picture of side 2^bits that continues at its opposite sides.
struct Canvas {
    explicit Canvas(int sideBits)
        : bits(sideBits), side(1 << sideBits), luma((size_t)side * (size_t)side, 0),
          chroma((size_t)side * (size_t)side / 2, 128) {}

    int bits;
    int side;
    std::vector<int16_t> luma;
    std::vector<uint8_t> chroma; // side / 2 x side / 2 pairs of U and V
};

// Texture first, then the shapes that cover it.
void PaintTexture(Canvas &canvas, uint32_t seed);
void PaintShapes(Canvas &canvas, uint32_t seed);

// The luma as bytes, slightly blurred as a lens would: without, edges would flicker under
// interpolation.
std::vector<uint8_t> DevelopLuma(const Canvas &canvas);
