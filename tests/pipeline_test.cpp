// SPDX-License-Identifier: BSD-2-Clause
// What the drivers of the modes do around the stages: first frames, frames that cannot be measured, and
// the choice of the compensation.
#include <gtest/gtest.h>
#include <string.h>

#include "motion/motion.h"
#include "pipeline/pipeline.h"
#include "support/run.h"
#include "warp/warp.h"

namespace {

const Size kIn = {200, 160}, kOut = {176, 144};

struct Driver {
    Handle handle = MakeHandle(kIn, kOut, 0);
    MVS_Context *ctx = handle.get();
    explicit Driver(int32_t mode) { QEL_MVS_SetMode(ctx, mode); }
    Bytes Run(const Bytes &current, const Bytes &previous) {
        Bytes out((size_t)kOut.Frame(), kUntouched);
        (ctx->lMode == 1   ? DeshakerM1
         : ctx->lMode == 2 ? DeshakerM2
                           : DeshakerM3)(ctx, current.data(), previous.data(), out.data());
        return out;
    }
    // The compensation by itself.
    Bytes Warp(void (*stage)(MVS_Context *, const uint8_t *, uint8_t *), const Bytes &current,
               MVS_MotionTriple comp) {
        Bytes out((size_t)kOut.Frame(), kUntouched);
        ctx->lCompRow = comp.lRow;
        ctx->lCompCol = comp.lCol;
        ctx->lCompTheta = comp.lTheta;
        stage(ctx, current.data(), out.data());
        return out;
    }
};

TEST(Pipeline, FirstAndUnmeasuredFramesAreCentred) {
    const Bytes first = Render(kIn, {0, 0, 0}), second = Render(kIn, {3 * 256, -2 * 256, 0});
    const Bytes noise = Noise(kIn.Frame(), 3);
    for (int32_t mode = 1; mode <= 3; mode++) {
        Driver d(mode);
        const auto stage = mode == 3 ? StabilizeFrameM3F0 : StabilizeFrameM1F0;
        const Bytes centred = d.Warp(stage, first, {0, 0, 0}),
                    centredNoise = d.Warp(stage, noise, {0, 0, 0});
        d.ctx->lCompRow = d.ctx->lCompCol = 4096;
        d.ctx->lPrevRow = 55;
        EXPECT_EQ(d.Run(first, first), centred);
        EXPECT_EQ(d.ctx->lFrameCount, 1);
        EXPECT_EQ(d.ctx->lPrevRow, 55);
        d.Run(second, first);
        EXPECT_EQ(d.ctx->lPrevRow, 3 * 1024);
        EXPECT_EQ(d.ctx->lPrevCol, -2 * 1024);
        EXPECT_NE(d.ctx->pSideBlock->stAxisRow.st.llMeasPos, 0);
        EXPECT_EQ(d.Run(noise, second), centredNoise) << mode;
        EXPECT_EQ(d.ctx->lFrameCount, 3);
        EXPECT_EQ(d.ctx->lCompRow | d.ctx->lCompCol | d.ctx->lCompTheta, 0);
        EXPECT_EQ(d.ctx->pSideBlock->stAxisRow.st.llMeasPos, 0); // the smoother has started anew
        EXPECT_EQ(d.ctx->lPrevRow, d.ctx->lCurMotionRow);
    }
}

TEST(Pipeline, ModeTwoRotatesFromSeventeenOn) {
    const Bytes frame = Render(kIn, {0, 0, 0});
    for (int32_t theta : {-17, -16, 16, 17}) {
        Driver d(2);
        d.Run(frame, frame);
        KalmanSideBlock *side = d.ctx->pSideBlock;
        side->lGainShiftTheta = 62; // the path stays where it is put
        side->stAxisTheta.st.llPos = theta;
        const Bytes got = d.Run(frame, frame);
        ASSERT_EQ(d.ctx->lCompTheta, theta);
        const bool rotates = theta == 17 || theta == -17;
        EXPECT_EQ(got, d.Warp(rotates ? StabilizeFrameM2F0 : StabilizeFrameM1F0, frame, {0, 0, theta}))
            << theta;
        EXPECT_NE(got, d.Warp(rotates ? StabilizeFrameM1F0 : StabilizeFrameM2F0, frame, {0, 0, theta}))
            << theta;
    }
}

TEST(Pipeline, BlockSizeByTheWidth) {
    for (int32_t width : {200, 201}) {
        const Size s = {width, 160};
        const Handle handle = MakeHandle(s);
        MVS_Context *ctx = handle.get();
        const Bytes cur = Render(s, {0, 0, 0});
        const size_t bytes = (size_t)ctx->lBlockNum * sizeof(MVS_BlockMV);
        EXPECT_EQ(BlockMotionEstimation(ctx, cur.data(), cur.data()), 1);
        std::vector<uint8_t> records(bytes);
        memcpy(records.data(), ctx->pBlockMV, bytes);
        memset(ctx->pBlockMV, 0, bytes);
        EXPECT_EQ((width == 200 ? BlockME16F0 : BlockME32F0)(ctx, cur.data(), cur.data()), 1);
        EXPECT_EQ(0, memcmp(records.data(), ctx->pBlockMV, bytes));
    }
}

} // namespace
