// SPDX-License-Identifier: BSD-2-Clause
#include "video/media_encoder.h"

#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "video/media_choice.h"
#include "video/media_picture.h"
#include "video/media_tags.h"

namespace {

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

[[noreturn]] void RefuseEncoder(const AVCodec *codec, const AVOutputFormat &container,
                                const StreamInfo &info, const SinkOptions &options) {
    std::string pixels = info.layout.planes > 1 ? "YUV" : "YUV or grey";
    std::string failed =
        std::string("the encoder ") + codec->name + " takes no " + pixels + " pictures, ";
    if (!options.codec.empty()) throw VideoError(failed + "choose another with --codec");
    bool pictures = !strcmp(container.name, "image2");
    throw VideoError(failed + "such files cannot be written; give OUTPUT the ending " +
                     (pictures ? ".jpg" : ".mp4, .mkv or .webm"));
}

// The frames' own format where the encoder takes it, else what keeps the most of it.
AVPixelFormat ChoosePixels(const AVCodec *codec, const AVOutputFormat &container,
                           const StreamInfo &info, const SinkOptions &options) {
    AVPixelFormat own = PixelsOf(info.layout);
    if (Takes(codec, own)) return own;
    if (own == AV_PIX_FMT_NV21) own = AV_PIX_FMT_YUV420P;
    bool byOldName = info.fullRange && !Takes(codec, own) && Takes(codec, FullRangeForm(own));
    if (byOldName) return FullRangeForm(own);
    std::vector<AVPixelFormat> taken;
    for (const AVPixelFormat *format = kFramePixels; *format != AV_PIX_FMT_NONE; format++) {
        AVPixelFormat full = FullRangeForm(*format);
        bool losesColours = LayoutOf(*format).planes == 1 && info.layout.planes > 1;
        if (losesColours) continue;
        if (Takes(codec, *format))
            taken.push_back(*format);
        else if (info.fullRange && Takes(codec, full))
            taken.push_back(full);
    }
    if (taken.empty()) RefuseEncoder(codec, container, info, options);
    taken.push_back(AV_PIX_FMT_NONE);
    // Grey pictures gain nothing from 4:4:4, and every player takes 4:2:0.
    AVPixelFormat like = info.layout.planes == 1 ? PixelsOf({3, info.layout.bits, 1, 1}) : own;
    AVPixelFormat best = avcodec_find_best_pix_fmt_of_list(taken.data(), like, 0, nullptr);
    if (!HasSamePixels(best, own))
        options.note(std::string("the pictures (") + av_get_pix_fmt_name(own) + ") are converted to " +
                     av_get_pix_fmt_name(best) + ", the encoder " + codec->name +
                     " takes nothing nearer");
    return best;
}

// The rates that MPEG-1 and MPEG-2 know, of which MPEG-2 takes fractions too.
const AVRational kMpegRates[] = {{24000, 1001}, {24, 1}, {25, 1},       {30000, 1001},
                                 {30, 1},       {50, 1}, {60000, 1001}, {60, 1}};

bool IsMpegRate(AVRational rate, bool fractions) {
    for (AVRational known : kMpegRates)
        for (int num = 1; num <= (fractions ? 4 : 1); num++)
            for (int den = 1; den <= (fractions ? 32 : 1); den++)
                if (av_cmp_q(av_mul_q(known, {num, den}), rate) == 0) return true;
    return false;
}

// The rate itself, or the next higher one: the output then has a picture for some of its times only.
AVRational MpegRate(AVRational rate, bool fractions) {
    if (IsMpegRate(rate, fractions)) return rate;
    for (AVRational known : kMpegRates)
        if (av_cmp_q(known, rate) > 0) return known;
    return {60, 1};
}

// Pictures a second. Where the container can leave out pictures, those that are missing count too.
AVRational CountRate(const AVOutputFormat &container, const StreamInfo &info) {
    const AVRational most = {120, 1};
    AVRational rate = ToMedia(info.framesPerSecond);
    if (!info.media || (container.flags & AVFMT_NOTIMESTAMPS)) return rate;
    AVRational finest = info.media->Video()->r_frame_rate;
    bool fields = info.interlaced || av_cmp_q(finest, av_mul_q(rate, {2, 1})) == 0;
    bool sane = !fields && finest.num > 0 && finest.den > 0 && av_cmp_q(finest, most) <= 0;
    return sane && av_cmp_q(finest, rate) > 0 ? finest : rate;
}

// Some encoders and containers count pictures instead of telling their times, and players go by the
// rate that is written: the unit of time is then one picture.
AVRational ChooseTimeBase(const AVOutputFormat &container, const AVCodec *codec,
                          const StreamInfo &info) {
    AVRational base = ToMedia(info.timeBase), rate = CountRate(container, info);
    bool mpeg1 = codec->id == AV_CODEC_ID_MPEG1VIDEO, mpeg2 = codec->id == AV_CODEC_ID_MPEG2VIDEO;
    if (rate.num > 0 && (mpeg1 || mpeg2)) return av_inv_q(MpegRate(rate, mpeg2));
    bool counts = codec->id == AV_CODEC_ID_THEORA || (container.flags & AVFMT_NOTIMESTAMPS) ||
                  !strcmp(container.name, "avi");
    if (rate.num > 0 && counts) return av_inv_q(rate);
    if (codec->id == AV_CODEC_ID_MPEG4 && base.den > 65535) return {1, 65535};
    return base;
}

// Some encoders can code the two fields of a picture separately. With the others only the container
// says that there are fields.
void SetFields(AVCodecContext *encoder, const StreamInfo &info) {
    encoder->field_order = FieldOrder(info);
    bool fields = encoder->codec_id == AV_CODEC_ID_H264 ||
                  encoder->codec_id == AV_CODEC_ID_MPEG2VIDEO || encoder->codec_id == AV_CODEC_ID_MPEG4;
    bool interlaced = encoder->field_order == AV_FIELD_TT || encoder->field_order == AV_FIELD_BB;
    if (interlaced && fields && info.size.height % 4 == 0) // of 4:2:0 chroma fields
        encoder->flags |= AV_CODEC_FLAG_INTERLACED_DCT | AV_CODEC_FLAG_INTERLACED_ME;
}

// The brightness of the screen that the pictures were made for, in the words of x265.
std::string LightParameters(const MediaInput &input) {
    std::string text;
    char part[160];
    const auto *screen = (const AVMasteringDisplayMetadata *)input.masteringDisplay.data();
    if (!input.masteringDisplay.empty() && screen->has_primaries && screen->has_luminance) {
        auto units = [](AVRational value, int unit) { return (int)lround(av_q2d(value) * unit); };
        auto primary = [&](int i, int axis) {
            return units(screen->display_primaries[i][axis], 50000);
        };
        snprintf(part, sizeof(part), "master-display=G(%d,%d)B(%d,%d)R(%d,%d)WP(%d,%d)L(%d,%d)",
                 primary(1, 0), primary(1, 1), primary(2, 0), primary(2, 1), primary(0, 0),
                 primary(0, 1), units(screen->white_point[0], 50000),
                 units(screen->white_point[1], 50000), units(screen->max_luminance, 10000),
                 units(screen->min_luminance, 10000));
        text = part;
    }
    const auto *light = (const AVContentLightMetadata *)input.lightLevel.data();
    if (!input.lightLevel.empty()) {
        snprintf(part, sizeof(part), "%smax-cll=%u,%u", text.empty() ? "" : ":", light->MaxCLL,
                 light->MaxFALL);
        text += part;
    }
    return text;
}

// What an encoder is told by a string of its own, before what the user tells it.
void SetParameters(const AVCodec *codec, const StreamInfo &info, MediaOptions &dictionary) {
    if (!strcmp(codec->name, "libx265")) {
        std::string text = MediaMessagesShown() ? "" : "log-level=none";
        std::string light = info.media ? LightParameters(*info.media) : "";
        for (const std::string &more : {light, dictionary.Value("x265-params")})
            if (!more.empty()) text += (text.empty() ? "" : ":") + more;
        if (!text.empty()) dictionary.Set("x265-params", text);
    }
    // It prints by itself, and is told not to by the environment alone.
    if (!strcmp(codec->name, "libsvtav1") && !MediaMessagesShown()) setenv("SVT_LOG", "-2", 0);
}

void SetPicture(AVCodecContext *encoder, const AVOutputFormat &container, const StreamInfo &info,
                const SinkOptions &options) {
    encoder->width = info.size.width;
    encoder->height = info.size.height;
    encoder->pix_fmt = ChoosePixels(encoder->codec, container, info, options);
    encoder->sample_aspect_ratio = ToMedia(info.sampleAspect);
    encoder->time_base = ChooseTimeBase(container, encoder->codec, info);
    bool mpeg =
        encoder->codec_id == AV_CODEC_ID_MPEG1VIDEO || encoder->codec_id == AV_CODEC_ID_MPEG2VIDEO;
    if (mpeg)
        encoder->framerate = av_inv_q(encoder->time_base);
    else if (info.framesPerSecond.num > 0)
        encoder->framerate = ToMedia(info.framesPerSecond);
    encoder->color_range = info.fullRange ? AVCOL_RANGE_JPEG : AVCOL_RANGE_UNSPECIFIED;
    encoder->chroma_sample_location = ChromaLocation(info);
    SetFields(encoder, info);
    if (!info.media) return;
    const MediaInput::Colours &colours = info.media->colours;
    encoder->color_range = colours.range;
    encoder->color_primaries = colours.primaries;
    encoder->color_trc = colours.transfer;
    encoder->colorspace = colours.matrix;
}

} // namespace

