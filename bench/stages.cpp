// SPDX-License-Identifier: BSD-2-Clause
#include "stages.h"

#include <string.h>

#include "model/model.h"
#include "motion/motion.h"
#include "pipeline/pipeline.h"
#include "smooth/smooth.h"
#include "warp/map.h"
#include "warp/warp.h"

const char *const kStageNames[kStages] = {"coarse shift", "block search", "model",       "smoothing",
                                          "warp luma",    "warp chroma",  "previous frame copy"};

// One function a stage, kept apart: the profiler tells them by their names.
extern "C" {
__attribute__((noinline)) void StageCoarseShift(MVS_Context *ctx, const uint8_t *in) {
    GetBigShiftF0(ctx, in, ctx->pPrevFrame);
}
__attribute__((noinline)) void StageBlockSearch(MVS_Context *ctx, const uint8_t *in) {
    BlockMotionEstimation(ctx, in, ctx->pPrevFrame);
}
__attribute__((noinline)) void StageModel(MVS_Context *ctx) { GetGlobalMotionM3(ctx); }
__attribute__((noinline)) void StageSmoothing(MVS_Context *ctx) { SmoothGlobalMotionM3(ctx, 1); }
__attribute__((noinline)) void StageWarpLuma(MVS_Context *ctx, const uint8_t *in, uint8_t *out,
                                             bool blocks) {
    const WarpMap map = MapWithZoom(ctx);
    if (blocks)
        StabY_Rotation_4x4_7to8(ctx, in, out, map.lR0, map.lC0, map.lZ, map.lS);
    else
        StabY_RotationF0(ctx, in, out, map.lR0, map.lC0, map.lZ, map.lS);
}
__attribute__((noinline)) void StageWarpChroma(MVS_Context *ctx, const uint8_t *in, uint8_t *out,
                                               bool blocks) {
    const WarpMap map = MapWithZoom(ctx);
    if (blocks)
        StabC2_Rotation_4x4_7to8(ctx, in + ctx->lInLumaSize, out + ctx->lOutLumaSize, map.lR0 >> 1,
                                 map.lC0 >> 1, map.lZ, map.lS);
    else
        StabC2_RotationF0(ctx, map.lR0 >> 1, map.lC0 >> 1, map.lZ, map.lS);
}
__attribute__((noinline)) void StageCopy(MVS_Context *ctx, const uint8_t *in) {
    memcpy(ctx->pPrevFrame, in, (size_t)ctx->lInLumaSize);
}
}

StagedFrames::StagedFrames(Size in, Size out, const Clip &clip, CpuLevel highest)
    : mIn(in), mOut(out), mClip(clip), mHighest(highest), mOutputs(out.Frame()) {
    Start();
}

// The first frame is the public call's: it brings the handle to life.
void StagedFrames::Start() {
    mHandle = MakeHandle(mIn, mOut, QEL_MVS_FORMAT_NV21, 3, mHighest);
    QEL_MVS_StabilizeFrame(mHandle.get(), mClip.Frame(0), mOutputs.At(0));
    mNext = 1;
}

void StagedFrames::Run(Stage stage) {
    MVS_Context *ctx = mHandle.get();
    const uint8_t *in = mClip.Frame(mNext);
    uint8_t *out = mOutputs.At(mNext);
    const bool blocks = mIn.width == mOut.width && mIn.height == mOut.height && mOut.width > 319 &&
                        mOut.height > 239;
    switch (stage) {
    case kCoarseShift:
        BeginCrew(&ctx->stCrew, ctx->lInLumaSize); // it ends with the last stage
        ctx->pCrew = &ctx->stCrew;
        ctx->pCurFrame = in;
        ctx->pOutFrame = out;
        StageCoarseShift(ctx, in);
        break;
    case kBlockSearch: StageBlockSearch(ctx, in); break;
    case kModel: StageModel(ctx); break;
    case kSmoothing: StageSmoothing(ctx); break;
    case kWarpLuma: StageWarpLuma(ctx, in, out, blocks); break;
    case kWarpChroma: StageWarpChroma(ctx, in, out, blocks); break;
    default:
        ctx->lPrevRow = ctx->lCurMotionRow;
        ctx->lPrevCol = ctx->lCurMotionCol;
        ctx->lPrevTheta = ctx->lCurMotionTheta;
        StageCopy(ctx, in);
        ctx->pCrew = nullptr;
        EndCrew(&ctx->stCrew);
        mNext++;
        break;
    }
}

bool StagedFrames::EqualsPublicCall() {
    Start();
    const Handle reference = MakeHandle(mIn, mOut, QEL_MVS_FORMAT_NV21, 3, mHighest);
    std::vector<uint8_t> expected(mOut.Frame());
    QEL_MVS_StabilizeFrame(reference.get(), mClip.Frame(0), expected.data());
    for (int i = 1; i < mClip.Frames(); i++) {
        for (int stage = 0; stage < kStages; stage++) Run((Stage)stage);
        QEL_MVS_StabilizeFrame(reference.get(), mClip.Frame(i), expected.data());
        if (memcmp(expected.data(), mOutputs.At(i), mOut.Frame())) return false;
    }
    return true;
}
