// SPDX-License-Identifier: BSD-2-Clause
#include "stabilize/stabilizer.h"

#include <algorithm>
#include <string>

namespace {

const int kMostThreads = 4; // of QEL_MVS_SetThreads

// The modes without zoom move a crop about inside the input, which takes a margin.
std::string MarginText(PictureSize in, PictureSize out, int mode) {
    PictureSize largest = EvenPart({in.width * 10 / 11, in.height * 10 / 11});
    std::string text = "--mode " + std::to_string(mode) +
                       " needs an input of at least 11/10 of the output, " + SizeText(in) +
                       " is too small for " + SizeText(out);
    if (largest.width < 2 || largest.height < 2) return text + "; use --mode 3";
    return text + "; give --out-size " + SizeText(largest) + " or less, or use --mode 3";
}

// The limits of the compensation hold up to a margin of half the output; beyond it, rotations would
// turn the picture anywhere.
void CheckHalf(PictureSize in, PictureSize out, int mode) {
    auto half = [](int side) { return (side + 3) / 4 * 2; }; // rounded up to an even number
    PictureSize least = {half(in.width), half(in.height)};
    if (mode == 1 || (out.width >= least.width && out.height >= least.height)) return;
    throw VideoError("--out-size " + SizeText(out) + " has a side of less than half of the input's (" +
                     SizeText(in) + "), give --out-size " + SizeText(least) + " or more, or --scale " +
                     SizeText(out) + " to make the stabilized picture smaller");
}

} // namespace

Stabilizer::Stabilizer(PictureSize in, PictureSize out, PixelLayout layout, int mode, int threads)
    : mThreads(std::min(threads, kMostThreads)) {
    CheckHalf(in, out, mode);
    mParam.lMode = mode;
    mParam.lInWidth = in.width;
    mParam.lInHeight = in.height;
    mParam.lOutWidth = out.width;
    mParam.lOutHeight = out.height;
    mParam.lFormat = layout == PixelLayout::NV21 ? QEL_MVS_FORMAT_NV21 : QEL_MVS_FORMAT_I420;
    Create();
}

void Stabilizer::Create() {
    PictureSize in = {mParam.lInWidth, mParam.lInHeight};
    PictureSize out = {mParam.lOutWidth, mParam.lOutHeight};
    mContext.reset(QEL_MVS_CreateStabilizer(&mParam));
    if (!mContext)
        throw VideoError(
            "cannot stabilize " + SizeText(in) + " to " + SizeText(out) +
            ": not a supported size, or not enough memory; try a smaller video or --out-size");
    if (!QEL_MVS_SetMode(mContext.get(), mParam.lMode))
        throw VideoError(MarginText(in, out, mParam.lMode));
    QEL_MVS_SetFullChroma(mContext.get(), 1);
    QEL_MVS_SetThreads(mContext.get(), mThreads);
    mFrameCount = 0;
}

void Stabilizer::Run(const Frame &input, Frame &output) {
    if (input.restart) Create();
    QEL_MVS_StabilizeFrame(mContext.get(), input.pixels.Data(), output.pixels.Data());
    // A frame the library had no memory for is not counted, and its output was not written.
    if (Motion().lFrameNumber == mFrameCount)
        throw VideoError("not enough memory to stabilize a video of this size");
    mFrameCount = Motion().lFrameNumber;
}

PictureSize Stabilizer::Reach() const {
    auto reach = [](int in, int out) { return std::max((in - out) >> 1, in / 16); };
    return {reach(mParam.lInWidth, mParam.lOutWidth), reach(mParam.lInHeight, mParam.lOutHeight)};
}

MVS_MotionInfo Stabilizer::Motion() const {
    MVS_MotionInfo info = {};
    info.lSize = (int32_t)sizeof(info);
    QEL_MVS_GetMotion(mContext.get(), &info);
    return info;
}

void Stabilizer::Describe(MotionRecord &record) const {
    const double pixel = 1024, radian = 65536;
    MVS_MotionInfo info = Motion();
    record.measured = info.bMeasured != 0;
    record.motion = {info.lMotionRow / pixel, info.lMotionCol / pixel, info.lMotionTheta / radian};
    record.compensation = {info.lCompRow / pixel, info.lCompCol / pixel, info.lCompTheta / radian};
    record.reliable = info.bShiftReliable != 0;
    record.blocksValid = info.lBlocksValid;
    record.blocksKept = info.lBlocksKept;
    record.reset = record.frame > 1 && !record.measured;
}
