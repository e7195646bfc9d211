// SPDX-License-Identifier: BSD-2-Clause
// The benchmarks' input: a textured scene under a camera held by hand, as a cycle of frames that can be
// played for ever.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <vector>

struct Size {
    int width, height;
    size_t Luma() const { return (size_t)width * (size_t)height; }
    size_t Frame() const { return Luma() * 3 / 2; }
};

// Shake of 1/240 of the width (8 pixels at 1920) in both directions; pan in pixels a frame.
struct Motion {
    double rollMilliradians = 6; // amplitude
    double pan = 0;
    uint32_t sceneSeed = 1;
};

// NV21 frames. They serve as I420 too: the luma is the same, and what bytes the chroma holds costs
// nothing.
class Clip {
  public:
    static const int kFrames = 30; // at 1920x1080 three times a cache of 32 MB

    Clip(Size size, const Motion &motion, int frames = kFrames);
    Clip(Size size, std::vector<uint8_t> bytes); // frames made elsewhere

    int Frames() const { return mFrames; }
    const std::vector<uint8_t> &Bytes() const { return mBytes; }
    const uint8_t *Frame(int i) const { return mBytes.data() + (size_t)(i % mFrames) * mFrameSize; }

  private:
    int mFrames;
    size_t mFrameSize;
    std::vector<uint8_t> mBytes;
};

// Where results go, in turn: a camera has a queue of buffers, and the one that it hands out has left
// the cache at large sizes.
class Outputs {
  public:
    explicit Outputs(size_t bytes) : mBytes(bytes), mMemory(bytes * kBuffers) {}
    uint8_t *At(int i) { return mMemory.data() + (size_t)(i % kBuffers) * mBytes; }

  private:
    static const int kBuffers = 8;
    size_t mBytes;
    std::vector<uint8_t> mMemory;
};

// Rendered at the first call and kept.
const Clip &SharedClip(Size size, double rollMilliradians);
