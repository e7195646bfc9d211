// SPDX-License-Identifier: BSD-2-Clause
// Y4M streams: reads 8-bit 4:2:0 pictures, writes those of any layout.
#pragma once

#include <memory>
#include <string>

#include "video/byte_file.h"
#include "video/frame_source.h"

class Y4mSource : public FrameSource {
  public:
    explicit Y4mSource(std::unique_ptr<ByteInput> input);
    bool Read(Frame &frame) override;

  private:
    void ReadHeader();
    void ReadPicture(uint8_t *pixels);
    void ReadBytes(uint8_t *data, size_t size);
    void ReadPlane(uint8_t *plane, PictureSize kept, PictureSize coded);
    [[noreturn]] void FailTruncated() const;

    std::unique_ptr<ByteInput> mInput;
    int64_t mFrameCount = 0;
    std::string mLine;
    ByteBuffer mCodedRow; // used when the coded pictures have odd sides
};

class Y4mSink : public FrameSink {
  public:
    Y4mSink(const std::string &path, const std::string &name, const StreamInfo &info);
    void Write(const Frame &frame) override {
        WritePicture(frame);
        mOutput.Flush();
    }
    void Close() override { mOutput.Close(); }

  private:
    void WritePicture(const Frame &frame);

    ByteOutput mOutput;
    PictureSize mSize;
    ByteBuffer mChroma; // the planes of a frame whose samples are paired
};
