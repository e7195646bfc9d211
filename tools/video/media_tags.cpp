// SPDX-License-Identifier: BSD-2-Clause
#include "video/media_tags.h"

#include <math.h>
#include <string.h>

#include <algorithm>

extern "C" {
#include <libavutil/timecode.h>
}

#include "video/media.h"
#include "video/y4m_header.h"

namespace {

// How the pictures are to be shown.
const AVPacketSideDataType kShownAs[] = {AV_PKT_DATA_DISPLAYMATRIX, AV_PKT_DATA_STEREO3D,
                                         AV_PKT_DATA_SPHERICAL, AV_PKT_DATA_MASTERING_DISPLAY_METADATA,
                                         AV_PKT_DATA_CONTENT_LIGHT_LEVEL};

void CopySideData(const AVStream *from, AVStream *to) {
    for (AVPacketSideDataType type : kShownAs) {
        size_t size = 0;
        const uint8_t *data = StreamSideData(from, type, &size);
        if (data) memcpy(NotNull(NewStreamSideData(to, type, size)), data, size);
    }
}

bool HasTag(const StreamInfo &info, const char *tag) {
    return std::find(info.tags.begin(), info.tags.end(), tag) != info.tags.end();
}

void TellLeftOut(const std::string &what, const AVOutputFormat &container, const NoteHandler &note) {
    note(what + " left out, " + container.name +
         " files have no place for it; try an OUTPUT with the ending .mp4 or .mov");
}

// Whether light levels reach the player, in the container or in the coded pictures.
bool TakesLight(const AVFormatContext *output, const AVStream *stream) {
    return stream->codecpar->codec_id == AV_CODEC_ID_HEVC ||
           av_match_name(output->oformat->name, "mp4,mov,matroska,webm");
}

// Of a sample; 0 when it is unknown.
int BitsOf(const AVStream *stream) {
    const AVPixFmtDescriptor *pixels = av_pix_fmt_desc_get((AVPixelFormat)stream->codecpar->format);
    return pixels ? pixels->comp[0].depth : 0;
}

void SetLight(const MediaInput &input, const AVFormatContext *output, AVStream *stream,
              const NoteHandler &note) {
    const std::pair<AVPacketSideDataType, const std::vector<uint8_t> &> all[] = {
        {AV_PKT_DATA_MASTERING_DISPLAY_METADATA, input.masteringDisplay},
        {AV_PKT_DATA_CONTENT_LIGHT_LEVEL, input.lightLevel}};
    size_t size = 0;
    bool any = false;
    for (auto &[type, bytes] : all) {
        any = any || !bytes.empty() || StreamSideData(stream, type, &size);
        if (bytes.empty() || StreamSideData(stream, type, &size)) continue;
        memcpy(NotNull(NewStreamSideData(stream, type, bytes.size())), bytes.data(), bytes.size());
    }
    if (any && !TakesLight(output, stream))
        TellLeftOut("HDR mastering data is", *output->oformat, note);
    bool hdr = input.colours.transfer == AVCOL_TRC_SMPTE2084 ||
               input.colours.transfer == AVCOL_TRC_ARIB_STD_B67;
    int bits = BitsOf(input.Video()), left = BitsOf(stream);
    if (hdr && left < bits)
        note("the pictures stay HDR but keep " + std::to_string(left) + " of their " +
             std::to_string(bits) + " bits, smooth areas such as skies may show bands");
    if (StreamSideData(input.Video(), AV_PKT_DATA_DOVI_CONF, &size))
        note("Dolby Vision data is left out, the pictures are plain HDR or SDR without it");
}

// The time code `frames` later.
void MoveTimeCode(AVDictionary **tags, AVRational rate, int frames) {
    const AVDictionaryEntry *entry = av_dict_get(*tags, "timecode", nullptr, 0);
    AVTimecode code = {};
    if (!entry || av_timecode_init_from_string(&code, rate, entry->value, nullptr) < 0) return;
    char text[AV_TIMECODE_STR_SIZE];
    code.start += frames;
    av_dict_set(tags, "timecode", av_timecode_make_string(&code, text, 0), 0);
}

// It is a tag of the stream or of the whole, of which muxers make a track where they can.
void SetTimeCode(const StreamInfo &info, AVFormatContext *output, AVStream *stream,
                 const NoteHandler &note) {
    const AVDictionaryEntry *entry = av_dict_get(stream->metadata, "timecode", nullptr, 0);
    if (!entry) entry = av_dict_get(output->metadata, "timecode", nullptr, 0);
    if (!entry) return;
    if (!av_match_name(output->oformat->name, "mp4,mov,ipod,matroska,mxf,nut"))
        TellLeftOut(std::string("the time code (") + entry->value + ") is", *output->oformat, note);
    // The output begins later than the input where only a part is asked for.
    const AVFormatContext *input = info.media->Format();
    int64_t first = input->start_time == AV_NOPTS_VALUE ? 0 : input->start_time;
    double late = (double)(info.media->Origin() - first) / AV_TIME_BASE;
    if (late <= 0) return;
    int frames = (int)lround(late * info.framesPerSecond.Value());
    MoveTimeCode(&stream->metadata, ToMedia(info.framesPerSecond), frames);
    MoveTimeCode(&output->metadata, ToMedia(info.framesPerSecond), frames);
}

// Tags of cameras and phones: make and model, place.
bool IsCameraTag(const char *key) {
    return !strncmp(key, "com.", strlen("com.")) || !strncmp(key, "location", strlen("location"));
}

void TellLostTags(const AVFormatContext *output, const NoteHandler &note) {
    if (av_match_name(output->oformat->name, "matroska,webm,nut,ogg,ogv,flv,asf")) return;
    if (IsMp4Family(*output->oformat) && !av_match_name(output->oformat->name, "3gp,3g2")) return;
    std::string lost;
    const AVDictionaryEntry *entry = nullptr;
    while ((entry = av_dict_get(output->metadata, "", entry, AV_DICT_IGNORE_SUFFIX)))
        if (IsCameraTag(entry->key)) lost += (lost.empty() ? "" : ", ") + std::string(entry->key);
    if (!lost.empty()) TellLeftOut("the camera's data (" + lost + ") is", *output->oformat, note);
}

} // namespace

