// SPDX-License-Identifier: BSD-2-Clause
#include "clipgen/scene_paint.h"

#include <stdlib.h>

#include <algorithm>

namespace {

// Deals out noise to one shape after the other.
class Dice {
  public:
    Dice(uint32_t seed, uint32_t series) : mSeed(HashNoise(seed, series)) {}

    // 0..limit - 1
    int Roll(int limit) {
        return (int)(((uint64_t)HashNoise(mSeed, mCount++) * (uint64_t)limit) >> 32);
    }

  private:
    uint32_t mSeed;
    uint32_t mCount = 0;
};

// Values on the corners of cells of 2^cellBits pixels, blended smoothly (3t^2 - 2t^3) inside them.
class ValueNoise {
  public:
    ValueNoise(uint32_t seed, uint32_t series, int sideBits, int cellBits)
        : mCellBits(cellBits), mLatticeBits(sideBits - cellBits), mBlend((size_t)1 << cellBits) {
        uint32_t key = HashNoise(seed, series);
        mLattice.resize((size_t)1 << (2 * mLatticeBits));
        for (size_t i = 0; i < mLattice.size(); i++)
            mLattice[i] = (int)(HashNoise(key, (uint32_t)i) >> 24) - 128;
        for (size_t i = 0; i < mBlend.size(); i++) {
            int64_t t = (int64_t)(i << (12 - cellBits));
            mBlend[i] = (int)((t * t * (3 * 4096 - 2 * t)) >> 24);
        }
    }

    // Adds the noise, -128..127 times gain / 128, to row y; cells with few pixels give fine texture.
    void AddRow(int y, int gain, std::vector<int> &row) const {
        int mask = (1 << mLatticeBits) - 1;
        int wy = mBlend[Inside(y)];
        for (int cell = 0; cell <= mask; cell++) {
            int left = Column(y >> mCellBits, cell, wy);
            int right = Column(y >> mCellBits, (cell + 1) & mask, wy);
            int *out = &row[(size_t)cell << mCellBits];
            for (size_t i = 0; i < mBlend.size(); i++)
                out[i] += (((left * 4096 + (right - left) * mBlend[i]) >> 12) * gain) >> 11;
        }
    }

  private:
    size_t Inside(int y) const { return (size_t)y & (mBlend.size() - 1); }

    // The value at a column of corners, between two rows of them; 4 fractional bits.
    int Column(int cellRow, int cell, int wy) const {
        int mask = (1 << mLatticeBits) - 1;
        int above = mLattice[((size_t)cellRow << mLatticeBits) + (size_t)cell];
        int below = mLattice[((size_t)((cellRow + 1) & mask) << mLatticeBits) + (size_t)cell];
        return (above * 4096 + (below - above) * wy) >> 8;
    }

    int mCellBits;
    int mLatticeBits;
    std::vector<int> mBlend; // 0..4096 across a cell
    std::vector<int> mLattice;
};

// Where this slow noise is high, the scene is a bare wall: no fine texture.
const int kBareLevel = 34;

const int kFineOctaves = 4;
const int kFineGain[kFineOctaves] = {60, 44, 34, 26}; // cells of 32, 16, 8 and 4 pixels

void PaintChromaNoise(Canvas &canvas, uint32_t seed) {
    int bits = canvas.bits - 1;
    int side = 1 << bits;
    const ValueNoise noise[2] = {{seed, 101, bits, 6}, {seed, 102, bits, 6}};
    const ValueNoise detail[2] = {{seed, 103, bits, 3}, {seed, 104, bits, 3}};
    std::vector<int> row((size_t)side);
    for (int y = 0; y < side; y++) {
        for (size_t plane = 0; plane < 2; plane++) {
            std::fill(row.begin(), row.end(), 0);
            noise[plane].AddRow(y, 44, row);
            detail[plane].AddRow(y, 12, row);
            uint8_t *out = &canvas.chroma[(size_t)y * (size_t)side * 2 + plane];
            for (size_t x = 0; x < row.size(); x++)
                out[2 * x] = (uint8_t)std::clamp(128 + row[x], 16, 240);
        }
    }
}

enum ShapeKind { Rectangle, Ellipse, Diamond, kShapeKinds };

struct Shape {
    int kind;
    int centreX;
    int centreY;
    int halfWidth;
    int halfHeight;
    int luma;
    uint8_t chroma[2];
};

bool Covers(const Shape &shape, int dx, int dy) {
    int64_t x = (int64_t)abs(dx) * shape.halfHeight;
    int64_t y = (int64_t)abs(dy) * shape.halfWidth;
    int64_t limit = (int64_t)shape.halfWidth * shape.halfHeight;
    if (shape.kind == Ellipse) return x * x + y * y <= limit * limit;
    if (shape.kind == Diamond) return x + y <= limit;
    return true;
}

Shape RollShape(Dice &dice, int side) {
    Shape shape = {};
    shape.kind = dice.Roll(kShapeKinds);
    shape.centreX = dice.Roll(side);
    shape.centreY = dice.Roll(side);
    shape.halfWidth = 6 + dice.Roll(12) * dice.Roll(12);
    shape.halfHeight = 6 + dice.Roll(12) * dice.Roll(12);
    shape.luma = 30 + dice.Roll(200);
    shape.chroma[0] = (uint8_t)(40 + dice.Roll(176));
    shape.chroma[1] = (uint8_t)(40 + dice.Roll(176));
    return shape;
}

// Shapes keep a little of the texture below them: a surface, not a hole.
void PaintShape(Canvas &canvas, const Shape &shape) {
    int mask = canvas.side - 1;
    for (int dy = -shape.halfHeight; dy <= shape.halfHeight; dy++) {
        for (int dx = -shape.halfWidth; dx <= shape.halfWidth; dx++) {
            if (!Covers(shape, dx, dy)) continue;
            size_t x = (size_t)((shape.centreX + dx) & mask);
            size_t y = (size_t)((shape.centreY + dy) & mask);
            int16_t &luma = canvas.luma[(y << canvas.bits) + x];
            luma = (int16_t)(shape.luma + (luma - 120) / 8);
            if ((x | y) & 1) continue;
            uint8_t *chroma = &canvas.chroma[((y / 2) << canvas.bits) + x];
            chroma[0] = shape.chroma[0];
            chroma[1] = shape.chroma[1];
        }
    }
}

} // namespace

