// SPDX-License-Identifier: BSD-2-Clause
#include "stabilize/refined.h"

#include <math.h>

#include <algorithm>
#include <string>

namespace {

const int kMostThreads = 4; // of QEL_MVS_SetThreads
const int kWholeClip = -1;  // of QEL_MVS_SetLookahead

const size_t kUsualBytes = (size_t)1 << 30;

// Of streams that do not tell their rate.
const Rational kUsualRate = {30, 1};

// In 1024ths, within the limits of the library.
int32_t Parts(double value, int32_t least, int32_t most) {
    return std::clamp((int32_t)lround(value * 1024), least, most);
}

} // namespace

Rational RateOf(const StreamInfo &info) {
    const int most = 1000; // 1 is the least
    Rational rate = info.meanRate.num > 0 ? info.meanRate : info.framesPerSecond;
    if (rate.num <= 0) return kUsualRate;
    if (rate.Value() < 1) return {1, 1};
    return rate.Value() > most ? Rational{most, 1} : rate;
}

int MostLookahead(const RefinedSettings &settings, const StreamInfo &info) {
    if (settings.givenLookahead || settings.MeasuredFirst()) return kMostLookahead;
    return std::min((int)(kUsualBytes / FrameBytes(info.size, info.layout)), kMostLookahead);
}

int LookaheadFrames(const RefinedSettings &settings, const StreamInfo &info) {
    if (settings.whole) return kWholeClip;
    return (int)lround(settings.lookahead * RateOf(info).Value());
}

RefinedStabilizer::RefinedStabilizer(const StreamInfo &info, const RefinedSettings &settings,
                                     int threads)
    : mInfo(info), mWindow(settings.window) {
    MVS_InitParam param = {};
    param.lMode = 3;
    param.lInWidth = param.lOutWidth = info.size.width;
    param.lInHeight = param.lOutHeight = info.size.height;
    param.lFormat = QEL_MVS_FORMAT_I420; // of frame calls, of which there are none
    mContext.reset(QEL_MVS_CreateStabilizer(&param));
    if (!mContext || !QEL_MVS_SetRefined(mContext.get(), 1))
        throw VideoError("cannot stabilize " + SizeText(info.size) +
                         ": not enough memory; try a smaller video, or --standard");
    QEL_MVS_SetThreads(mContext.get(), std::min(threads, kMostThreads));
    Set(settings);
}

void RefinedStabilizer::Set(const RefinedSettings &settings) {
    MVS_Context *context = mContext.get();
    Rational rate = RateOf(mInfo);
    bool set = QEL_MVS_SetFrameRate(context, rate.num, rate.den) &&
               QEL_MVS_SetWindow(context, Parts(settings.window, 615, 1003)) &&
               QEL_MVS_SetStrength(context, Parts(settings.strength, 256, 4096)) &&
               QEL_MVS_SetRoll(context, settings.roll) && QEL_MVS_SetCubic(context, settings.cubic);
    if (!set) throw VideoError("the library does not take these settings of the camera path");
    int frames = std::min(LookaheadFrames(settings, mInfo), MostLookahead(settings, mInfo));
    if (!QEL_MVS_SetLookahead(context, frames))
        throw VideoError("not enough memory for this lookahead, give a shorter --lookahead, or --live");
}

std::vector<MVS_Plane> RefinedStabilizer::Planes(const Frame &frame) const {
    std::vector<MVS_Plane> planes;
    for (const PlaneShape &shape : PlanesOf(mInfo.size, mInfo.layout)) {
        MVS_Plane plane = {};
        plane.lSize = (int32_t)sizeof(plane);
        plane.lWidth = shape.pixels;
        plane.lHeight = shape.rows;
        plane.lChannels = shape.channels;
        plane.lSampleBytes = mInfo.layout.SampleBytes();
        plane.lBits = mInfo.layout.bits;
        plane.lLog2X = shape.log2X;
        plane.lLog2Y = shape.log2Y;
        plane.lSiteX = shape.log2X > 0 ? mInfo.chromaSite.x : 0;
        plane.lSiteY = shape.log2Y > 0 ? mInfo.chromaSite.y : 0;
        plane.llPitch = shape.pitch;
        plane.pPixels = const_cast<uint8_t *>(frame.pixels.Data()) + shape.start;
        planes.push_back(plane);
    }
    return planes;
}

