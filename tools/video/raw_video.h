// Raw frames, one after the other without anything between them.
#pragma once

#include <string>

#include "video/byte_file.h"
#include "video/frame_source.h"

class RawSource : public FrameSource {
  public:
    // The shape's size must be even.
    RawSource(const std::string &path, const RawShape &shape);
    bool Read(Frame &frame) override;

  private:
    ByteInput mInput;
    int64_t mFrameCount = 0;
};

class RawSink : public FrameSink {
  public:
    explicit RawSink(const std::string &path) : mOutput(path) {}
    void Write(const Frame &frame) override { mOutput.Write(frame.pixels.Data(), frame.pixels.Size()); }
    void Close() override { mOutput.Close(); }

  private:
    ByteOutput mOutput;
};