uint32_t HashNoise(uint32_t seed, uint32_t key) {
    uint32_t h = seed * 0x9E3779B1u ^ (key + 0x7F4A7C15u) * 0x85EBCA77u;
    h = (h ^ (h >> 15)) * 0x2C1B3C6Du;
    h = (h ^ (h >> 12)) * 0x297A2D39u;
    return h ^ (h >> 15);
}

void PaintTexture(Canvas &canvas, uint32_t seed) {
    const ValueNoise ground(seed, 1, canvas.bits, 7);
    const ValueNoise bare(seed, 2, canvas.bits, 8);
    std::vector<ValueNoise> fine;
    for (int i = 0; i < kFineOctaves; i++)
        fine.emplace_back(seed, (uint32_t)(3 + i), canvas.bits, 5 - i);
    std::vector<int> base((size_t)canvas.side);
    std::vector<int> level(base.size());
    std::vector<int> detail(base.size());
    for (int y = 0; y < canvas.side; y++) {
        for (std::vector<int> *row : {&base, &level, &detail}) std::fill(row->begin(), row->end(), 0);
        ground.AddRow(y, 80, base);
        bare.AddRow(y, 128, level);
        for (size_t i = 0; i < fine.size(); i++) fine[i].AddRow(y, kFineGain[i], detail);
        int16_t *out = &canvas.luma[(size_t)y << canvas.bits];
        for (size_t x = 0; x < base.size(); x++)
            out[x] = (int16_t)(120 + base[x] + (level[x] > kBareLevel ? detail[x] / 16 : detail[x]));
    }
    PaintChromaNoise(canvas, seed);
}

void PaintShapes(Canvas &canvas, uint32_t seed) {
    Dice dice(seed, 200);
    int count = canvas.side * canvas.side / 12000;
    for (int i = 0; i < count; i++) PaintShape(canvas, RollShape(dice, canvas.side));
}

std::vector<uint8_t> DevelopLuma(const Canvas &canvas) {
    size_t side = (size_t)canvas.side;
    size_t mask = side - 1;
    std::vector<uint8_t> developed(side * side);
    std::vector<int> column(side);
    for (size_t y = 0; y < side; y++) {
        const int16_t *above = &canvas.luma[((y - 1) & mask) * side];
        const int16_t *here = &canvas.luma[y * side];
        const int16_t *below = &canvas.luma[((y + 1) & mask) * side];
        for (size_t x = 0; x < side; x++) column[x] = above[x] + 2 * here[x] + below[x];
        for (size_t x = 0; x < side; x++) {
            int sum = column[(x - 1) & mask] + 2 * column[x] + column[(x + 1) & mask];
            developed[y * side + x] = (uint8_t)std::clamp((sum + 8) >> 4, 16, 235);
        }
    }
    return developed;
}
