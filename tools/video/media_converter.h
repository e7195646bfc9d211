// SPDX-License-Identifier: BSD-2-Clause
// Turns the packets of one stream into those of another codec, for containers that cannot hold them as
// they are.
#pragma once

#include <functional>
#include <memory>

#include "video/media_common.h"

using PacketWriter = std::function<void(AVPacket *)>;

class PacketConverter {
  public:
    virtual ~PacketConverter() = default;

    // Hands on what comes of the packet, in the encoder's time base; null: what is left at the end.
    virtual void Convert(AVPacket *packet, const PacketWriter &write) = 0;

    const AVCodecContext *Encoder() const { return mEncoder.get(); }

  protected:
    MediaPtr<AVCodecContext> mDecoder;
    MediaPtr<AVCodecContext> mEncoder;
};

// Null when the stream cannot be decoded.
MediaPtr<AVCodecContext> OpenStreamDecoder(const AVStream *stream);

// An encoder, not yet opened, for streams of this container; null when there is none of the codec.
MediaPtr<AVCodecContext> MakeStreamEncoder(AVCodecID codec, const AVOutputFormat &container);
