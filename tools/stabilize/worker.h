// SPDX-License-Identifier: BSD-2-Clause
// What happens to a frame between reading and writing: stabilized, scaled, shown beside its input.
#pragma once

#include <memory>
#include <optional>

#include "stabilize/compose.h"
#include "stabilize/motion_record.h"
#include "stabilize/options.h"
#include "stabilize/refined.h"
#include "stabilize/stabilizer.h"
#include "stabilize/window.h"
#include "video/frame_pool.h"
#include "video/media.h"

class Worker {
  public:
    Worker(const Options &options, const StreamInfo &info);

    // Of a clip that is measured first: its next frame, before any is pushed.
    void Measure(const Frame &frame) { mRefined->Measure(frame); }
    // No more are measured.
    void EndMeasuring() {
        if (mRefined) mRefined->EndMeasuring();
    }
    // Of a clip that is measured first: plans it in the window that suits it.
    WindowChoice FitWindow();

    void Push(const FramePtr &input);
    // The next frame to be written, with the input's times and packets. False: it takes more input.
    bool Pull(FramePtr &output);

    // Of the frame that Pull gave last: the input, and the same stabilized and scaled; with --split,
    // the part left of the line is the input's.
    const Frame &Input() const { return *mShownInput; }
    const Frame &Steady() const { return *mSteady; }
    // Makes the stabilized frame where no output and no preview needs it.
    void NeedSteady();
    PictureSize SteadySize() const { return mSteadySize; }
    // What it is compared with: the input, or its middle scaled as the output is. Null when no view was
    // asked for.
    const Frame *Before() const { return mBefore.get(); }
    PictureSize BeforeSize() const { return mBeforeSize; }

    // Of the frames that Pull gives.
    PictureSize OutSize() const { return mOutSize; }
    // Of their pixels: what is scaled out of shape is to be shown in its shape.
    Rational SampleAspect() const;
    // Of each side, what is shown; 0 on the standard path.
    double Window() const { return mRefined ? mRefined->Window() : 0; }
    // How far the picture can be moved.
    PictureSize Reach() const;

    MotionRecord Record() const;
    int64_t Count() const { return mCount; }

  private:
    FramePtr Made(const FramePtr &input);
    FramePtr Steadied(const FramePtr &input);
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
    std::optional<RefinedStabilizer> mRefined; // none on the standard path
    std::optional<Stabilizer> mStabilizer;     // none on the refined path, and in mode none
    FramePtr mInput;                           // pushed, on the standard path
    std::unique_ptr<FrameScaler> mScaler;
    const View mView;
    FramePool mCropPool;
    FramePool mSteadyPool;
    FramePool mOutPool;
    FramePtr mSteady;
    FramePtr mBefore;
    FramePtr mShownInput;
    int64_t mCount = 0;
    int64_t mTime = 0;
};