MediaPtr<AVCodecContext> OpenEncoder(const AVOutputFormat &container, const StreamInfo &info,
                                     const SinkOptions &options) {
    const AVCodec *codec = ChooseEncoder(container, info, options);
    MediaPtr<AVCodecContext> encoder(NotNull(avcodec_alloc_context3(codec)));
    SetPicture(encoder.get(), container, info, options);
    encoder->thread_count = options.threads;
    if (container.flags & AVFMT_GLOBALHEADER) encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    encoder->strict_std_compliance = FF_COMPLIANCE_UNOFFICIAL;
    // The tag that players of the MP4 family look for.
    if (codec->id == AV_CODEC_ID_HEVC && IsMp4Family(container))
        encoder->codec_tag = MKTAG('h', 'v', 'c', '1');
    MediaOptions dictionary(options.codecOptions, "--codec-option");
    SetQuality(encoder.get(), options, dictionary);
    SetParameters(codec, info, dictionary);
    CheckMedia(avcodec_open2(encoder.get(), codec, dictionary.Get()),
               std::string("cannot open the encoder ") + codec->name + " for " + SizeText(info.size) +
                   " with these options");
    if (!dictionary.Left().empty())
        throw VideoError("--codec-option: the encoder " + std::string(codec->name) + " has no option " +
                         dictionary.Left());
    return encoder;
}
