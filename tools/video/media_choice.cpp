// SPDX-License-Identifier: BSD-2-Clause
#include "video/media_choice.h"

#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "video/media_input.h"

namespace {

// The encoders that the input's kind of video gets, the best first.
struct Kind {
    AVCodecID id;
    const char *encoders[2];
};

const Kind kKinds[] = {
    {AV_CODEC_ID_H264, {"libx264"}},
    {AV_CODEC_ID_HEVC, {"libx265"}},
    {AV_CODEC_ID_AV1, {"libsvtav1", "libaom-av1"}},
    {AV_CODEC_ID_VP9, {"libvpx-vp9"}},
};

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

const AVCodec *FindOfKind(AVCodecID id) {
    for (const Kind &kind : kKinds)
        for (const char *name : kind.encoders) {
            const AVCodec *codec = kind.id == id && name ? avcodec_find_encoder_by_name(name) : nullptr;
            if (codec) return codec;
        }
    return nullptr;
}

bool IsProgramStream(const AVOutputFormat &container) { return !strcmp(container.name, "mpeg"); }

bool TakesKind(const AVOutputFormat &container, AVCodecID id) {
    int answer = avformat_query_codec(&container, id, FF_COMPLIANCE_NORMAL);
    if (answer >= 0) return answer > 0;
    // Some do not tell.
    if (IsProgramStream(container)) return id == AV_CODEC_ID_H264;
    bool stream = av_match_name(container.name, "mpegts,rtp_mpegts,rtp,rtsp");
    return stream && (id == AV_CODEC_ID_H264 || id == AV_CODEC_ID_HEVC);
}

// Settings that look like the source, at a sensible speed. Encoders that are not here take a fixed
// quantizer if they can.
struct Quality {
    const char *encoder;
    const char *crf;
    int worst;
    const char *speed; // the option that --preset sets
    int usual;         // its value for "medium"; it grows with the speed
    int slowest;
    int fastest; // 0: the option takes names
    const char *options[2][2];
};

const Quality kQualities[] = {
    {"libx264", "17", 51, "preset", 0, 0, 0, {}},
    {"libx265", "18", 51, "preset", 0, 0, 0, {}},
    {"libvpx-vp9", "20", 63, "cpu-used", 4, 0, 5, {{"row-mt", "1"}, {"deadline", "good"}}},
    {"libvpx", "8", 63, "cpu-used", 4, 0, 5, {{"deadline", "good"}}},
    {"libaom-av1", "20", 63, "cpu-used", 6, 0, 8, {{"row-mt", "1"}}},
    {"libsvtav1", "22", 63, "preset", 8, 0, 12, {}},
};
const int64_t kVp8Ceiling = 40000000; // bits a second: its constant quality needs an upper limit
const int kTheoraQuality = 9;         // of 10
const int kWebpQuality = 90;          // of 100
const int kQuantizer = 2;             // the finest that does not waste bits

const char *const kSpeeds[] = {"placebo", "veryslow", "slower",   "slow",      "medium",
                               "fast",    "faster",   "veryfast", "superfast", "ultrafast"};
const int kMedium = 4;

const Quality *FindQuality(const char *encoder) {
    for (const Quality &quality : kQualities)
        if (!strcmp(quality.encoder, encoder)) return &quality;
    return nullptr;
}

bool HasOption(const AVCodecContext *encoder, const char *name) {
    return encoder->priv_data && av_opt_find(encoder->priv_data, name, nullptr, 0, 0);
}

// The value of the speed option for a --preset; "" when the encoder has no such.
std::string SpeedOf(const Quality &quality, const std::string &preset) {
    auto name = std::find(std::begin(kSpeeds), std::end(kSpeeds), preset);
    bool named = name != std::end(kSpeeds);
    if (quality.fastest == 0) return named ? preset : "";
    int speed = quality.usual + (int)(name - std::begin(kSpeeds)) - kMedium;
    if (named) return std::to_string(std::min(std::max(speed, quality.slowest), quality.fastest));
    if (preset == "0") return preset;
    return ParseNumber(preset, quality.fastest, speed) ? preset : "";
}

void SetSpeed(const AVCodecContext *encoder, const Quality *quality, const std::string &preset,
              MediaOptions &dictionary) {
    std::string name = encoder->codec->name;
    if (!preset.empty() && !quality && !HasOption(encoder, "preset"))
        throw VideoError("--preset: the encoder " + name + " has none, use --codec-option");
    if (!quality) {
        if (!preset.empty()) dictionary.Set("preset", preset);
        return;
    }
    std::string speed = preset.empty() ? "" : SpeedOf(*quality, preset);
    if (!preset.empty() && speed.empty()) {
        std::string numbers = "a number from 0 to " + std::to_string(quality->fastest) + " or ";
        throw VideoError(
            "--preset " + preset + ": the encoder " + name + " has none of this name, give " +
            (quality->fastest > 0 ? numbers : "") +
            "ultrafast, superfast, veryfast, faster, fast, medium, slow, slower or veryslow");
    }
    if (speed.empty() && quality->fastest > 0 && !dictionary.Has(quality->speed))
        speed = std::to_string(quality->usual);
    if (!speed.empty()) dictionary.Set(quality->speed, speed);
}

void CheckCrf(const AVCodecContext *encoder, const Quality *quality, const std::string &crf) {
    std::string name = encoder->codec->name;
    if (!HasOption(encoder, "crf"))
        throw VideoError("--crf: the encoder " + name + " has no such setting, use --bitrate");
    if (quality && strtol(crf.c_str(), nullptr, 10) > quality->worst)
        throw VideoError("--crf " + crf + ": the encoder " + name + " takes 0 to " +
                         std::to_string(quality->worst));
}

} // namespace

