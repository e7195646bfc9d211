// SPDX-License-Identifier: BSD-2-Clause
// What happens to a frame between reading and writing: stabilized, scaled, shown beside its input.
#pragma once

#include <memory>
#include <optional>

#include "stabilize/compose.h"
#include "stabilize/motion_record.h"
#include "stabilize/options.h"
#include "stabilize/stabilizer.h"
#include "video/frame_pool.h"
#include "video/media.h"

class Worker {
  public:
    Worker(const Options &options, const StreamInfo &info);

    // The frame to be written, with the input's times and packets.
    FramePtr Run(const FramePtr &input);

    // The frame that Run was last given, stabilized and scaled; with --split, the part left of the line
    // is the input's.
    const Frame &Steady() const { return *mSteady; }
    PictureSize SteadySize() const { return mSteadySize; }
    // What it is compared with: the input, or its middle scaled as the output is. Null when no view was
    // asked for.
    const Frame *Before() const { return mBefore.get(); }
    PictureSize BeforeSize() const { return mBeforeSize; }

    // Of the frames that Run returns.
    PictureSize OutSize() const { return mOutSize; }
    // Of their pixels: what is scaled out of shape is to be shown in its shape.
    Rational SampleAspect() const;
    // How far the picture can be moved.
    PictureSize Reach() const { return mStabilizer ? mStabilizer->Reach() : PictureSize(); }

    MotionRecord Record() const;
    int64_t Count() const { return mCount; }

  private:
    FramePtr Scaled(const Frame &frame);
    void MakeBefore(const FramePtr &input);
    FramePtr Composed();

    const Options &mOptions;
    const StreamInfo &mInfo;
    const bool mCompared;
    PictureSize mCropSize;   // as the stabilizer gives it
    PictureSize mSteadySize; // and scaled
    PictureSize mBeforeSize;
    PictureSize mOutSize;
    std::optional<Stabilizer> mStabilizer; // none in mode none
    std::unique_ptr<FrameScaler> mScaler;
    const View mView;
    FramePool mCropPool;
    FramePool mSteadyPool;
    FramePool mOutPool;
    FramePtr mSteady;
    FramePtr mBefore;
    int64_t mCount = 0;
    int64_t mTime = 0;
};
