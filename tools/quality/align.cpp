// SPDX-License-Identifier: BSD-2-Clause
#include "quality/align.h"

#include <math.h>

#include <algorithm>

namespace {

const int kSmallest = 20;     // rows or columns of the coarsest level
const int kUnknowns = 6;      // a, b, row, col; gain and offset of the brightness
const int kColumnsUsed = 200; // every so many pixels of a finer level
const int kRounds = 12;
const double kStill = 0.002;         // pixels: a round that moves the corners by less is the last
const double kProgress = 0.999;      // a round that betters the fit by less is the last, too
const double kLargestDifference = 9; // grey levels; of other pictures it is far above
const double kUsedAtLeast = 0.3;     // of the pixels lie inside the other picture

using Vector = double[kUnknowns];

// Sums of a round, and how well the placement it started from fits.
struct Sums {
    double normal[kUnknowns][kUnknowns] = {};
    Vector right = {};
    double difference = 0;
    double count = 0;
};

struct State {
    Placement place;
    double gain = 1;
    double offset = 0;
};

double Offset(int i, int size, double scale) { return (i + 0.5) * scale - size * scale / 2; }

void Accumulate(Sums &sums, const Vector &slope, double error, double weight) {
    for (int i = 0; i < kUnknowns; i++) {
        for (int j = i; j < kUnknowns; j++) sums.normal[i][j] += weight * slope[i] * slope[j];
        sums.right[i] -= weight * slope[i] * error;
    }
    sums.count++;
}

// A pixel counts the less the more it differs: what moves by itself, or was invented, has no say.
Sums Compare(const Pyramid::Level &picture, const Pyramid::Level &other, double scale,
             const State &state, double tolerance, int step) {
    Sums sums;
    const Placement &p = state.place;
    for (int j = 0; j < picture.height; j += step) {
        const double y = Offset(j, picture.height, scale);
        for (int i = 0; i < picture.width; i += step) {
            const double x = Offset(i, picture.width, scale);
            const double u = (p.col + p.a * x - p.b * y) / scale + other.width / 2.0 - 0.5;
            const double v = (p.row + p.a * y + p.b * x) / scale + other.height / 2.0 - 0.5;
            if (!(u >= 0 && v >= 0 && u < other.width - 1 && v < other.height - 1)) continue;
            const float *q = &other.pixels[(size_t)(int)v * (size_t)other.width + (size_t)(int)u];
            const double fu = u - (int)u, fv = v - (int)v;
            const double above = q[0] + (q[1] - q[0]) * fu;
            const double below = q[other.width] + (q[other.width + 1] - q[other.width]) * fu;
            const double slopeX =
                ((q[1] - q[0]) * (1 - fv) + (q[other.width + 1] - q[other.width]) * fv) / scale;
            const double slopeY = (below - above) / scale;
            const double value = picture.pixels[(size_t)j * (size_t)picture.width + (size_t)i];
            const double error = above + (below - above) * fv - state.gain * value - state.offset;
            const double ratio = error / tolerance;
            const Vector slope = {
                slopeX * x + slopeY * y, slopeY * x - slopeX * y, slopeY, slopeX, -value, -1};
            Accumulate(sums, slope, error, 1 / (1 + ratio * ratio));
            sums.difference += std::min(fabs(error), 4 * tolerance);
        }
    }
    const int columns = (picture.width + step - 1) / step, rows = (picture.height + step - 1) / step;
    const double pixels = (double)columns * rows;
    sums.difference = sums.count < kUsedAtLeast * pixels ? 1e9 : sums.difference / sums.count;
    return sums;
}

// Gauss's elimination of the symmetric system; unknown 0 stays as it is when `first` is 1.
bool Solve(Sums &sums, int first, Vector &result) {
    for (int i = 0; i < kUnknowns; i++)
        for (int j = 0; j < i; j++) sums.normal[i][j] = sums.normal[j][i];
    for (int i = first; i < kUnknowns; i++) {
        if (!(fabs(sums.normal[i][i]) > 1e-9)) return false;
        for (int k = i + 1; k < kUnknowns; k++) {
            const double factor = sums.normal[k][i] / sums.normal[i][i];
            for (int j = i; j < kUnknowns; j++) sums.normal[k][j] -= factor * sums.normal[i][j];
            sums.right[k] -= factor * sums.right[i];
        }
    }
    for (int i = kUnknowns - 1; i >= 0; i--) {
        result[i] = i < first ? 0 : sums.right[i];
        for (int j = i + 1; j < kUnknowns && i >= first; j++)
            result[i] -= sums.normal[i][j] * result[j];
        if (i >= first) result[i] /= sums.normal[i][i];
    }
    return true;
}

// Rounds at one level, as long as they better the fit.
double Refine(const Pyramid::Level &picture, const Pyramid::Level &other, double scale, bool rigid,
              State &state) {
    const int step = std::max(1, (picture.width + kColumnsUsed - 1) / kColumnsUsed);
    double tolerance = 20;
    State best = state;
    double least = 1e9;
    for (int round = 0; round < kRounds; round++) {
        Sums sums = Compare(picture, other, scale, state, tolerance, step);
        if (sums.difference >= 1e8) break;
        const bool stuck = round > 2 && sums.difference > kProgress * least;
        if (sums.difference < least) {
            least = sums.difference;
            best = state;
        }
        if (stuck) break;
        tolerance = std::clamp(1.5 * sums.difference, 2.0, 20.0);
        Vector change;
        if (!Solve(sums, rigid ? 1 : 0, change)) break;
        Placement &p = state.place;
        p.a += change[0];
        p.b += change[1];
        p.row += change[2];
        p.col += change[3];
        state.gain += change[4];
        state.offset += change[5];
        const double half = picture.width * scale / 2;
        const double moved =
            (fabs(change[0]) + fabs(change[1])) * half + fabs(change[2]) + fabs(change[3]);
        if (moved < kStill) return sums.difference; // too little for another comparison
    }
    state = best;
    return least;
}

double Descend(const Pyramid &picture, const Pyramid &other, size_t from, bool rigid, State &state) {
    double difference = 1e9;
    for (size_t level = from + 1; level-- > 0;)
        difference = Refine(picture.At(level), other.At(level), (double)(2 << level), rigid, state);
    return difference;
}

size_t Coarsest(const Pyramid &picture, const Pyramid &other) {
    return std::min(picture.Levels(), other.Levels()) - 1;
}

// The best of a grid of shifts and zooms, for pictures too far apart for a descent from anywhere.
Placement SearchCoarse(const Pyramid &picture, const Pyramid &other, bool rigid) {
    const size_t level = Coarsest(picture, other);
    const double scale = (double)(2 << level);
    Placement best;
    double least = 1e9;
    for (double zoom : {1.0, 8.0 / 7, 1.3}) {
        if (rigid && zoom != 1) continue;
        for (int row = -3; row <= 3; row++)
            for (int col = -6; col <= 6; col++) {
                const Placement place = {1 / zoom, 0, row * scale, col * scale};
                const double difference =
                    Compare(picture.At(level), other.At(level), scale, {place, 1, 0}, 20, 1).difference;
                if (difference >= least) continue;
                least = difference;
                best = place;
            }
    }
    return best;
}

} // namespace

