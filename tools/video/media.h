// SPDX-License-Identifier: BSD-2-Clause
// Files and streams of every kind that FFmpeg's libraries know. Built without them (media_none.cpp)
// there is the same interface, and what needs them says so.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "video/byte_file.h"
#include "video/frame_source.h"

extern const bool kHasMedia;

// The libraries' versions for --version.
std::string MediaVersion();

// Shows the libraries' own messages.
void ShowMediaMessages();

// Reads from `input` when it is given, else opens the path: a file, an address, or a device of
// options.format.
std::unique_ptr<FrameSource> OpenMediaSource(const std::string &path, std::unique_ptr<ByteInput> input,
                                             const SourceOptions &options);

// A file of this name has a known container, other than raw frames.
bool IsMediaName(const std::string &path);

// The first file that a coded output of this name makes when its container makes several: a sequence of
// pictures (shot%03d.jpg), or a playlist and its segments. Empty when it makes one.
std::string FirstOfManyFiles(const std::string &path, const std::string &format);

std::unique_ptr<FrameSink> OpenMediaSink(const std::string &path, const StreamInfo &info,
                                         const SinkOptions &options);

// What a Y4M header says of the pictures of a coded input: fields, layout, chroma positions, range.
std::vector<std::string> MediaY4mTags(const StreamInfo &info);

// Enlarges or reduces frames, and changes their layout.
class FrameScaler {
  public:
    virtual ~FrameScaler() = default;
    virtual void Scale(const Frame &from, Frame &to) = 0;
};

std::unique_ptr<FrameScaler> MakeFrameScaler(PictureSize from, PictureSize to,
                                             const PixelLayout &layout, const PixelLayout &toLayout);
