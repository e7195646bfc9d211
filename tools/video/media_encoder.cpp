// SPDX-License-Identifier: BSD-2-Clause
#include "video/media_encoder.h"

#include <string.h>

#include "video/media_input.h"

namespace {

// Settings that look like the source, at a sensible speed. Encoders that are not here take a fixed
// quantizer if they can.
struct Quality {
    const char *encoder;
    const char *crf;
    const char *options[3][2];
};

const Quality kQualities[] = {
    {"libx264", "17", {}},
    {"libx265", "18", {{"x265-params", "log-level=error"}}},
    {"libvpx-vp9", "20", {{"cpu-used", "4"}, {"row-mt", "1"}, {"deadline", "good"}}},
    {"libvpx", "8", {{"cpu-used", "4"}, {"deadline", "good"}}},
    {"libaom-av1", "20", {{"cpu-used", "6"}, {"row-mt", "1"}}},
    {"libsvtav1", "22", {{"preset", "8"}}},
};
const int64_t kVp8Ceiling = 40000000; // its constant quality stays below a rate, which has to be given

const Quality *FindQuality(const char *encoder) {
    for (const Quality &quality : kQualities)
        if (!strcmp(quality.encoder, encoder)) return &quality;
    return nullptr;
}

const AVCodec *FindNamed(const std::string &name) {
    const AVCodec *codec = avcodec_find_encoder_by_name(name.c_str());
    if (!codec) {
        const AVCodecDescriptor *descriptor = avcodec_descriptor_get_by_name(name.c_str());
        if (descriptor) codec = avcodec_find_encoder(descriptor->id);
    }
    if (!codec || codec->type != AVMEDIA_TYPE_VIDEO)
        throw VideoError("--codec " + name + ": FFmpeg has no video encoder of this name here");
    return codec;
}

const AVCodec *FindEncoder(const AVOutputFormat &container, const std::string &name) {
    if (!name.empty()) return FindNamed(name);
    const AVCodec *codec = avcodec_find_encoder_by_name("libx264");
    // Containers that say nothing about their codecs, such as pipes of raw pictures, have a favourite.
    bool fits = codec && avformat_query_codec(&container, codec->id, FF_COMPLIANCE_NORMAL) == 1;
    if (!fits) codec = avcodec_find_encoder(container.video_codec);
    if (!codec)
        throw VideoError(std::string("FFmpeg has no video encoder for ") + container.name +
                         " files here, name one with --codec, or give OUTPUT another ending");
    return codec;
}

bool HasOption(const AVCodecContext *encoder, const char *name) {
    return encoder->priv_data && av_opt_find(encoder->priv_data, name, nullptr, 0, 0);
}

bool Takes(const AVCodec *codec, AVPixelFormat wanted) {
#if LIBAVCODEC_VERSION_INT >= AV_VERSION_INT(61, 13, 100)
    const void *list = nullptr;
    avcodec_get_supported_config(nullptr, codec, AV_CODEC_CONFIG_PIX_FORMAT, 0, &list, nullptr);
    auto *format = (const AVPixelFormat *)list;
#else
    const AVPixelFormat *format = codec->pix_fmts;
#endif
    if (!format) return wanted == AV_PIX_FMT_YUV420P;
    for (; *format != AV_PIX_FMT_NONE; format++)
        if (*format == wanted) return true;
    return false;
}

AVPixelFormat ChoosePixels(const AVCodec *codec, const StreamInfo &info) {
    if (info.layout == PixelLayout::NV21 && Takes(codec, AV_PIX_FMT_NV21)) return AV_PIX_FMT_NV21;
    if (Takes(codec, AV_PIX_FMT_YUV420P)) return AV_PIX_FMT_YUV420P;
    if (info.fullRange && Takes(codec, AV_PIX_FMT_YUVJ420P)) return AV_PIX_FMT_YUVJ420P;
    throw VideoError(std::string("the encoder ") + codec->name +
                     " takes no 8-bit 4:2:0 pictures, choose another with --codec");
}

// Encoders of the MPEG family count time in coarser units than containers do.
AVRational ChooseTimeBase(const AVCodec *codec, const StreamInfo &info) {
    AVRational base = ToMedia(info.timeBase);
    bool fixedRate = codec->id == AV_CODEC_ID_MPEG1VIDEO || codec->id == AV_CODEC_ID_MPEG2VIDEO;
    if (fixedRate && info.framesPerSecond.num > 0) return av_inv_q(ToMedia(info.framesPerSecond));
    if (codec->id == AV_CODEC_ID_MPEG4 && base.den > 65535) return {1, 65535};
    return base;
}

void SetPicture(AVCodecContext *encoder, const StreamInfo &info) {
    encoder->width = info.size.width;
    encoder->height = info.size.height;
    encoder->pix_fmt = ChoosePixels(encoder->codec, info);
    encoder->sample_aspect_ratio = ToMedia(info.sampleAspect);
    encoder->time_base = ChooseTimeBase(encoder->codec, info);
    if (info.framesPerSecond.num > 0) encoder->framerate = ToMedia(info.framesPerSecond);
    encoder->color_range = info.fullRange ? AVCOL_RANGE_JPEG : AVCOL_RANGE_UNSPECIFIED;
    if (!info.media) return;
    const MediaInput::Colours &colours = info.media->colours;
    encoder->color_range = colours.range;
    encoder->color_primaries = colours.primaries;
    encoder->color_trc = colours.transfer;
    encoder->colorspace = colours.matrix;
    encoder->chroma_sample_location = colours.chroma;
}

void SetQuality(AVCodecContext *encoder, const SinkOptions &options, MediaOptions &dictionary) {
    const char *name = encoder->codec->name;
    const Quality *quality = FindQuality(name);
    if (!options.crf.empty() && !HasOption(encoder, "crf"))
        throw VideoError("--crf: the encoder " + std::string(name) +
                         " has no such setting, use --bitrate");
    if (!options.preset.empty() && !HasOption(encoder, "preset"))
        throw VideoError("--preset: the encoder " + std::string(name) +
                         " has none, use --codec-option");
    if (!options.preset.empty()) dictionary.Set("preset", options.preset);
    if (quality)
        for (auto &[key, value] : quality->options)
            if (key && !dictionary.Has(key)) dictionary.Set(key, value);
    if (options.bitrate > 0) {
        encoder->bit_rate = options.bitrate;
    } else if (!options.crf.empty()) {
        dictionary.Set("crf", options.crf);
    } else if (quality && !dictionary.Has("crf") && !dictionary.Has("b")) {
        dictionary.Set("crf", quality->crf);
    } else if (!quality) {
        encoder->flags |= AV_CODEC_FLAG_QSCALE;
        encoder->global_quality = 2 * FF_QP2LAMBDA;
    }
    if (options.bitrate <= 0 && quality) encoder->bit_rate = strcmp(name, "libvpx") ? 0 : kVp8Ceiling;
}

} // namespace

