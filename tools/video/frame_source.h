// Where frames come from and where they go, whatever the container. Faults are thrown as VideoError.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "video/picture.h"

enum class Container { Raw, Y4m };

// What is known about a stream before its first frame.
struct StreamInfo {
    Container container = Container::Y4m;
    PixelLayout layout = PixelLayout::I420;
    PictureSize size;      // of the frames handed out, even
    PictureSize codedSize; // of the pictures in the stream, odd sides included
    bool interlaced = false;
    double framesPerSecond = 0;    // 0 when the stream does not say
    std::vector<std::string> tags; // what else the container's header says, for a sink of its kind
};

class FrameSource {
  public:
    virtual ~FrameSource() = default;

    const StreamInfo &Info() const { return mInfo; }
    const std::string &Name() const { return mName; }

    // Fills a frame of Info().size; false at the end of the stream. A stream that ends within a frame
    // throws, and the frame's contents are of no use then.
    virtual bool Read(Frame &frame) = 0;

  protected:
    StreamInfo mInfo;
    std::string mName;
};

class FrameSink {
  public:
    virtual ~FrameSink() = default;
    virtual void Write(const Frame &frame) = 0;

    // Ends the stream and reports what could not be written; a sink destroyed without is incomplete.
    virtual void Close() = 0;
};

// Shape of raw frames, which have no header to tell it.
struct RawShape {
    PictureSize size;
    PixelLayout layout = PixelLayout::NV21;
};

// "-" is standard input. With a shape the stream is raw, without it is Y4M.
std::unique_ptr<FrameSource> OpenSource(const std::string &path, const std::optional<RawShape> &shape);

// "-" is standard output. Writes frames of info.size to a stream of info.container.
std::unique_ptr<FrameSink> OpenSink(const std::string &path, const StreamInfo &info);
