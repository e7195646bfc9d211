// SPDX-License-Identifier: BSD-2-Clause
#include "video/media_converter.h"

MediaPtr<AVCodecContext> OpenStreamDecoder(const AVStream *stream) {
    const AVCodec *codec = avcodec_find_decoder(stream->codecpar->codec_id);
    if (!codec) return nullptr;
    MediaPtr<AVCodecContext> decoder(NotNull(avcodec_alloc_context3(codec)));
    decoder->pkt_timebase = stream->time_base;
    if (avcodec_parameters_to_context(decoder.get(), stream->codecpar) < 0 ||
        avcodec_open2(decoder.get(), codec, nullptr) < 0)
        return nullptr;
    return decoder;
}

MediaPtr<AVCodecContext> MakeStreamEncoder(AVCodecID id, const AVOutputFormat &container) {
    const AVCodec *codec = avcodec_find_encoder(id);
    if (!codec) return nullptr;
    MediaPtr<AVCodecContext> encoder(NotNull(avcodec_alloc_context3(codec)));
    // Where FFmpeg is built without the usual libraries its own Opus and Vorbis have to do.
    encoder->strict_std_compliance = FF_COMPLIANCE_EXPERIMENTAL;
    if (container.flags & AVFMT_GLOBALHEADER) encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    return encoder;
}
