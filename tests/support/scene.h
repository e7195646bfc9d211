// SPDX-License-Identifier: BSD-2-Clause
// An endless textured plane under a moving camera, in whole-number arithmetic: the same bytes
// everywhere.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <vector>

using Bytes = std::vector<uint8_t>;

struct Size {
    int32_t width, height;
    int32_t Luma() const { return width * height; }
    int32_t Frame() const { return Luma() * 3 >> 1; }
    int32_t Chroma() const { return (width >> 1) * (height >> 1); }
    bool operator==(const Size &o) const { return width == o.width && height == o.height; }
};

// Where the frame's centre looks, in 1/256 pixel, and how the frame is turned, in 1/65536 radian: the
// pixel at (dy, dx) from the centre shows the plane at (row + dy + theta * dx, col + dx - theta * dy).
struct Pose {
    int32_t row, col, theta;
};

// Planar frame. Chroma follows the luma: U is the luma at its own place, V is 255 - U.
Bytes Render(Size size, Pose pose, int32_t brightness = 0);

// A hand-held camera: a slow pan, shake of some pixels, a little roll.
std::vector<Bytes> ShakyClip(Size size, int32_t frames);

// What no camera sends, six frames: noise and checkerboards and flips from black to white (kind 0);
// jumps beyond the search, at full contrast and with the brightness changed (kind 1).
std::vector<Bytes> HostileClip(Size size, int kind);

// Planar to pairs (V first) and back; the gap that odd sides leave between the planes is carried along.
Bytes ToPairs(const Bytes &planar, Size size);
Bytes ToPlanar(const Bytes &pairs, Size size);

struct Random {
    uint64_t state = 88172645463325252u;
    uint32_t Next();
    int32_t In(int32_t lo, int32_t hi) { return lo + (int32_t)(Next() % (uint32_t)(hi - lo + 1)); }
};
Bytes Noise(int32_t size, uint64_t seed);

// FNV-1a of 64 bits.
uint64_t Hash(const Bytes &bytes, uint64_t start = 14695981039346656037u);
