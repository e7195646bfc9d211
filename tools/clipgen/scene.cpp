// SPDX-License-Identifier: BSD-2-Clause
#include "clipgen/scene.h"

#include <algorithm>

#include "clipgen/scene_paint.h"

namespace {

const int kSizeBits = 11;
static_assert(Scene::kSize == 1 << kSizeBits, "the scene is a power of two wide");

// Scene positions are 32-bit words: 11 bits of whole pixels, the rest a fraction. Overflow is what
// makes the scene repeat, and a chroma position is the same word read with one bit less before the
// point.
const int kFractionBits = 32 - kSizeBits;
const double kPi = 3.14159265358979323846;

int64_t Rounded(double value) { return (int64_t)(value < 0 ? value - 0.5 : value + 0.5); }

uint32_t ScenePosition(double pixels) {
    return (uint32_t)Rounded(pixels * (double)((int64_t)1 << kFractionBits));
}

// The part of the scene under a picture: its top left sample, and what a step right or down adds.
struct Grid {
    uint32_t x, y;
    uint32_t xRight, yRight;
    uint32_t xDown, yDown;
};

// `pitch` is the distance between samples in luma pixels, the first of them at `first` from the left
// and upper edge's luma samples.
Grid MakeGrid(const CameraPose &pose, int width, int height, double pitch, double first) {
    double c = PlainCosine(pose.angle) / pose.zoom;
    double s = PlainSine(pose.angle) / pose.zoom;
    double dx = first - (width - 1) / 2.0;
    double dy = first - (height - 1) / 2.0;
    Grid grid;
    grid.x = ScenePosition(pose.x + c * dx - s * dy);
    grid.y = ScenePosition(pose.y + c * dy + s * dx);
    grid.xRight = grid.yDown = ScenePosition(c * pitch);
    grid.yRight = ScenePosition(s * pitch);
    grid.xDown = 0u - grid.yRight;
    return grid;
}

// The four texels around a position in a table of 2^bits each way, and the weights (0..255) of the
// right and lower ones.
struct Taps {
    Taps(uint32_t x, uint32_t y, int bits) {
        uint32_t mask = (1u << bits) - 1;
        uint32_t column = x >> (32 - bits);
        uint32_t row = (y >> (32 - bits)) << bits;
        uint32_t rowBelow = (((y >> (32 - bits)) + 1) & mask) << bits;
        uint32_t columnRight = (column + 1) & mask;
        upperLeft = row + column;
        upperRight = row + columnRight;
        lowerLeft = rowBelow + column;
        lowerRight = rowBelow + columnRight;
        right = (int)((x >> (24 - bits)) & 255);
        lower = (int)((y >> (24 - bits)) & 255);
    }

    uint8_t Blend(int a, int b, int c, int d) const {
        int above = (a << 8) + (b - a) * right;
        int below = (c << 8) + (d - c) * right;
        return (uint8_t)(((above << 8) + (below - above) * lower + 0x8000) >> 16);
    }

    uint32_t upperLeft, upperRight, lowerLeft, lowerRight;
    int right, lower;
};

// Where the two chroma samples of a pixel pair go: planes are a step of 1 apart, pairs of 2.
struct ChromaOutput {
    uint8_t *u;
    uint8_t *v;
    size_t step;
};

void RenderChroma(const std::vector<uint8_t> &table, const CameraPose &pose, int width, int height,
                  ChromaOutput out, RowRange rows) {
    Grid grid = MakeGrid(pose, width, height, 2, 0.5);
    const uint8_t *texels = table.data();
    // The first chroma sample of the table lies between luma samples 0 and 1.
    uint32_t half = 1u << (kFractionBits - 1);
    const size_t skipped = (size_t)(rows.first / 2) * (size_t)(width / 2) * out.step;
    out.u += skipped;
    out.v += skipped;
    const int end = std::min(rows.end, height) / 2;
    for (int j = rows.first / 2; j < end; j++) {
        uint32_t x = grid.x + (uint32_t)j * grid.xDown - half;
        uint32_t y = grid.y + (uint32_t)j * grid.yDown - half;
        for (int i = 0; i < width / 2; i++) {
            Taps taps(x, y, kSizeBits - 1);
            const uint8_t *a = texels + 2 * taps.upperLeft;
            const uint8_t *b = texels + 2 * taps.upperRight;
            const uint8_t *c = texels + 2 * taps.lowerLeft;
            const uint8_t *d = texels + 2 * taps.lowerRight;
            *out.u = taps.Blend(a[0], b[0], c[0], d[0]);
            *out.v = taps.Blend(a[1], b[1], c[1], d[1]);
            out.u += out.step;
            out.v += out.step;
            x += grid.xRight;
            y += grid.yRight;
        }
    }
}

} // namespace

double PlainSine(double angle) {
    double turns = angle / (2 * kPi);
    double x = (turns - (double)Rounded(turns)) * (2 * kPi);
    double term = x;
    double sum = x;
    for (int n = 2; n < 32; n += 2) {
        term = -term * x * x / (n * (n + 1));
        sum += term;
    }
    return sum;
}

double PlainCosine(double angle) { return PlainSine(angle + kPi / 2); }

Scene::Scene(uint32_t seed) {
    Canvas canvas(kSizeBits);
    PaintTexture(canvas, seed);
    PaintShapes(canvas, seed);
    mLuma = DevelopLuma(canvas);
    mChroma.swap(canvas.chroma);
}

void Scene::RenderLuma(const CameraPose &pose, int width, int height, uint8_t *luma,
                       RowRange rows) const {
    Grid grid = MakeGrid(pose, width, height, 1, 0);
    const uint8_t *texels = mLuma.data();
    const int end = std::min(rows.end, height);
    luma += (size_t)rows.first * (size_t)width;
    for (int j = rows.first; j < end; j++) {
        uint32_t x = grid.x + (uint32_t)j * grid.xDown;
        uint32_t y = grid.y + (uint32_t)j * grid.yDown;
        for (int i = 0; i < width; i++) {
            Taps taps(x, y, kSizeBits);
            *luma++ = taps.Blend(texels[taps.upperLeft], texels[taps.upperRight],
                                 texels[taps.lowerLeft], texels[taps.lowerRight]);
            x += grid.xRight;
            y += grid.yRight;
        }
    }
}

void Scene::RenderI420(const CameraPose &pose, int width, int height, uint8_t *frame,
                       RowRange rows) const {
    RenderLuma(pose, width, height, frame, rows);
    uint8_t *u = frame + (size_t)width * (size_t)height;
    uint8_t *v = u + (size_t)(width / 2) * (size_t)(height / 2);
    RenderChroma(mChroma, pose, width, height, {u, v, 1}, rows);
}

void Scene::RenderNV21(const CameraPose &pose, int width, int height, uint8_t *frame,
                       RowRange rows) const {
    RenderLuma(pose, width, height, frame, rows);
    uint8_t *pairs = frame + (size_t)width * (size_t)height;
    RenderChroma(mChroma, pose, width, height, {pairs + 1, pairs, 2}, rows);
}
