// SPDX-License-Identifier: BSD-2-Clause
// One frame of mode 3, stage by stage: the calls of a frame with a seam between them, so that each can
// be timed and counted by itself. Buffers are separate and NV21.
#pragma once

#include "handle.h"

enum Stage {
    kStartWorkers,
    kCoarseShift,
    kBlockSearch,
    kModel,
    kSmoothing,
    kWarp,
    kCopy,
    kJoinWorkers,
    kStages
};

extern const char *const kStageNames[kStages];

class StagedFrames {
  public:
    // threads as QEL_MVS_SetThreads takes them
    StagedFrames(Size in, Size out, const Clip &clip, int threads, CpuLevel highest = kCpuLevels);

    // One call for each stage, in their order, makes a frame; after the last one comes the next frame.
    void Run(Stage stage);

    // True when a cycle of the clip, stage by stage, gives the frames of the public call: what is timed
    // here is then what runs there.
    bool EqualsPublicCall();

  private:
    void Start();
    void BeginFrame();
    void EndFrame();

    Size mIn, mOut;
    const Clip &mClip;
    int mThreads;
    CpuLevel mHighest;
    Handle mHandle;
    int mNext = 0;
    Outputs mOutputs;
};
