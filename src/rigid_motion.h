// SPDX-License-Identifier: BSD-2-Clause
// What the refined stages share.
//
// They compute in double with + - * / and square roots only, in a fixed order and without contraction:
// the results are the same bits on every processor.
#pragma once

#include <stdint.h>

static inline double Magnitude(double d) { return d < 0 ? -d : d; }
static inline double Smaller(double a, double b) { return a < b ? a : b; }

// The pixel at (x, y) from the centre was at (x + dCol - dTheta * y, y + dRow + dTheta * x) in the
// frame before. Pixels of the full-size luma, and radians.
struct RigidMotion {
    double dCol;
    double dRow;
    double dTheta;
};

// The motion of one tile of a picture, in pixels of the tile's level.
struct TileFlow {
    double dX, dY;        // the tile's centre, from the picture's
    double dCol, dRow;    // where its content was in the frame before
    double dXX, dXY, dYY; // inverse of the covariance of that
    double dNoise;        // mean squared difference that remains when the tile is moved
    double dTexture;      // variance of its samples
};

// How well a motion fits the tiles.
struct RigidFit {
    RigidMotion stMotion;
    double dShiftError, dThetaError; // standard deviations: pixels along an axis, and radians
    int32_t lTiles;
    int32_t lTextured; // tiles that show something
    int32_t lMatched;  // of these, the ones that look alike in both frames
    int32_t lAlike;    // all tiles that look alike, textured or not
};