double Placement::Angle() const { return atan2(b, a); }
double Placement::Zoom() const { return 1 / hypot(a, b); }

Pyramid::Pyramid(const uint8_t *luma, int width, int height) {
    Level level = {width / 2, height / 2, {}};
    level.pixels.reserve((size_t)level.width * (size_t)level.height);
    for (int j = 0; j < level.height; j++) {
        const uint8_t *row = luma + (size_t)(2 * j) * (size_t)width;
        for (int i = 0; i < level.width; i++, row += 2)
            level.pixels.push_back((float)(row[0] + row[1] + row[width] + row[width + 1]) / 4);
    }
    mLevels.push_back(std::move(level));
    while (std::min(mLevels.back().width, mLevels.back().height) >= 2 * kSmallest) {
        const Level &fine = mLevels.back();
        Level coarse = {fine.width / 2, fine.height / 2, {}};
        coarse.pixels.reserve((size_t)coarse.width * (size_t)coarse.height);
        for (int j = 0; j < coarse.height; j++) {
            const float *row = &fine.pixels[(size_t)(2 * j) * (size_t)fine.width];
            for (int i = 0; i < coarse.width; i++, row += 2)
                coarse.pixels.push_back((row[0] + row[1] + row[fine.width] + row[fine.width + 1]) / 4);
        }
        mLevels.push_back(std::move(coarse));
    }
}

Alignment Align(const Pyramid &picture, const Pyramid &other, const Placement &guess, bool rigid) {
    State best = {guess, 1, 0};
    double difference =
        Descend(picture, other, std::min(Coarsest(picture, other), (size_t)1), rigid, best);
    if (difference > kLargestDifference / 2) {
        State afresh = {SearchCoarse(picture, other, rigid), 1, 0};
        const double again = Descend(picture, other, Coarsest(picture, other), rigid, afresh);
        if (again < difference) best = afresh;
        difference = std::min(again, difference);
    }
    return {best.place, difference, difference < kLargestDifference};
}

double ShareOutside(const Placement &place, int width, int height, int otherWidth, int otherHeight) {
    const int kStep = 4;
    int64_t outside = 0, all = 0;
    for (int j = 0; j < height; j += kStep)
        for (int i = 0; i < width; i += kStep, all++) {
            const double x = i - (width - 1) / 2.0, y = j - (height - 1) / 2.0;
            // A pixel's breadth is left to the interpolation.
            const double u = fabs(place.col + place.a * x - place.b * y) - otherWidth / 2.0;
            const double v = fabs(place.row + place.a * y + place.b * x) - otherHeight / 2.0;
            if (u > 1 || v > 1) outside++;
        }
    return all ? (double)outside / (double)all : 0;
}
