// SPDX-License-Identifier: BSD-2-Clause
#include "video/y4m_video.h"

#include <string.h>

#include "video/media.h"
#include "video/y4m_header.h"

namespace {

PictureSize ChromaSize(PictureSize size) { return {(size.width + 1) / 2, (size.height + 1) / 2}; }

ChromaSite ChromaSiteOf(const std::vector<std::string> &tags) {
    const std::string colour = Y4mColour(tags);
    if (colour == "420mpeg2") return {0, 2};
    return colour == "420paldv" ? ChromaSite{0, 0} : ChromaSite{2, 2};
}

} // namespace

Y4mSource::Y4mSource(std::unique_ptr<ByteInput> input) : mInput(std::move(input)) {
    mName = mInput->Name();
    ReadHeader();
    if (!IsEven(mInfo.codedSize)) mCodedRow = ByteBuffer((size_t)mInfo.codedSize.width);
}

void Y4mSource::ReadHeader() {
    // Looked at before the line is read: a binary file may have no line end for gigabytes.
    std::string start = mInput->Peek(strlen(kY4mMagic));
    if (start.empty()) throw VideoError(mName + " is empty");
    if (start != kY4mMagic)
        throw VideoError(mName + ": not a Y4M stream; for raw frames give --size WxH (and --format)");
    if (!mInput->ReadLine(mLine, kY4mMaxLine)) throw VideoError(mName + ": the Y4M header has no end");
    Y4mHeader header = ParseY4mHeader(mLine, mName);
    mInfo.container = Container::Y4m;
    mInfo.layout = PixelLayout::I420;
    mInfo.chromaSite = ChromaSiteOf(header.tags);
    mInfo.codedSize = header.size;
    mInfo.size = EvenPart(header.size);
    mInfo.interlaced = header.interlaced;
    mInfo.framesPerSecond = header.framesPerSecond;
    if (header.framesPerSecond.num > 0)
        mInfo.timeBase = {header.framesPerSecond.den, header.framesPerSecond.num};
    mInfo.sampleAspect = header.sampleAspect;
    mInfo.fullRange = header.fullRange;
    mInfo.frameCount = mInput->FileBytes() / (int64_t)(FrameBytes(mInfo.codedSize) + strlen("FRAME\n"));
    mInfo.tags = header.tags;
    if (mInfo.size.width == 0 || mInfo.size.height == 0)
        throw VideoError(mName + ": pictures of " + SizeText(header.size) +
                         " are too small, 2x2 is the least");
}

bool Y4mSource::Read(Frame &frame) {
    if (mInput->AtEnd()) return false;
    bool whole = mInput->ReadLine(mLine, kY4mMaxLine);
    if (!whole && mLine.size() <= kY4mMaxLine) FailTruncated();
    if (!whole || !ParseY4mFrameLine(mLine, frame.parameters))
        throw VideoError(mName + ": damaged, there is no FRAME line before frame " +
                         std::to_string(mFrameCount + 1));
    ReadPicture(frame.pixels.Data());
    frame.time = mFrameCount++;
    frame.duration = 1;
    return true;
}

void Y4mSource::ReadPicture(uint8_t *pixels) {
    if (mInfo.size == mInfo.codedSize) {
        ReadBytes(pixels, FrameBytes(mInfo.size));
        return;
    }
    ReadPlane(pixels, mInfo.size, mInfo.codedSize);
    pixels += LumaBytes(mInfo.size);
    for (int plane = 0; plane < 2; plane++) {
        ReadPlane(pixels, ChromaSize(mInfo.size), ChromaSize(mInfo.codedSize));
        pixels += ChromaPlaneBytes(mInfo.size);
    }
}

void Y4mSource::ReadPlane(uint8_t *plane, PictureSize kept, PictureSize coded) {
    for (int row = 0; row < coded.height; row++) {
        ReadBytes(mCodedRow.Data(), (size_t)coded.width);
        if (row < kept.height)
            memcpy(plane + (size_t)row * (size_t)kept.width, mCodedRow.Data(), (size_t)kept.width);
    }
}

void Y4mSource::ReadBytes(uint8_t *data, size_t size) {
    if (mInput->Read(data, size) < size) FailTruncated();
}

void Y4mSource::FailTruncated() const {
    throw VideoError(mName + ": ends within frame " + std::to_string(mFrameCount + 1) +
                     "; the file is cut short, only the whole frames before it can be used");
}

namespace {

std::string RatioTag(char letter, Rational ratio) {
    return letter + std::to_string(ratio.num) + ":" + std::to_string(ratio.den);
}

// For streams that came without a header.
std::vector<std::string> MakeTags(const StreamInfo &info) {
    std::vector<std::string> tags;
    if (info.framesPerSecond.num > 0) tags.push_back(RatioTag('F', info.framesPerSecond));
    if (info.sampleAspect.num > 0) tags.push_back(RatioTag('A', info.sampleAspect));
    std::vector<std::string> pictures = {"Ip", "C420jpeg"};
    if (info.media) pictures = MediaY4mTags(info);
    tags.insert(tags.end(), pictures.begin(), pictures.end());
    return tags;
}

} // namespace

Y4mSink::Y4mSink(const std::string &path, const std::string &name, const StreamInfo &info)
    : mOutput(path, name), mSize(info.size) {
    if (info.layout == PixelLayout::NV21) mChroma = ByteBuffer(2 * ChromaPlaneBytes(info.size));
    // A Y4M header that says nothing stays as it is.
    bool headless = info.tags.empty() && (info.media || info.framesPerSecond.num > 0);
    Y4mHeader header;
    header.size = info.size;
    header.tags = headless ? MakeTags(info) : info.tags;
    mOutput.Write(Y4mHeaderLine(header));
}

void Y4mSink::WritePicture(const Frame &frame) {
    mOutput.Write("FRAME" + frame.parameters + "\n");
    if (mChroma.Size() == 0) {
        mOutput.Write(frame.pixels.Data(), frame.pixels.Size());
        return;
    }
    size_t luma = LumaBytes(mSize), chroma = ChromaPlaneBytes(mSize);
    const uint8_t *pairs = frame.pixels.Data() + luma;
    for (size_t i = 0; i < chroma; i++) {
        mChroma.Data()[i] = pairs[2 * i + 1];
        mChroma.Data()[chroma + i] = pairs[2 * i];
    }
    mOutput.Write(frame.pixels.Data(), luma);
    mOutput.Write(mChroma.Data(), mChroma.Size());
}
