// SPDX-License-Identifier: BSD-2-Clause
// What goes from container to container beside the pictures: other streams, as they are where they fit,
// metadata, chapters, tags.
#pragma once

#include <vector>

#include "video/frame_source.h"
#include "video/media_converter.h"
#include "video/media_fit.h"
#include "video/media_input.h"

class StreamCopier {
  public:
    // Adds a stream to `to` for each of the input's, in their order; the caller gives the video stream
    // the encoder's parameters. A stream that the container has no place for is converted or left out,
    // and options.note is told.
    StreamCopier(const MediaInput &input, AVFormatContext *to, const AVCodecContext *encoder,
                 const SinkOptions &options);

    AVStream *Video() const { return mVideo; }
    int CopiedCount() const { return mCopied; }
    int ConvertedCount() const { return mConverted; }

    // Hands on the packet as one of the output, or what it is converted to; nothing when its stream is
    // left out.
    void Convert(AVPacket *packet, const PacketWriter &write);
    // What converted streams still have.
    void Finish(const PacketWriter &write);

  private:
    struct Place {
        AVRational timeBase = {0, 1};
        AVStream *stream = nullptr;                 // null: left out
        std::unique_ptr<PacketConverter> converter; // null: copied
        MediaPtr<AVBSFContext> filter;              // null: unchanged
        int64_t lastTime = INT64_MIN;
    };

    void AddVideo(const AVStream *from, AVFormatContext *to);
    void AddOther(const AVStream *from, const MediaInput &input, AVFormatContext *to,
                  ContainerTrial &trial, const SinkOptions &options);
    static void Move(Place &place, AVPacket *packet);
    static void Filter(Place &place, AVPacket *packet, const PacketWriter &write);

    std::vector<Place> mPlaces; // by the input's index
    AVStream *mVideo = nullptr;
    int mCopied = 0;
    int mConverted = 0;
};
