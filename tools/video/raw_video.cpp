// SPDX-License-Identifier: BSD-2-Clause
#include "video/raw_video.h"

#include "video/y4m_header.h"

RawSource::RawSource(std::unique_ptr<ByteInput> input, const RawShape &shape, Rational framesPerSecond)
    : mInput(std::move(input)) {
    mName = mInput->Name();
    const std::string y4mStart = std::string(kY4mMagic) + " ";
    if (mInput->Peek(y4mStart.size()) == y4mStart)
        throw VideoError(mName +
                         ": this is a Y4M stream, which knows its size; leave out --size and --format");
    mInfo.container = Container::Raw;
    mInfo.layout = shape.layout;
    mInfo.chromaSite = {2, 2}; // as in a Y4M header that does not say
    mInfo.size = mInfo.codedSize = shape.size;
    mInfo.framesPerSecond = framesPerSecond;
    mInfo.timeBase = {framesPerSecond.den, framesPerSecond.num};
    mInfo.frameCount = mInput->FileBytes() / (int64_t)FrameBytes(shape.size);
}

bool RawSource::Read(Frame &frame) {
    size_t count = mInput->Read(frame.pixels.Data(), frame.pixels.Size());
    if (count == 0) return false;
    if (count < frame.pixels.Size())
        throw VideoError(mName + ": ends within frame " + std::to_string(mFrameCount + 1) + " (" +
                         std::to_string(count) + " of " + std::to_string(frame.pixels.Size()) +
                         " bytes); the file is cut short or --size " + SizeText(mInfo.size) +
                         " is wrong");
    frame.time = mFrameCount++;
    frame.duration = 1;
    return true;
}
