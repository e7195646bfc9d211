// SPDX-License-Identifier: BSD-2-Clause
// The yardstick itself: pictures of the scene whose places are known, and clips whose camera is known.
#include <gtest/gtest.h>
#include <math.h>

#include <algorithm>
#include <vector>

#include "clipgen/camera_path.h"
#include "clipgen/effects.h"
#include "clipgen/scene.h"
#include "quality/jitter.h"
#include "quality/align.h"
#include "quality/sharpness.h"

namespace {

const int kWidth = 480, kHeight = 272;

std::vector<uint8_t> Picture(const CameraPose &pose) {
    static const Scene scene(3);
    std::vector<uint8_t> luma((size_t)kWidth * kHeight);
    scene.RenderLuma(pose, kWidth, kHeight, luma.data());
    return luma;
}

Pyramid Levels(const std::vector<uint8_t> &luma) { return {luma.data(), kWidth, kHeight}; }

TEST(Quality, FindsWhereAPictureLies) {
    const CameraPose camera = {300, 200, 0.02, 1};
    struct {
        PoseMotion cut;
        double zoom;
    } const cases[] = {{{0, 0, 0}, 1},
                       {{3.3, -5.7, 0.004}, 1},
                       {{-12.25, 26.5, -0.02}, 8.0 / 7},
                       {{14, 29, 0.05}, 1.25}};
    const Pyramid other = Levels(Picture(camera));
    for (const auto &c : cases) {
        std::vector<uint8_t> luma = Picture(PoseOfCut(camera, c.cut, c.zoom));
        for (int object = 0; object < 2; object++) {
            // A fifth of the picture shows something else, and all of it is darker.
            for (int j = 0; object && j < kHeight; j++)
                for (int i = 0; i < kWidth; i++) {
                    uint8_t &pixel = luma[(size_t)(j * kWidth + i)];
                    pixel = (uint8_t)(i < kWidth / 5 ? 90 + (i / 7 + j / 9) % 5 * 20 : pixel * 9 / 10);
                }
            const Alignment found = Align(Levels(luma), other, Placement(), c.zoom == 1);
            SCOPED_TRACE(testing::Message() << c.cut.row << " " << c.zoom << " " << object);
            EXPECT_TRUE(found.found);
            EXPECT_NEAR(found.place.row, c.cut.row, object ? 0.15 : 0.05);
            EXPECT_NEAR(found.place.col, c.cut.col, object ? 0.15 : 0.05);
            EXPECT_NEAR(found.place.Angle(), c.cut.theta, object ? 0.0006 : 0.0002);
            EXPECT_NEAR(found.place.Zoom(), c.zoom, 0.002);
        }
    }
    const Alignment none = Align(Levels(Picture({1500, 1200, 0, 1})), other, Placement(), false);
    EXPECT_FALSE(none.found);
}

TEST(Quality, CountsWhatAPictureInvents) {
    EXPECT_EQ(ShareOutside({}, 400, 200, 400, 200), 0);
    EXPECT_NEAR(ShareOutside({1, 0, 0, 100}, 400, 200, 400, 200), 0.25, 0.02);
    EXPECT_NEAR(ShareOutside({1, 0, -50, 0}, 400, 200, 400, 200), 0.25, 0.02);
    EXPECT_EQ(ShareOutside({0.8, 0.02, 15, 30}, 400, 200, 400, 200), 0);
}

TEST(Quality, PathsAreWhatTheyAreCalled) {
    const auto path = [](PathKind kind) {
        PathOptions options;
        options.kind = kind;
        options.pan = 90;
        options.shake = kind == PathKind::StopAndGo ? 0 : 5;
        return CameraPath(options);
    };
    // Still for two seconds, then 1.8 seconds' worth of the pan; and again.
    const CameraPath stops = path(PathKind::StopAndGo);
    const double stations[] = {0, 0, 162, 162, 324};
    for (int i = 0; i < 5; i++) EXPECT_NEAR(stops.Pose(60 * i).x, stations[i], 1e-3) << i;
    EXPECT_NEAR(stops.Pose(91).x - stops.Pose(90).x, 3, 1e-3);
    EXPECT_NEAR(path(PathKind::Tripod).Pose(77).x, 77 * 3, 1e-3);
    EXPECT_EQ(path(PathKind::Tripod).Pose(77).y, 0);

    // The high-pass keeps half of a swing at its cutoff, nearly all of one well above it, no pan.
    PathOptions options;
    options.kind = PathKind::Swing;
    options.pan = 200;
    for (double frequency : {1.0, 5.0}) {
        options.frequency = frequency;
        const CameraPath swing(options);
        std::vector<double> x, y;
        for (int i = 0; i < 300; i++) {
            x.push_back(swing.Pose(i).x);
            y.push_back(swing.Pose(i).y);
        }
        for (const std::vector<double> &values : {x, y})
            EXPECT_NEAR(Rms(HighPass(values, 30, 1)), frequency < 2 ? 3.5 : 7, 0.15);
    }
}

double Lanczos(double x) {
    x *= M_PI;
    return x == 0 ? 1 : fabs(x) < 3 * M_PI ? sin(x) * sin(x / 3) / (x * x / 3) : 0;
}

std::vector<uint8_t> LanczosWarp(const std::vector<uint8_t> &luma, const Placement &place) {
    std::vector<uint8_t> warped;
    for (int j = 0; j < kHeight; j++)
        for (int i = 0; i < kWidth; i++) {
            const double x = i - (kWidth - 1) / 2.0, y = j - (kHeight - 1) / 2.0;
            const double u = place.col + place.a * x - place.b * y + (kWidth - 1) / 2.0;
            const double v = place.row + place.a * y + place.b * x + (kHeight - 1) / 2.0;
            double columns[6], sum = 0, weights = 0;
            const int left = (int)floor(u) - 2, top = (int)floor(v) - 2;
            for (int c = 0; c < 6; c++) columns[c] = Lanczos(u - left - c);
            for (int r = 0; r < 6; r++) {
                const double rows = Lanczos(v - top - r);
                const int row = std::clamp(top + r, 0, kHeight - 1) * kWidth;
                for (int c = 0; c < 6; c++) {
                    const int col = std::clamp(left + c, 0, kWidth - 1);
                    sum += rows * columns[c] * luma[(size_t)(row + col)];
                    weights += rows * columns[c];
                }
            }
            warped.push_back((uint8_t)std::clamp(lround(sum / weights), 0L, 255L));
        }
    return warped;
}

TEST(Quality, TellsHowMuchDetailIsKept) {
    const PictureSize size = {kWidth, kHeight};
    const std::vector<uint8_t> input = Picture({300, 200, 0, 1});
    const auto sharpness = [&](const std::vector<uint8_t> &luma, const Placement &place) {
        return CompareSharpness({luma.data(), size}, {input.data(), size}, place).value_or(-1);
    };
    EXPECT_EQ(sharpness(input, {}), 1);
    // The second one looks beyond the input: what is there does not count.
    for (const Placement &place :
         {Placement{0.875, 0.02, 3.3, -5.6}, Placement{0.95, 0, -20.5, 60.25}}) {
        std::vector<uint8_t> warped = LanczosWarp(input, place);
        const Alignment found = Align(Levels(warped), Levels(input), {}, false);
        ASSERT_TRUE(found.found);
        EXPECT_NEAR(sharpness(warped, place), 1, 0.002);
        EXPECT_NEAR(sharpness(warped, found.place), 1, 0.01);
        // Every pixel the mean of four.
        for (size_t i = 0; i + kWidth + 1 < warped.size(); i++)
            warped[i] = (uint8_t)((warped[i] + warped[i + 1] + warped[i + kWidth] +
                                   warped[i + kWidth + 1] + 2) /
                                  4);
        EXPECT_LT(sharpness(warped, place), 0.85);
    }
    const std::vector<uint8_t> flat(input.size(), 99);
    EXPECT_FALSE(CompareSharpness({flat.data(), size}, {flat.data(), size}, {}));
}

TEST(Quality, ComparesTinyPictures) {
    const std::vector<uint8_t> luma = Picture({300, 200, 0, 1});
    for (const PictureSize &size :
         {PictureSize{1, 1}, {1, 90}, {90, 1}, {2, 2}, {5, 7}, {17, 17}, {40, 23}})
        for (const PictureSize &other : {size, PictureSize{1, 1}, {16, 18}, {60, 60}}) {
            // Exactly as large as they say: a reading beyond the end is noticed by the sanitizers.
            const std::vector<uint8_t> a(luma.begin(), luma.begin() + size.width * size.height);
            const std::vector<uint8_t> b(luma.begin(), luma.begin() + other.width * other.height);
            const Pyramid levels(a.data(), size.width, size.height);
            const Alignment found =
                Align(levels, Pyramid(b.data(), other.width, other.height), {}, false);
            EXPECT_TRUE(std::isfinite(found.place.Zoom()));
            for (const Placement &place :
                 {found.place, Placement{1, 0, 1e9, -1e9}, Placement{3, 1, 0, 0}}) {
                const auto kept = CompareSharpness({a.data(), size}, {b.data(), other}, place);
                EXPECT_TRUE(!kept || (size.width > 16 && size.height > 16));
            }
        }
}

// A tripod on a turntable: the picture moves to the left, 20 pixels a frame.
struct Shooting {
    explicit Shooting(const EffectOptions &options) : path(Pan()), effects(options, path, Info()) {}