MediaPtr<AVCodecContext> OpenEncoder(const AVOutputFormat &container, const StreamInfo &info,
                                     const SinkOptions &options) {
    const AVCodec *codec = FindEncoder(container, options.codec);
    MediaPtr<AVCodecContext> encoder(NotNull(avcodec_alloc_context3(codec)));
    SetPicture(encoder.get(), info);
    encoder->thread_count = options.threads;
    if (container.flags & AVFMT_GLOBALHEADER) encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    encoder->strict_std_compliance = FF_COMPLIANCE_UNOFFICIAL;
    // The tag that players of the MP4 family look for.
    bool isMp4 = !strcmp(container.name, "mp4") || !strcmp(container.name, "mov");
    if (codec->id == AV_CODEC_ID_HEVC && isMp4) encoder->codec_tag = MKTAG('h', 'v', 'c', '1');
    MediaOptions dictionary(options.codecOptions, "--codec-option");
    SetQuality(encoder.get(), options, dictionary);
    CheckMedia(avcodec_open2(encoder.get(), codec, dictionary.Get()),
               std::string("cannot open the encoder ") + codec->name + " for " + SizeText(info.size) +
                   " with these options");
    if (!dictionary.Left().empty())
        throw VideoError("--codec-option: the encoder " + std::string(codec->name) + " has no option " +
                         dictionary.Left());
    return encoder;
}
