// SPDX-License-Identifier: BSD-2-Clause
#include "quality/sharpness.h"

#include <math.h>

#include <algorithm>
#include <vector>

namespace {

const int kBorder = 8; // pixels that are left out at the edges of both pictures
const int kLobes = 3;
const int kTaps = 8; // those of the kernel, and two of weight 0: a whole vector register
const int kPhases = 256;
const int kOutside = -1;
const double kLeastPixels = 64;
const double kLeastVariance = 4; // little more than what rounding to whole grey levels makes

const double kPi = 3.14159265358979323846;

double Sinc(double x) { return x == 0 ? 1 : sin(kPi * x) / (kPi * x); }

// Weights of the pixels from 2 before a position to 5 after it, for every phase between two pixels.
struct Kernel {
    Kernel() {
        for (int phase = 0; phase <= kPhases; phase++) {
            double sum = 0, values[kTaps] = {};
            for (int tap = 0; tap < 2 * kLobes; tap++) {
                const double x = tap - (kLobes - 1) - (double)phase / kPhases;
                values[tap] = fabs(x) < kLobes ? Sinc(x) * Sinc(x / kLobes) : 0;
                sum += values[tap];
            }
            for (int tap = 0; tap < kTaps; tap++) weights[phase][tap] = (float)(values[tap] / sum);
        }
    }

    float weights[kPhases + 1][kTaps];
};

// A position in pixels, as the first pixel under the kernel and the weights from there on.
struct Position {
    Position(const Kernel &kernel, double position)
        : first((int)position - (kLobes - 1)),
          weights(kernel.weights[lround((position - (int)position) * kPhases)]) {}

    int first;
    const float *weights;
};

int Sample(const float *pixels, int pitch, const Position &x, const Position &y) {
    const float *row = pixels + (ptrdiff_t)y.first * pitch + x.first, *w = y.weights;
    const ptrdiff_t p = pitch;
    float columns[kTaps];
    for (int i = 0; i < kTaps; i++)
        columns[i] =
            x.weights[i] * (w[0] * row[i] + w[1] * row[i + p] + w[2] * row[i + 2 * p] +
                            w[3] * row[i + 3 * p] + w[4] * row[i + 4 * p] + w[5] * row[i + 5 * p]);
    float sum = 0;
    for (int i = 0; i < kTaps; i++) sum += columns[i];
    sum = std::clamp(sum, 0.0f, 255.0f) + 0.5f;
    return (int)sum; // lroundf would be a call
}

bool IsInside(double position, int side) {
    return position >= kBorder && position <= side - 1 - kBorder;
}

// `other` as the picture would show it; kOutside where that is too near to the edge of `other`. Rounded
// to grey levels, which is what the picture is made of too.
std::vector<int16_t> Warp(const LumaPicture &other, const Placement &place, PictureSize size) {
    static const Kernel kernel;
    const std::vector<float> pixels(other.pixels, other.pixels + LumaBytes(other.size));
    std::vector<int16_t> warped((size_t)size.width * (size_t)size.height, kOutside);
    int16_t *to = warped.data();
    for (int j = 0; j < size.height; j++) {
        const double y = j - (size.height - 1) / 2.0;
        for (int i = 0; i < size.width; i++, to++) {
            const double x = i - (size.width - 1) / 2.0;
            const double u = place.col + place.a * x - place.b * y + (other.size.width - 1) / 2.0;
            const double v = place.row + place.a * y + place.b * x + (other.size.height - 1) / 2.0;
            if (IsInside(u, other.size.width) && IsInside(v, other.size.height))
                *to = (int16_t)Sample(pixels.data(), other.size.width, {kernel, u}, {kernel, v});
        }
    }
    return warped;
}

struct Sums {
    double count = 0, sum = 0, squares = 0;

    void Add(int value) {
        count++;
        sum += value;
        squares += (double)value * value;
    }
    double Variance() const { return squares / count - sum / count * (sum / count); }
};

template <typename Pixel> int Laplacian(const Pixel *pixel, int pitch) {
    return pixel[-1] + pixel[1] + pixel[-pitch] + pixel[pitch] - 4 * pixel[0];
}

} // namespace

std::optional<double> CompareSharpness(const LumaPicture &picture, const LumaPicture &other,
                                       const Placement &place) {
    const std::vector<int16_t> warped = Warp(other, place, picture.size);
    const int width = picture.size.width, height = picture.size.height;
    Sums kept, reference;
    for (int j = kBorder; j < height - kBorder; j++)
        for (int i = kBorder; i < width - kBorder; i++) {
            const size_t index = (size_t)j * (size_t)width + (size_t)i;
            const int16_t *pixel = &warped[index];
            const int least = std::min({pixel[0], pixel[-1], pixel[1], pixel[-width], pixel[width]});
            if (least == kOutside) continue;
            reference.Add(Laplacian(pixel, width));
            kept.Add(Laplacian(picture.pixels + index, width));
        }
    if (reference.count < kLeastPixels || reference.Variance() < kLeastVariance) return std::nullopt;
    return kept.Variance() / reference.Variance();
}
