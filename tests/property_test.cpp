// SPDX-License-Identifier: BSD-2-Clause
// What must hold for any picture: exact measurement of known motion, and warps that undo it.
#include <gtest/gtest.h>
#include <stdlib.h>

#include "model/model.h"
#include "motion/motion.h"
#include "smooth/smooth.h"
#include "support/run.h"
#include "warp/map.h"
#include "warp/warp.h"

namespace {

// The motion measured between two frames.
MVS_MotionInfo Measure(Size in, Size out, int32_t mode, const Bytes &first, const Bytes &second) {
    return RunClip({in, out, 0, mode, Entry::Diff, 1}, {first, second}).motion[1];
}

TEST(Measured, WholePixelShiftsExactly) {
    const Pose kShifts[] = {{0, 0, 0},  {1, 0, 0},     {0, -1, 0}, {5, -3, 0},
                            {-7, 2, 0}, {-11, -14, 0}, {13, 9, 0}};
    const Size kFrames[][2] = {{{176, 144}, {160, 130}}, {{199, 201}, {176, 160}},
                               {{240, 320}, {200, 288}}, {{320, 240}, {288, 216}},
                               {{641, 483}, {576, 432}}, {{1280, 720}, {1152, 648}}};
    for (const Size *size : kFrames) {
        const Bytes first = Render(size[0], {0, 0, 0});
        for (const Pose &p : kShifts) {
            const Bytes second = Render(size[0], {p.row * 256, p.col * 256, 0});
            for (int32_t mode = 1; mode <= 3; mode++) {
                const MVS_MotionInfo m = Measure(size[0], size[1], mode, first, second);
                SCOPED_TRACE(testing::Message()
                             << size->width << " mode " << mode << " " << p.row << "," << p.col);
                EXPECT_EQ(m.bMeasured, 1);
                EXPECT_EQ(m.lFrameNumber, 2);
                EXPECT_EQ(m.lMotionRow, p.row * 1024);
                EXPECT_EQ(m.lMotionCol, p.col * 1024);
                EXPECT_EQ(m.lMotionTheta, 0);
                EXPECT_GE(m.lBlocksKept, m.lBlocksValid / 2);
            }
        }
    }
}

TEST(Measured, RotationsWithinAStepOfTheSearch) {
    const Size size = {960, 720};
    const Bytes first = Render(size, {0, 0, 0});
    for (int32_t theta : {150, 400, 900, 1500}) {
        const MVS_MotionInfo a = Measure(size, size, 3, first, Render(size, {0, 0, theta}));
        const MVS_MotionInfo b = Measure(size, size, 3, first, Render(size, {0, 0, -theta}));
        EXPECT_NEAR(a.lMotionTheta, theta, 16);
        EXPECT_NEAR(b.lMotionTheta, -theta, 16);
        EXPECT_NEAR(a.lMotionRow, 0, 300);
        EXPECT_NEAR(b.lMotionCol, 0, 300);
    }
}

double MeanDifference(const uint8_t *a, const uint8_t *b, int32_t count) {
    int64_t sum = 0;
    for (int32_t i = 0; i < count; i++) sum += abs(a[i] - b[i]);
    return (double)sum / count;
}

// A frame that is compensated by the pose of another camera shows what that camera sees. Checks signs
// and axes of the warps in luma and chroma, per pixel and by blocks, for planar and interleaved chroma.
TEST(Warped, ToThePoseOfTheCamera) {
    const Size kFrames[][2] = {{{176, 144}, {176, 144}},
                               {{320, 240}, {320, 240}},
                               {{400, 333}, {400, 333}},
                               {{400, 320}, {336, 264}},
                               {{641, 483}, {641, 483}}};
    const Pose kPoses[] = {{6, -4, 0}, {-5, 7, 0}, {0, 0, 1600}, {0, 0, -1600}, {3, 5, 1200}};
    for (const Size *size : kFrames)
        for (const Pose &p : kPoses)
            for (int32_t format = 0; format < 2; format++) {
                if (format && size->width % 2) continue;
                Handle handle = MakeHandle(size[0], size[1], format);
                QEL_MVS_SetFullChroma(handle.get(), 1);
                const auto warp = [&](const Pose &comp, const Pose &camera) {
                    MVS_Context *ctx = handle.get();
                    Bytes in = Render(size[0], camera), out((size_t)size[1].Frame());
                    if (format) in = ToPairs(in, size[0]);
                    ctx->pCurFrame = in.data();
                    ctx->pOutFrame = out.data();
                    ctx->lCompRow = comp.row * 1024;
                    ctx->lCompCol = comp.col * 1024;
                    ctx->lCompTheta = comp.theta;
                    // Other heights of interleaved chroma go through the scratch planes, which are not
                    // filled here.
                    const bool chroma = !format || size[1].height % 8 == 0;
                    StabilizeFrameM3F0(ctx, in.data(), out.data());
                    ctx->pCurFrame = nullptr;
                    out.resize((size_t)(chroma ? size[1].Frame() : size[1].Luma()));
                    return out;
                };
                const Bytes moved = warp(p, {0, 0, 0}),
                            seen = warp({0, 0, 0}, {p.row * 256, p.col * 256, p.theta});
                SCOPED_TRACE(testing::Message()
                             << size[0].width << "x" << size[0].height << " f" << format << " " << p.row
                             << "," << p.col << "," << p.theta);
                EXPECT_LT(MeanDifference(moved.data(), seen.data(), size[1].Luma()), 4.0);
                if (moved.size() > (size_t)size[1].Luma()) {
                    EXPECT_LT(MeanDifference(moved.data() + size[1].Luma(),
                                             seen.data() + size[1].Luma(), 2 * size[1].Chroma()),
                              9.0);
                }
            }
}

// In the scene U is the luma at its place and V its complement: no path may change that.
TEST(Warped, ChromaStaysOnItsLuma) {
    const Size kFrames[][2] = {{{176, 144}, {176, 144}},
                               {{320, 244}, {320, 244}},
                               {{360, 272}, {320, 240}},
                               {{480, 352}, {432, 316}}};
    for (const Size *size : kFrames)
        for (int32_t mode = 1; mode <= 3; mode++)
            for (int32_t format = 0; format < 2; format++) {
                const RunResult run =
                    RunClip({size[0], size[1], format, mode, Entry::Diff, 1}, ShakyClip(size[0], 4));
                for (const Bytes &frame : run.frames) {
                    const Size s = size[1];
                    const Bytes planar = format ? ToPlanar(frame, s) : frame;
                    const uint8_t *u = planar.data() + s.Luma(), *v = u + (s.Luma() >> 2);
                    double sum = 0;
                    for (int32_t i = 0; i < s.Chroma(); i++) {
                        const int32_t r = i / (s.width / 2), c = i % (s.width / 2);
                        ASSERT_TRUE(u[i] + v[i] == 255 || u[i] + v[i] == 254) << i; // each truncates
                        sum += abs(u[i] - planar.data()[2 * r * s.width + 2 * c]);
                    }
                    EXPECT_LT(sum / s.Chroma(), 8.0) << mode << format << s.width;
                }
            }
}

TEST(Warped, OppositeAnglesMirror) {
    for (Size size : {Size{321, 241}, Size{176, 144}, Size{640, 480}}) {
        Handle handle = MakeHandle(size);
        MVS_Context *ctx = handle.get();
        for (int32_t theta = 1; theta < 4000; theta += 37) {
            ctx->lCompTheta = theta;
            const WarpMap plain = MapWithoutZoom(ctx), zoomed = MapWithZoom(ctx);
            ctx->lCompTheta = -theta;
            const WarpMap plainBack = MapWithoutZoom(ctx), zoomedBack = MapWithZoom(ctx);
            ctx->lCompTheta = 0;
            const WarpMap none = MapWithoutZoom(ctx), zoomedNone = MapWithZoom(ctx);
            EXPECT_EQ(plain.lS, -plainBack.lS);
            EXPECT_EQ(zoomed.lS, -zoomedBack.lS);
            EXPECT_EQ(plain.lR0 + plainBack.lR0, 2 * none.lR0);
            EXPECT_EQ(plain.lC0 + plainBack.lC0, 2 * none.lC0);
            EXPECT_NEAR(zoomed.lR0 + zoomedBack.lR0, 2 * zoomedNone.lR0, 1); // the shift drops a half
            EXPECT_NEAR(zoomed.lC0 + zoomedBack.lC0, 2 * zoomedNone.lC0, 1);
            // The centre of the picture stays in place, but for what truncation takes from the steps.
            EXPECT_NEAR(zoomed.lR0 + zoomed.lZ * size.height / 2 + zoomed.lS * size.width / 2,
                        size.height * 512, size.width + 2);
            EXPECT_NEAR(zoomed.lC0 + zoomed.lZ * size.width / 2 - zoomed.lS * size.height / 2,
                        size.width * 512, size.height + 2);
        }
    }
}

// Translations stay inside the margins. With a rotation, translation and sweep of the corner together
// stay inside; for square frames that sweep is exact.
TEST(Smoothed, CropStaysInsideForAnyMotion) {
    const Size kFrames[][2] = {{{240, 240}, {240, 240}},    {{176, 144}, {176, 144}},
                               {{1280, 720}, {1280, 720}},  {{480, 640}, {480, 640}},
                               {{1920, 1080}, {1600, 900}}, {{300, 300}, {201, 201}}};
    Random random;
    for (const Size *size : kFrames) {
        Handle handle = MakeHandle(size[0], size[1], 0);
        MVS_Context *ctx = handle.get();
        for (int32_t i = 0; i < 20000; i++) {
            const int32_t reach = i % 400 == 0 ? INT32_MAX : 1 << (i / 400 % 21 + 4);
            ctx->lCurMotionRow = random.In(-(reach / 2), reach / 2);
            ctx->lCurMotionCol = i % 3 ? random.In(-(reach / 2), reach / 2) : 40 * 1024;
            ctx->lCurMotionTheta = random.In(-(reach >> 5), reach >> 5);
            SmoothGlobalMotionM3(ctx, i % 997 != 500);
            ASSERT_LE(abs(ctx->lCompRow), ctx->lCropY * 1024);
            ASSERT_LE(abs(ctx->lCompCol), ctx->lCropX * 1024);
            const double turn = abs(ctx->lCompTheta) / 64.0;
            ASSERT_LE((0.5 * size[1].width - ctx->lCropX) * turn + abs(ctx->lCompCol),
                      ctx->lCropX * 1024 + 20.0)
                << i;
            ASSERT_LE((0.5 * size[1].height - ctx->lCropY) * turn + abs(ctx->lCompRow),
                      ctx->lCropY * 1024 + 20.0)
                << i;
            ASSERT_EQ(i % 997 == 500 && (ctx->lCompRow || ctx->lCompCol || ctx->lCompTheta), false);
            if (size[0].width != 240) continue;
            const WarpMap map = MapWithZoom(ctx);
            for (int32_t y : {0, 239})
                for (int32_t x : {0, 239}) {
                    const int32_t r = map.lR0 + map.lZ * y + map.lS * x,
                                  c = map.lC0 + map.lZ * x - map.lS * y;
                    ASSERT_TRUE(r >= -512 && r <= 239 * 1024 + 512 && c >= -512 &&
                                c <= 239 * 1024 + 512)
                        << i;
                }
        }
    }
}

} // namespace