const AVCodec *ChooseEncoder(const AVOutputFormat &container, const StreamInfo &info,
                             const SinkOptions &options) {
    if (!options.codec.empty()) return FindNamed(options.codec);
    if (!strcmp(container.name, "image2")) { // holds any kind of picture, the ending tells which
        const char *name = options.name.c_str();
        AVCodecID kind = av_guess_codec(&container, nullptr, name, nullptr, AVMEDIA_TYPE_VIDEO);
        const char *single = kind == AV_CODEC_ID_WEBP ? "libwebp" : ""; // the first makes animations
        const AVCodec *ofPicture = avcodec_find_encoder_by_name(single);
        if (!ofPicture) ofPicture = avcodec_find_encoder(kind);
        if (ofPicture) return ofPicture;
    }
    AVCodecID source = info.media ? info.media->Video()->codecpar->codec_id : AV_CODEC_ID_NONE;
    // Of the encoders here x264 alone has fields.
    if (info.interlaced && source != AV_CODEC_ID_H264) source = AV_CODEC_ID_NONE;
    const AVCodec *codec = TakesKind(container, source) ? FindOfKind(source) : nullptr;
    if (codec) return codec;
    if (!IsProgramStream(container) && TakesKind(container, AV_CODEC_ID_H264))
        codec = FindOfKind(AV_CODEC_ID_H264);
    // MPEG-1, which program streams have for their own, is poor at today's sizes.
    AVCodecID own = IsProgramStream(container) ? AV_CODEC_ID_MPEG2VIDEO : container.video_codec;
    if (!codec) codec = avcodec_find_encoder(own);
    if (!codec)
        throw VideoError(std::string("FFmpeg has no video encoder for ") + container.name +
                         " files here, name one with --codec, or give OUTPUT another ending");
    return codec;
}

void SetQuality(AVCodecContext *encoder, const SinkOptions &options, MediaOptions &dictionary) {
    const char *name = encoder->codec->name;
    const Quality *quality = FindQuality(name);
    if (!options.crf.empty()) CheckCrf(encoder, quality, options.crf);
    SetSpeed(encoder, quality, options.preset, dictionary);
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
        AVCodecID id = encoder->codec_id; // with some, more is better
        int level = id == AV_CODEC_ID_THEORA ? kTheoraQuality
                    : id == AV_CODEC_ID_WEBP ? kWebpQuality
                                             : kQuantizer;
        encoder->flags |= AV_CODEC_FLAG_QSCALE;
        encoder->global_quality = level * FF_QP2LAMBDA;
    }
    if (options.bitrate <= 0 && quality) encoder->bit_rate = strcmp(name, "libvpx") ? 0 : kVp8Ceiling;
}
