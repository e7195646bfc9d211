#include "video/raw_video.h"

#include "video/y4m_header.h"

RawSource::RawSource(const std::string &path, const RawShape &shape) : mInput(path) {
    mName = mInput.Name();
    const std::string y4mStart = std::string(kY4mMagic) + " ";
    if (mInput.Peek(y4mStart.size()) == y4mStart)
        throw VideoError(mName +
                         ": this is a Y4M stream, which knows its size; leave out --size and --format");
    mInfo.container = Container::Raw;
    mInfo.layout = shape.layout;
    mInfo.size = mInfo.codedSize = shape.size;
}

bool RawSource::Read(Frame &frame) {
    size_t count = mInput.Read(frame.pixels.Data(), frame.pixels.Size());
    if (count == 0) return false;
    if (count < frame.pixels.Size())
        throw VideoError(mName + ": ends within frame " + std::to_string(mFrameCount + 1) + " (" +
                         std::to_string(count) + " of " + std::to_string(frame.pixels.Size()) +
                         " bytes); the file is cut short or --size " + SizeText(mInfo.size) +
                         " is wrong");
    mFrameCount++;
    return true;
}
