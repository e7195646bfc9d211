// SPDX-License-Identifier: BSD-2-Clause
// Finds where one picture lies in another: shift, rotation and zoom, by least squares on all pixels. It
// shares nothing with the stabilizer, so that it can judge it, and others.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <vector>

// The pixel at offset (x, y) from the centre of one picture lies, from the centre of the other, at
//     x: col + a * x - b * y        y: row + a * y + b * x
struct Placement {
    double a = 1;
    double b = 0;
    double row = 0;
    double col = 0;

    double Angle() const;
    double Zoom() const; // above 1: the picture shows an enlarged part of the other
};

// Luma in halves, quarters and so on of its size, down to some twenty rows.
class Pyramid {
  public:
    Pyramid(const uint8_t *luma, int width, int height);

    struct Level {
        int width, height;
        std::vector<float> pixels;
    };
    const Level &At(size_t level) const { return mLevels[level]; } // 0: half size
    size_t Levels() const { return mLevels.size(); }

  private:
    std::vector<Level> mLevels;
};

struct Alignment {
    Placement place;
    double difference = 0; // robust mean of what the pixels differ by, grey levels
    bool found = false;
};

// `rigid` leaves the zoom at 1. Starts from the better one of `guess` and no shift.
Alignment Align(const Pyramid &picture, const Pyramid &other, const Placement &guess, bool rigid);

// Share of a picture of this size, placed in one of the other size, that lies outside of it.
double ShareOutside(const Placement &place, int width, int height, int otherWidth, int otherHeight);
