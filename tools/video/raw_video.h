// SPDX-License-Identifier: BSD-2-Clause
// Raw frames, one after the other without anything between them.
#pragma once

#include <memory>
#include <string>

#include "video/byte_file.h"
#include "video/frame_source.h"

class RawSource : public FrameSource {
  public:
    // The shape's size must be even.
    RawSource(std::unique_ptr<ByteInput> input, const RawShape &shape, Rational framesPerSecond);
    bool Read(Frame &frame) override;

  private:
    std::unique_ptr<ByteInput> mInput;
    int64_t mFrameCount = 0;
};

class RawSink : public FrameSink {
  public:
    RawSink(const std::string &path, const std::string &name) : mOutput(path, name) {}
    void Write(const Frame &frame) override {
        mOutput.Write(frame.pixels.Data(), frame.pixels.Size());
        mOutput.Flush();
    }
    void Close() override { mOutput.Close(); }

  private:
    ByteOutput mOutput;
};
