// SPDX-License-Identifier: BSD-2-Clause
#include "stages.h"

#include <string.h>

#include "api/previous_frame.h"
#include "model/model.h"
#include "motion/motion.h"
#include "pipeline/pipeline.h"
#include "platform/workers.h"
#include "smooth/smooth.h"
#include "warp/warp.h"

const char *const kStageNames[kStages] = {
    "start workers", "coarse shift", "block search",        "model",
    "smoothing",     "warp",         "previous frame copy", "join workers"};

// One function a stage, kept apart: the profiler tells them by their names.
extern "C" {
__attribute__((noinline)) void StageCoarseShift(MVS_Context *ctx) {
    GetBigShiftF0(ctx, ctx->pCurFrame, ctx->pPrevFrame);
}
__attribute__((noinline)) void StageBlockSearch(MVS_Context *ctx) {
    BlockMotionEstimation(ctx, ctx->pCurFrame, ctx->pPrevFrame);
}
__attribute__((noinline)) void StageModel(MVS_Context *ctx) { GetGlobalMotionM3(ctx); }
__attribute__((noinline)) void StageSmoothing(MVS_Context *ctx) { SmoothGlobalMotionM3(ctx, 1); }
__attribute__((noinline)) void StageWarp(MVS_Context *ctx) {
    StabilizeFrameM3F0(ctx, ctx->pCurFrame, ctx->pOutFrame);
}
__attribute__((noinline)) void StageCopy(MVS_Context *ctx) { KeepFrame(ctx, false); }
}

StagedFrames::StagedFrames(Size in, Size out, const Clip &clip, int threads, CpuLevel highest)
    : mIn(in), mOut(out), mClip(clip), mThreads(threads), mHighest(highest), mOutputs(out.Frame()) {
    Start();
}

// The first frame is the public call's: it allocates what a frame needs.
void StagedFrames::Start() {
    mHandle = MakeHandle(mIn, mOut, QEL_MVS_FORMAT_NV21, 3, mHighest);
    QEL_MVS_SetThreads(mHandle.get(), mThreads);
    QEL_MVS_StabilizeFrame(mHandle.get(), mClip.Frame(0), mOutputs.At(0));
    mNext = 1;
}

// As a frame call does it (src/api/frame_call.cpp).
void StagedFrames::BeginFrame() {
    MVS_Context *ctx = mHandle.get();
    StartWorkers(ctx->pWorkers, WorkersFor(&ctx->stThreads, ctx->lInLumaSize));
    ctx->bInFrame = 1;
    ctx->pCurFrame = mClip.Frame(mNext);
    ctx->pOutFrame = mOutputs.At(mNext);
    ctx->pInPairs = ctx->pCurFrame + ctx->lInLumaSize;
    ctx->pOutPairs = ctx->pOutFrame + ctx->lOutLumaSize;
}

void StagedFrames::EndFrame() {
    MVS_Context *ctx = mHandle.get();
    JoinWorkers(ctx->pWorkers);
    ctx->bInFrame = 0;
    ctx->pInPairs = nullptr;
    ctx->pOutPairs = nullptr;
    ctx->lPrevRow = ctx->lCurMotionRow;
    ctx->lPrevCol = ctx->lCurMotionCol;
    ctx->lPrevTheta = ctx->lCurMotionTheta;
    mNext++;
}

void StagedFrames::Run(Stage stage) {
    MVS_Context *ctx = mHandle.get();
    switch (stage) {
    case kStartWorkers:
        BeginFrame();
        break;
    case kCoarseShift:
        StageCoarseShift(ctx);
        break;
    case kBlockSearch:
        StageBlockSearch(ctx);
        break;
    case kModel:
        StageModel(ctx);
        break;
    case kSmoothing:
        StageSmoothing(ctx);
        break;
    case kWarp:
        StageWarp(ctx);
        break;
    case kCopy:
        StageCopy(ctx);
        break;
    default:
        EndFrame();
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