    static PathOptions Pan() {
        PathOptions options;
        options.kind = PathKind::Tripod;
        options.pan = 600;
        return options;
    }
    static StreamInfo Info() {
        StreamInfo info;
        info.size = {kWidth, kHeight};
        return info;
    }
    std::vector<uint8_t> Frame(int number) const {
        static const Scene scene(3);
        std::vector<uint8_t> pixels(FrameBytes(Info().size));
        effects.Render(scene, number, pixels.data());
        effects.Apply(number, pixels.data());
        return pixels;
    }

    CameraPath path;
    Effects effects;
};

TEST(Quality, ARollingShutterTakesRowsOneAfterTheOther) {
    EffectOptions options;
    options.rolling = 50;
    const std::vector<uint8_t> bent = Shooting(options).Frame(7);
    for (int row : {0, kHeight / 4, kHeight / 2, kHeight - 2}) {
        // The camera is five pixels behind at the upper edge, and ahead at the lower one.
        const double place = 140 + 10 * ((row + 1.0) / kHeight - 0.5);
        const std::vector<uint8_t> still = Picture({place, 0, 0, 1});
        for (int i = row * kWidth; i < (row + 2) * kWidth; i++)
            ASSERT_NEAR(bent[(size_t)i], still[(size_t)i], 1) << row;
    }
    const Scene scene(3);
    std::vector<uint8_t> part(bent.size(), 1), whole = part;
    scene.RenderNV21({}, kWidth, kHeight, whole.data());
    for (int row : {0, 2, 100})
        scene.RenderNV21({}, kWidth, kHeight, part.data(), {row, row ? kHeight : 2});
    EXPECT_EQ(part, whole);
}

TEST(Quality, LightAndHazeChangeWhatTheySay) {
    const auto mean = [](const std::vector<uint8_t> &pixels) {
        double sum = 0;
        for (int i = 0; i < kWidth * kHeight; i++) sum += pixels[(size_t)i];
        return sum / (kWidth * kHeight);
    };
    EffectOptions lit, dim;
    lit.flash = 5;
    dim.contrast = 25;
    const Shooting plain({}), flashing(lit), hazy(dim);
    for (int number : {0, 1, 2, 4, 5, 7}) {
        const double more = mean(flashing.Frame(number)) - mean(plain.Frame(number));
        EXPECT_NEAR(more, number % 5 == 2 ? 85 : 0, 6) << number;
    }
    const std::vector<uint8_t> from = plain.Frame(3), to = hazy.Frame(3);
    for (size_t i = 0; i < from.size(); i++) ASSERT_NEAR(to[i], 128 + (from[i] - 128) / 4.0, 0.5);
}

} // namespace
