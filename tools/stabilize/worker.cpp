// SPDX-License-Identifier: BSD-2-Clause
#include "stabilize/worker.h"

#include <limits.h>
#include <math.h>

#include <algorithm>
#include <numeric>

namespace {

PictureSize CropSize(const Options &options, PictureSize in) {
    if (options.outSize) return *options.outSize;
    auto side = [&](int whole) { return (int)lround(whole * (1 - options.crop)); };
    return EvenPart({side(in.width), side(in.height)});
}

PictureSize ScaledSize(const Options &options, PictureSize in, PictureSize crop) {
    if (options.scale) return *options.scale;
    return options.zoom ? in : crop;
}

// Sides of even numbers are rounded by less than this.
bool HasShapeOf(PictureSize size, PictureSize other) {
    const double rounding = 2;
    double width = (double)size.height * other.width / other.height;
    double height = (double)size.width * other.height / other.width;
    return fabs(width - size.width) < rounding || fabs(height - size.height) < rounding;
}

Rational Reduced(int64_t num, int64_t den) {
    int64_t divisor = std::gcd(num, den);
    num /= divisor;
    den /= divisor;
    for (; num > INT_MAX || den > INT_MAX; num /= 2) den /= 2;
    return {(int)num, (int)std::max<int64_t>(den, 1)};
}

void CheckSplit(const Options &options, PictureSize size, int rotation) {
    int width = ShownWidth(size, rotation);
    int most = width - kSplitColumns - kLineColumns;
    if (!options.split || options.splitColumn <= most) return;
    throw VideoError("--split " + std::to_string(options.splitColumn) + ": the output is " +
                     std::to_string(width) + " columns wide, give a column from " +
                     std::to_string(kSplitColumns) + " to " + std::to_string(most));
}

// A clip whose window is chosen later is measured without a plan.
RefinedSettings FirstSettings(RefinedSettings settings) {
    if (!settings.autoWindow) return settings;
    settings.whole = false;
    settings.lookahead = 0;
    return settings;
}

} // namespace

Worker::Worker(const Options &options, const StreamInfo &info)
    : mOptions(options), mInfo(info), mCompared(options.split || options.sideBySide || options.preview),
      mCropSize(CropSize(options, info.size)), mSteadySize(ScaledSize(options, info.size, mCropSize)),
      mOutSize(options.sideBySide ? JoinedSize(mSteadySize, info.rotation) : mSteadySize),
      mView{info.layout, info.rotation}, mCropPool(mCropSize, info.layout),
      mSteadyPool(mSteadySize, info.layout), mOutPool(mOutSize, info.layout) {
    if (mCompared && (mCropSize.width > info.size.width || mCropSize.height > info.size.height))
        throw VideoError(
            "before and after cannot be compared in an --out-size larger than the input (" +
            SizeText(info.size) + "), give a smaller one, and --scale for large pictures");
    CheckSplit(options, mSteadySize, info.rotation);
    if (options.refined)
        mRefined.emplace(info, FirstSettings(*options.refined), options.threads);
    else if (options.mode != Mode::None)
        mStabilizer.emplace(info.size, mCropSize, info.layout, (int)options.mode, options.threads);
    if (mSteadySize != mCropSize)
        mScaler = MakeFrameScaler(mCropSize, mSteadySize, info.layout, info.layout);
    mBeforeSize = mScaler ? mSteadySize : info.size;
}

Rational Worker::SampleAspect() const {
    Rational aspect = mInfo.sampleAspect;
    if (!mScaler || aspect.num <= 0 || HasShapeOf(mSteadySize, mCropSize)) return aspect;
    return Reduced((int64_t)aspect.num * mCropSize.width * mSteadySize.height,
                   (int64_t)aspect.den * mCropSize.height * mSteadySize.width);
}

FramePtr Worker::Scaled(const Frame &frame) {
    FramePtr scaled = mSteadyPool.Get();
    mScaler->Scale(frame, *scaled);
    return scaled;
}

void Worker::MakeBefore(const FramePtr &input) {
    mBefore = input;
    if (!mScaler) return;
    FramePtr middle = mCropPool.Get();
    CopyMiddle(*input, mInfo.size, *middle, mCropSize, mInfo.layout);
    mBefore = Scaled(*middle);
}

FramePtr Worker::Composed() {
    if (mOptions.sideBySide) {
        FramePtr joined = mOutPool.Get();
        ShowSideBySide(*mBefore, mBeforeSize, *mSteady, mSteadySize, mView, *joined);
        return joined;
    }
    int column = mOptions.splitColumn;
    if (column == 0) column = ShownWidth(mSteadySize, mView.rotation) / 2;
    if (mOptions.split) ShowSplit(*mBefore, mBeforeSize, *mSteady, mSteadySize, mView, column);
    return mSteady;
}

WindowChoice Worker::FitWindow() {
    const std::vector<FrameRecord> records = mRefined->TakeRecords();
    const WindowChoice choice = ChooseWindow(mInfo, *mOptions.refined, records);
    RefinedSettings settings = *mOptions.refined;
    settings.window = choice.window;
    mRefined.emplace(mInfo, settings, mOptions.threads);
    mRefined->Replay(records);
    mRefined->EndMeasuring();
    return choice;
}

void Worker::Push(const FramePtr &input) {
    if (!mRefined) {
        mInput = input;
        return;
    }
    if (!mOptions.refined->MeasuredFirst()) mRefined->Measure(*input);
    mRefined->Keep(input);
}

bool Worker::Pull(FramePtr &output) {
    FramePtr input = mRefined ? mRefined->Next() : std::move(mInput);
    mInput.reset();
    if (!input) return false;
    mCount++;
    mTime = input->time;
    mShownInput = input;
    mSteady.reset();
    output = Made(input);
    return true;
}

FramePtr Worker::Steadied(const FramePtr &input) {
    bool copied = !mStabilizer && mOptions.split && !mScaler; // to be drawn on
    if (!mRefined && !mStabilizer && !copied) return input;
    FramePtr steady = mCropPool.Get();
    if (mRefined)
        mRefined->Draw(*input, *steady);
    else if (mStabilizer)
        mStabilizer->Run(*input, *steady);
    else
        CopyPixels(*input, *steady);
    return steady;
}

FramePtr Worker::Made(const FramePtr &input) {
    bool shown = !mOptions.output.empty() || mOptions.preview;
    if (mRefined && !shown) return input; // its motion is known
    NeedSteady();
    if (mCompared) MakeBefore(input);
    FramePtr output = Composed();
    if (output != input) TakeFrameNotes(*input, *output);
    return output;
}

void Worker::NeedSteady() {
    if (mSteady) return;
    mSteady = Steadied(mShownInput);
    if (mScaler) mSteady = Scaled(*mSteady);
}

PictureSize Worker::Reach() const {
    if (mRefined) return mRefined->Reach();
    return mStabilizer ? mStabilizer->Reach() : PictureSize();
}

MotionRecord Worker::Record() const {
    MotionRecord record;
    record.frame = mCount;
    record.seconds = (double)mTime * mInfo.timeBase.Value();
    if (mRefined) mRefined->Describe(record);
    if (mStabilizer) mStabilizer->Describe(record);
    return record;
}
