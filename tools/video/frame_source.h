// SPDX-License-Identifier: BSD-2-Clause
// Where frames come from and where they go, whatever the container. Faults are thrown as VideoError.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "video/picture.h"

// Coded: whatever FFmpeg's libraries read and write.
enum class Container { Raw, Y4m, Coded };

// Where the first chroma sample lies: right of and below the first pixel, in quarters of a pixel.
struct ChromaSite {
    int x = 0;
    int y = 2;
};

class MediaInput; // the other streams, metadata and colours of a coded input

// What is known about a stream before its first frame.
struct StreamInfo {
    Container container = Container::Y4m;
    PixelLayout layout;
    ChromaSite chromaSite; // of 4:2:0; of 4:2:2 x alone counts
    PictureSize size;      // of the frames handed out, even
    PictureSize codedSize; // of the pictures in the stream, odd sides included
    bool interlaced = false;
    Rational framesPerSecond{0, 1};    // 0 when the stream does not say
    Rational meanRate{0, 1};           // of frames a second that vary; 0: as above
    Rational timeBase{1, 25};          // seconds in a unit of Frame::time
    Rational sampleAspect{0, 1};       // width to height of a pixel; 0 when the stream does not say
    int rotation = 0;                  // by which players turn the picture clockwise: 0, 90, 180, 270
    bool fullRange = false;            // luma 0 to 255 instead of 16 to 235
    int64_t frameCount = 0;            // an estimate, 0 when unknown
    std::vector<std::string> tags;     // what else a Y4M header says
    std::vector<std::string> notes;    // what is done to the pictures on the way in, a line each
    std::shared_ptr<MediaInput> media; // null unless coded
};

using FramePtr = std::shared_ptr<Frame>;

// Takes a line for the user while a stream runs; called by any thread.
using NoteHandler = std::function<void(const std::string &)>;

class FrameSource {
  public:
    virtual ~FrameSource() = default;

    const StreamInfo &Info() const { return mInfo; }
    const std::string &Name() const { return mName; }

    // Fills a frame of Info().size; false at the end of the stream. A stream that ends within a frame
    // throws. Either way the last frame has no picture, but may have packets that are to be written.
    virtual bool Read(Frame &frame) = 0;

  protected:
    StreamInfo mInfo;
    std::string mName;
};

class FrameSink {
  public:
    virtual ~FrameSink() = default;
    virtual void Write(const Frame &frame) = 0;

    // As Write, and the sink may keep the frame for a while instead of copying it.
    virtual void Take(const FramePtr &frame) { Write(*frame); }

    // Packets that come after the last frame.
    virtual void TakePackets(const std::vector<PacketPtr> &) {}

    // Ends the stream and throws when not all could be written. Without it the output is incomplete.
    virtual void Close() = 0;

    // What writes the pictures, for reports.
    virtual std::string Describe() const { return "uncompressed"; }
};

// Shape of raw frames, which have no header to tell it.
struct RawShape {
    PictureSize size;
    PixelLayout layout = PixelLayout::NV21;
};

struct SourceOptions {
    std::optional<RawShape> shape;          // of raw frames; without it the stream is Y4M or coded
    Rational rawFramesPerSecond{30, 1};     // of raw frames
    std::string format;                     // FFmpeg's name of the container or input device
    std::vector<std::string> formatOptions; // KEY=VALUE
    bool keepPixels = false;                // else frames are 8-bit 4:2:0
    double start = 0;                       // seconds to leave out
    double duration = 0;                    // seconds to read; 0: all
    int threads = 0;                        // of the decoder; 0: as many as suit the machine
    NoteHandler note = [](const std::string &) {};
};

struct SinkOptions {
    std::string name;   // for messages, where the path is a temporary one
    std::string format; // FFmpeg's name of the container
    std::string codec;
    std::string crf;
    std::string preset;
    int64_t bitrate = 0;                   // bits a second, 0: constant quality
    std::vector<std::string> codecOptions; // KEY=VALUE
    bool noAudio = false;                  // leaves out the sound
    int threads = 0;
    NoteHandler note = [](const std::string &) {};
};

// "-" is standard input. Without FFmpeg's libraries a stream is raw or Y4M.
std::unique_ptr<FrameSource> OpenSource(const std::string &path, const SourceOptions &options);
std::unique_ptr<FrameSource> OpenSource(const std::string &path, const std::optional<RawShape> &shape);

// A second OpenSource gives the same frames: true of files, not of pipes, devices and addresses.
bool CanReadTwice(const std::string &path, const SourceOptions &options);

// The fault of a --start beyond the end of an input that is this long.
[[noreturn]] void FailBehindEnd(const std::string &name, double seconds);

// What kind of stream `path` is to become: its name and --output-format decide, then the input's kind.
Container ChooseContainer(const std::string &path, const SinkOptions &options, Container input);

// "-" is standard output. Writes frames of info.size to a stream of info.container.
std::unique_ptr<FrameSink> OpenSink(const std::string &path, const StreamInfo &info,
                                    const SinkOptions &options = {});
