// SPDX-License-Identifier: BSD-2-Clause
// A picture with pitches: every plane in memory of its own between guard pages, its padding watched.
#pragma once

#include <memory>
#include <vector>

#include "quorvel/pitch.h"
#include "support/guarded.h"
#include "support/scene.h"

// First row to the end of the last, rows `pitch` apart; negative: stored bottom row first.
class PitchedPlane {
  public:
    PitchedPlane(int32_t width, int32_t height, int32_t pitch, Guarded::Side side);
    uint8_t *Top() const; // the top row: the last one in memory where the picture stands bottom up
    void Put(const uint8_t *packed);
    bool Get(uint8_t *packed) const; // false: what lies between the rows was written
    void ReadOnly() const { mMemory.ReadOnly(); }

  private:
    uint8_t *Row(int32_t y) const { return Top() + (ptrdiff_t)y * mPitch; }
    int32_t mWidth, mHeight, mPitch;
    Guarded mMemory;
};

struct PitchedFrame {
    MVS_PitchImage image = {};
    std::vector<std::unique_ptr<PitchedPlane>> planes;

    PitchedFrame(Size size, int32_t format, int32_t padding, bool bottomUp, Guarded::Side side);
    void Put(const Bytes &frame);
    bool Get(Bytes *frame) const; // the planes' bytes; gaps that odd sides leave stay
    void ReadOnly() const {
        for (const auto &plane : planes) plane->ReadOnly();
    }

  private:
    std::vector<size_t> mOffsets; // of the planes in a packed frame
};
