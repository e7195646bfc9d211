// SPDX-License-Identifier: BSD-2-Clause
// The smoother against the filter's equations written out in wide arithmetic, and its limits by hand.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include "smooth/smooth.h"
#include "support/run.h"

namespace {

#ifdef __SIZEOF_INT128__
using Wide = __int128;
#else
using Wide = int64_t;
#endif // no product of the filter overflows it, and / rounds toward zero

struct Filter {
    Wide x = 0, v = 0, z = 0, q, r, p[4], limit;
    int32_t shift;
    void Start(const KalmanState &s, int32_t gainShift) {
        q = s.llProcNoise;
        r = s.llMeasNoise;
        limit = s.llDevLimit;
        const int64_t kP[4] = {s.llP00, s.llP01, s.llP10, s.llP11};
        for (int i = 0; i < 4; i++) p[i] = kP[i];
        shift = gainShift;
    }
    Wide Step(int32_t motion, Wide nextNoise) {
        z += motion;
        const Wide n[4] = {p[0] + p[1] + p[2] + p[3] + q / 4, p[1] + p[3] + q / 2, p[2] + p[3] + q / 2,
                           p[3] + q};
        const Wide s = r + n[0] / 1024, k0 = s == 0 ? 0 : n[0] * 8 / s, k1 = s == 0 ? 0 : n[2] * 8 / s;
        const Wide gain = (Wide)1 << shift;
        x += k0 * (z - x) / gain;
        v += k1 * (z - x) / gain;
        for (int i = 0; i < 4; i++) p[i] = n[i] - (i < 2 ? k0 : k1) * n[i] / 8192;
        q = nextNoise;
        const Wide d = z - x, bound = 262142;
        if (z > bound || z < -bound) x -= z, z = 0;
        if (x > bound || x < -bound) z = d, x = 0;
        return x - z;
    }
};

TEST(Kalman, LikeItsEquations) {
    int follows = 0, strongest = 0, middle = 0, rebased = 0;
    Random random;
    for (int32_t run = 0; run < 24; run++) {
        const Handle ctx = MakeHandle(run % 2 ? Size{640, 480} : Size{1280, 720});
        KalmanSideBlock *side = ctx->pSideBlock;
        Filter axis[3];
        axis[0].Start(side->stAxisRow.st, 13);
        axis[1].Start(side->stAxisCol.st, 13);
        axis[2].Start(side->stAxisTheta.st, 14);
        int32_t countdown = 30;
        bool follow = false;
        for (int32_t i = 0; i < 400; i++) {
            const int32_t reach = run < 8 ? 600 : i / 100 % 2 ? 300 : 9000, drift = run % 3 * 700;
            const int32_t motion[3] = {random.In(-reach, reach) + drift,
                                       random.In(-reach, reach) - drift,
                                       random.In(-reach, reach) / 6 + (run % 5 == 4) * 400};
            const MVS_MotionTriple got = KalmanFilterOnePos(ctx.get(), motion[0], motion[1], motion[2]);
            const Wide row = axis[0].Step(motion[0], 128), col = axis[1].Step(motion[1], 128);
            const Wide theta = axis[2].Step(motion[2], 4);
            ASSERT_EQ(got.lRow, (int32_t)row) << run << ' ' << i;
            ASSERT_EQ(got.lCol, (int32_t)col);
            ASSERT_EQ(got.lTheta, (int32_t)theta);
            const auto within = [&](Wide part, Wide bound) {
                return row < axis[0].limit / part && -row < axis[0].limit / part &&
                       col < axis[1].limit / part && -col < axis[1].limit / part && theta <= bound &&
                       -theta <= bound;
            };
            countdown--;
            const bool leave = !follow && !within(1, 6000);
            if (leave || countdown == 0) {
                const bool calm = within(8, 2000), wasFollow = follow;
                follow = leave || (follow && !calm);
                const int32_t shift = follow || wasFollow ? 13 : calm ? 15 : 14;
                axis[0].shift = axis[1].shift = shift;
                axis[2].shift = follow ? 14 : 18;
                countdown = 30;
                follows += leave;
                strongest += shift == 15;
                middle += shift == 14;
            }
            rebased += axis[0].z == 0;
            ASSERT_EQ(side->lAdaptCountdown, countdown) << run << ' ' << i;
            ASSERT_EQ(side->bFollowMode, follow ? 1 : 0);
            ASSERT_EQ(side->lGainShiftRow, axis[0].shift);
            ASSERT_EQ(side->lGainShiftTheta, axis[2].shift);
            ASSERT_EQ(side->stAxisRow.st.llVel, (int64_t)axis[0].v);
            ASSERT_EQ(side->stAxisCol.st.llP11, (int64_t)axis[1].p[3]);
            ASSERT_EQ(side->stAxisTheta.st.llPos, (int64_t)axis[2].x);
        }
    }
    EXPECT_TRUE(follows > 3 && strongest > 3 && middle > 3 && rebased > 3)
        << follows << ' ' << strongest << ' ' << middle << ' ' << rebased;
}

// With no gain at all a motion is the deviation, so the bounds can be met exactly.
TEST(Kalman, BoundsOfTheDeviation) {
    const Handle ctx = MakeHandle({640, 480});
    KalmanSideBlock *side = ctx->pSideBlock;
    const int32_t row = 30 * 1024, col = 40 * 1024;
    const int32_t kCases[][6] = {
        // deviation; follow mode before and after; shift of the translations after
        {row - 1, col - 1, 6000, 0, 0, 14},
        {row, 0, 0, 0, 1, 13},
        {0, -col, 0, 0, 1, 13},
        {0, 0, 6001, 0, 1, 13},
        {0, 0, -6001, 0, 1, 13},
        {0, 0, 2001, 0, 0, 14},
        {row / 8 - 1, 1 - col / 8, -2000, 0, 0, 15},
        {row / 8, 0, 0, 0, 0, 14},
        {row / 8 - 1, 1 - col / 8, -2000, 1, 0, 13},
        {0, col / 8, 0, 1, 1, 13},
        {0, 0, 2001, 1, 1, 13}};
    const auto start = [&] {
        InitKalmanFilter(ctx.get());
        for (KalmanState *s : {&side->stAxisRow.st, &side->stAxisCol.st, &side->stAxisTheta.st})
            s->llProcNoise = s->llP00 = s->llP01 = s->llP10 = s->llP11 = s->llMeasNoise = 0;
    };
    for (const auto &k : kCases) {
        start();
        side->lAdaptCountdown = 1;
        side->bFollowMode = k[3];
        const MVS_MotionTriple dev = KalmanFilterOnePos(ctx.get(), -k[0], -k[1], -k[2]);
        EXPECT_EQ(dev.lRow, k[0]);
        EXPECT_EQ(side->bFollowMode, k[4]) << k[0] << ' ' << k[1] << ' ' << k[2];
        EXPECT_EQ(side->lGainShiftCol, k[5]) << k[0] << ' ' << k[1] << ' ' << k[2];
        EXPECT_EQ(side->lAdaptCountdown, 30);
    }
    start();
    side->lPredictModeRow = 2; // the velocity joins the prediction, once
    side->stAxisRow.st.llVel = 77;
    EXPECT_EQ(KalmanFilterOnePos(ctx.get(), 0, 0, 0).lRow, 77);
    EXPECT_EQ(side->lPredictModeRow, 1);
}

TEST(Smoothing, LimitedByTheMargins) {
    const Handle ctx = MakeHandle({1920, 1080}, {1792, 984}, 0);
    ctx->lCropX = 64;
    ctx->lCropY = 48;
    // Motion, what the filter without gain makes of it, and the scale it is limited by.
    const int32_t kCases[][6] = {
        {-60 * 1024, 1000, 0, 49152, -800, 0}, // 48 / 60
        {48 * 1024, -64 * 1024, 0, -49152, 65536, 0},
        {0, -80 * 1024, 0, 0, 65536, 0},
        {0, 0, -20000, 0, 0, 5041}, // to 5716, then by 65536 / (832 * 5716 / 64)
        {0, 0, 20000, 0, 0, -5041},
        {0, 0, 5000, 0, 0, -5000}};
    for (const auto &k : kCases) {
        InitKalmanFilter(ctx.get());
        KalmanSideBlock *side = ctx->pSideBlock;
        side->lGainShiftRow = side->lGainShiftCol = side->lGainShiftTheta = 62;
        ctx->lCurMotionRow = k[0];
        ctx->lCurMotionCol = k[1];
        ctx->lCurMotionTheta = k[2];
        EXPECT_EQ(SmoothGlobalMotionM3(ctx.get(), 1), 1);
        EXPECT_EQ(ctx->lCompRow, k[3]);
        EXPECT_EQ(ctx->lCompCol, k[4]);
        EXPECT_EQ(ctx->lCompTheta, k[5]);
        const KalmanState &s = side->stAxisRow.st;
        EXPECT_EQ(s.llPos, k[3] + k[0]); // the path remembers the limit
        EXPECT_EQ(s.llVel, (int64_t)(k[3] + k[0]) * s.llP10 / s.llP00);
    }
    ctx->lCropX =
        100; // the bound of the angle alone: the margins would allow 4388, or 8233 by the scale
    ctx->lCropY = 60;
    for (int32_t theta : {-20000, -8000, 8000, 20000}) {
        InitKalmanFilter(ctx.get());
        ctx->pSideBlock->lGainShiftTheta = 62;
        const MVS_MotionTriple st = AddGmvQueueM3(ctx.get(), 0, 0, theta);
        EXPECT_EQ(st.lTheta, theta < 0 ? 5716 : -5716);
    }
    // A tall output: the columns' margin bounds the angle, 53 * 65536 / 446 cut, and nothing is scaled.
    const Handle tall = MakeHandle({706, 1400}, {600, 892}, 0);
    ASSERT_TRUE(QEL_MVS_SetMode(tall.get(), 1));
    tall->pSideBlock->lGainShiftTheta = 62;
    EXPECT_EQ(AddGmvQueueM3(tall.get(), 0, 0, -20000).lTheta, 7787);
    EXPECT_EQ(MakeHandle({1280, 720})->pSideBlock->stAxisTheta.st.llProcNoise, 2); // 72 squared, Q11
    EXPECT_EQ(SmoothGlobalMotionM3(ctx.get(), 2), 1); // anything but 1 starts anew
    EXPECT_EQ(ctx->lCompTheta, 0);
    EXPECT_EQ(ctx->pSideBlock->stAxisRow.st.llMeasPos, 0);
}

} // namespace