AVFieldOrder FieldOrder(const StreamInfo &info) {
    if (info.media) return info.media->fieldOrder;
    if (HasTag(info, "It")) return AV_FIELD_TT;
    if (HasTag(info, "Ib")) return AV_FIELD_BB;
    return HasTag(info, "Ip") ? AV_FIELD_PROGRESSIVE : AV_FIELD_UNKNOWN;
}

AVChromaLocation ChromaLocation(const StreamInfo &info) {
    if (info.media) return info.media->colours.chroma;
    if (HasTag(info, "C420jpeg")) return AVCHROMA_LOC_CENTER;
    if (HasTag(info, "C420mpeg2")) return AVCHROMA_LOC_LEFT;
    return HasTag(info, "C420paldv") ? AVCHROMA_LOC_TOPLEFT : AVCHROMA_LOC_UNSPECIFIED;
}

std::vector<std::string> MediaY4mTags(const StreamInfo &info) {
    const AVColorRange range = info.media->colours.range;
    const AVFieldOrder order = info.media->fieldOrder;
    const ChromaSite &site = info.chromaSite;
    bool top = order == AV_FIELD_TT, bottom = order == AV_FIELD_BB;
    std::vector<std::string> tags = {top ? "It" : bottom ? "Ib" : "Ip"};
    bool left = site.x == 0 && site.y == 2, corner = site.x == 0 && site.y == 0;
    std::string pixels = Y4mPixels(info.layout);
    if (pixels == "420") pixels += left ? "mpeg2" : corner ? "paldv" : "jpeg";
    tags.push_back("C" + pixels);
    if (range == AVCOL_RANGE_JPEG) tags.push_back("XCOLORRANGE=FULL");
    if (range == AVCOL_RANGE_MPEG) tags.push_back("XCOLORRANGE=LIMITED");
    return tags;
}

bool IsMp4Family(const AVOutputFormat &container) {
    return av_match_name(container.name, "mp4,mov,ipod,3gp,3g2,psp,f4v");
}

bool HasFreeTags(const AVFormatContext &output) {
    const char both[] = "title,artist,album,date,comment,genre,copyright,keywords,encoder,location,"
                        "location-eng,creation_time,timecode";
    const char mov[] = "author,make,model";
    const char others[] = "album_artist,composer,grouping,lyrics,description,synopsis,show,episode_id,"
                          "network,episode_sort,season_number,media_type,hd_video,gapless_playback,"
                          "compilation,track,disc,tmpo";
    const char *more = !strcmp(output.oformat->name, "mov") ? mov : others;
    const AVDictionaryEntry *entry = nullptr;
    while ((entry = av_dict_get(output.metadata, "", entry, AV_DICT_IGNORE_SUFFIX)))
        if (!av_match_name(entry->key, both) && !av_match_name(entry->key, more)) return true;
    return false;
}

void DescribeVideo(const StreamInfo &info, AVFormatContext *output, AVStream *stream,
                   const NoteHandler &note) {
    if (!info.media) return;
    CopySideData(info.media->Video(), stream);
    SetLight(*info.media, output, stream, note);
    SetTimeCode(info, output, stream, note);
    TellLostTags(output, note);
}
