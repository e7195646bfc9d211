// SPDX-License-Identifier: BSD-2-Clause
// A procedural flat scene and a camera that looks at it.
//
// The scene has texture at all scales, hard-edged shapes in colour, and patches with next to no
// texture. It repeats every Scene::kSize pixels in both directions. Pictures are a function of seed,
// pose and size alone: everything that decides a pixel is integer arithmetic, on every compiler and
// processor alike.
#pragma once

#include <limits.h>
#include <stddef.h>
#include <stdint.h>

#include <vector>

// Where the camera looks. The pixel at offset (dy, dx) from the picture's centre shows the scene at
//
//     y + (cos(angle) * dy + sin(angle) * dx) / zoom
//     x + (cos(angle) * dx - sin(angle) * dy) / zoom
//
// so that the motion between two poses with small angles is what MVS_MotionInfo calls row, col and
// theta.
struct CameraPose {
    double x = 0;
    double y = 0;
    double angle = 0; // radians
    double zoom = 1;  // larger shows less of the scene
};

// Sine and cosine by basic operations only: the mathematical library's last digit differs between
// systems.
double PlainSine(double angle);
double PlainCosine(double angle);

// Rows of a picture, by default all. Both even: two rows of luma share one of chroma.
struct RowRange {
    int first = 0;
    int end = INT_MAX; // the row after the last one, cut to the height
};

class Scene {
  public:
    static const int kSize = 2048;

    explicit Scene(uint32_t seed);

    // Frames without padding, of an even size: luma, then the planes U and V or one of V,U pairs.
    // Rows out of the range stay as they are.
    void RenderI420(const CameraPose &pose, int width, int height, uint8_t *frame,
                    RowRange rows = {}) const;
    void RenderNV21(const CameraPose &pose, int width, int height, uint8_t *frame,
                    RowRange rows = {}) const;
    void RenderLuma(const CameraPose &pose, int width, int height, uint8_t *luma,
                    RowRange rows = {}) const;

  private:
    std::vector<uint8_t> mLuma;   // kSize x kSize
    std::vector<uint8_t> mChroma; // half of that each way, U,V pairs
};