void RefinedStabilizer::Measure(const Frame &frame) {
    if (frame.restart) QEL_MVS_Reset(mContext.get());
    if (!QEL_MVS_PushLuma(mContext.get(), Planes(frame).data()))
        throw VideoError("not enough memory to stabilize a video of this size");
    MVS_MotionInfo info = {};
    info.lSize = (int32_t)sizeof(info);
    QEL_MVS_GetMotion(mContext.get(), &info);
    mMeasured.push_back({{}, info.lBlocksValid, info.lBlocksKept});
    PullRecords();
}

void RefinedStabilizer::Replay(const std::vector<FrameRecord> &records) {
    for (const FrameRecord &record : records) {
        if (!QEL_MVS_PushMotion(mContext.get(), &record.compensation))
            throw VideoError("not enough memory to stabilize a video of this length");
        mMeasured.push_back(record);
        PullRecords();
    }
}

std::vector<FrameRecord> RefinedStabilizer::TakeRecords() {
    std::vector<FrameRecord> records(mSettled.begin(), mSettled.end());
    mSettled.clear();
    return records;
}

void RefinedStabilizer::EndMeasuring() {
    mEnded = true;
    QEL_MVS_EndStream(mContext.get());
    PullRecords();
}

void RefinedStabilizer::PullRecords() {
    MVS_Compensation compensation = {};
    compensation.lSize = (int32_t)sizeof(compensation);
    while (QEL_MVS_PullCompensation(mContext.get(), &compensation)) {
        mSettled.push_back(mMeasured.front());
        mSettled.back().compensation = compensation;
        mMeasured.pop_front();
    }
}

void RefinedStabilizer::Keep(const FramePtr &frame) {
    mKept.push_back(frame);
    if (mEnded && mKept.size() > mSettled.size())
        throw VideoError("the input has more frames than when it was measured; give a file that "
                         "nothing else writes to");
}

FramePtr RefinedStabilizer::Next() {
    if (mKept.empty() || mSettled.empty()) return nullptr;
    FramePtr frame = std::move(mKept.front());
    mKept.pop_front();
    mCurrent = mSettled.front();
    mSettled.pop_front();
    return frame;
}

void RefinedStabilizer::Describe(MotionRecord &record) const {
    const MVS_Compensation &from = mCurrent.compensation;
    const double pixel = 65536, radian = 16777216;
    record.held = (from.lFlags & QEL_MVS_HELD) != 0;
    record.measured = record.reliable = (from.lFlags & QEL_MVS_MEASURED) != 0;
    record.motion = {from.lMotionRow / pixel, from.lMotionCol / pixel, from.lMotionTheta / radian};
    record.compensation = {from.lRow / pixel, from.lCol / pixel, from.lTheta / radian};
    record.blocksValid = mCurrent.textured;
    record.blocksKept = mCurrent.matched;
    record.reset = record.frame > 1 && (from.lFlags & QEL_MVS_NEW_SCENE);
}

void RefinedStabilizer::Draw(const Frame &input, Frame &output) const {
    std::vector<MVS_Plane> from = Planes(input), to = Planes(output);
    if (!QEL_MVS_CompensateFrame(mContext.get(), &mCurrent.compensation, from.data(), to.data(),
                                 (int32_t)from.size()))
        throw VideoError("not enough memory to stabilize a video of this size");
}

PictureSize RefinedStabilizer::Reach() const {
    auto half = [this](int side) { return (int)(side * (1 - mWindow) / 2); };
    return {half(mInfo.size.width), half(mInfo.size.height)};
}
