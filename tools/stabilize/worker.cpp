// SPDX-License-Identifier: BSD-2-Clause
#include "stabilize/worker.h"

#include <math.h>

#include "stabilize/compose.h"

namespace {

PictureSize CropSize(const Options &options, PictureSize in) {
    if (options.outSize) return *options.outSize;
    auto side = [&](int whole) { return (int)lround(whole * (1 - options.crop)); };
    return EvenPart({side(in.width), side(in.height)});
}

PictureSize JoinedSize(const Options &options, PictureSize size) {
    return options.sideBySide ? PictureSize{2 * size.width, size.height} : size;
}

} // namespace

Worker::Worker(const Options &options, const StreamInfo &info)
    : mOptions(options), mInfo(info), mCropSize(CropSize(options, info.size)),
      mSteadySize(options.zoom ? info.size : mCropSize), mOutSize(JoinedSize(options, mSteadySize)),
      mCropPool(mCropSize), mSteadyPool(mSteadySize), mOutPool(mOutSize) {
    bool compared = options.split || options.sideBySide || options.preview;
    if (compared && (mSteadySize.width > info.size.width || mSteadySize.height > info.size.height))
        throw VideoError("before and after cannot be compared in an output larger than the input (" +
                         SizeText(info.size) + "), give a smaller --out-size");
    if (options.mode != Mode::None)
        mStabilizer.emplace(info.size, mCropSize, info.layout, (int)options.mode, options.threads);
    if (mSteadySize != mCropSize) mScaler = MakeFrameScaler(mCropSize, mSteadySize, info.layout);
}

FramePtr Worker::Run(const FramePtr &input) {
    mCount++;
    mTime = input->time;
    mSteady = input;
    bool splits = mOptions.split;
    if (mStabilizer) {
        mSteady = mCropPool.Get();
        mStabilizer->Run(*input, *mSteady);
    } else if (splits) {
        mSteady = mCropPool.Get();
        CopyPixels(*input, *mSteady);
    }
    if (mScaler) {
        FramePtr enlarged = mSteadyPool.Get();
        mScaler->Scale(*mSteady, *enlarged);
        mSteady = std::move(enlarged);
    }
    FramePtr output = mSteady;
    if (mOptions.sideBySide) {
        output = mOutPool.Get();
        ShowSideBySide(*input, mInfo.size, *mSteady, mSteadySize, mInfo.layout, *output);
    } else if (splits) {
        int column = mOptions.splitColumn > 0 ? mOptions.splitColumn : mSteadySize.width / 2;
        ShowSplit(*input, mInfo.size, *mSteady, mSteadySize, mInfo.layout, column);
    }
    if (output != input) TakeFrameNotes(*input, *output);
    return output;
}

MotionRecord Worker::Record() const {
    MotionRecord record;
    record.frame = mCount;
    record.seconds = (double)mTime * mInfo.timeBase.Value();
    if (mStabilizer) record.motion = mStabilizer->Motion();
    record.reset = mCount > 1 && !record.motion.bMeasured;
    return record;
}
