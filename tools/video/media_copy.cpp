// SPDX-License-Identifier: BSD-2-Clause
#include "video/media_copy.h"

#include <string.h>
#include <strings.h>

#include <algorithm>

#include "video/media_sound.h"
#include "video/media_subtitle.h"

namespace {

const int64_t kMostShift = 50000; // microseconds that sound may be early

// Describes a container or its codec, not its content. Matroska writes names in capitals, and may add a
// language ("BPS-eng").
bool IsOwn(const char *key) {
    const char *const own[] = {
        "major_brand",  "minor_version", "compatible_brands", "encoder",         "vendor_id",
        "handler_name", "DURATION",      "NUMBER_OF_FRAMES",  "NUMBER_OF_BYTES", "BPS"};
    size_t length = strcspn(key, "-");
    for (const char *name : own)
        if (strlen(name) == length && !strncasecmp(key, name, length)) return true;
    return !strncmp(key, "_STATISTICS", strlen("_STATISTICS"));
}

void CopyMetadata(AVDictionary *from, AVDictionary **to) {
    const AVDictionaryEntry *entry = nullptr;
    while ((entry = av_dict_get(from, "", entry, AV_DICT_IGNORE_SUFFIX)))
        if (!IsOwn(entry->key) && av_dict_set(to, entry->key, entry->value, 0) < 0)
            throw std::bad_alloc();
}

void CopyChapters(const MediaInput &input, AVFormatContext *to) {
    const AVFormatContext *from = input.Format();
    for (unsigned i = 0; i < from->nb_chapters; i++) {
        const AVChapter *chapter = from->chapters[i];
        int64_t origin = av_rescale_q(input.Origin(), AV_TIME_BASE_Q, chapter->time_base);
        bool before = chapter->end <= origin && input.Origin() > 0;
        if (before ||
            av_compare_ts(chapter->start, chapter->time_base, input.End(), AV_TIME_BASE_Q) >= 0)
            continue;
        auto *copy = NotNull((AVChapter *)av_mallocz(sizeof(AVChapter)));
        copy->id = chapter->id;
        copy->time_base = chapter->time_base;
        copy->start = std::max<int64_t>(chapter->start - origin, 0);
        copy->end = chapter->end - origin;
        if (input.End() != INT64_MAX)
            copy->end = std::min(copy->end,
                                 av_rescale_q(input.End(), AV_TIME_BASE_Q, copy->time_base) - origin);
        CopyMetadata(chapter->metadata, &copy->metadata);
        int count = (int)to->nb_chapters;
        av_dynarray_add(&to->chapters, &count, copy);
        to->nb_chapters = (unsigned)count;
    }
}

void TellLeftOut(const AVStream *stream, const AVFormatContext *to, const NoteHandler &note) {
    const AVCodecParameters *parameters = stream->codecpar;
    // Made anew: the time code from the video's metadata, the track of chapter names from the chapters.
    if (parameters->codec_tag == MKTAG('t', 'm', 'c', 'd')) return;
    if (parameters->codec_tag == MKTAG('t', 'e', 'x', 't') && to->nb_chapters > 0) return;
    const char *type = av_get_media_type_string(parameters->codec_type);
    std::string kind = parameters->codec_id == AV_CODEC_ID_NONE
                           ? std::string("of an unknown kind")
                           : std::string("(") + avcodec_get_name(parameters->codec_id) + ")";
    note("stream " + std::to_string(stream->index) + " (" + (type ? type : "unknown") + ") " + kind +
         " is left out, " + to->oformat->name + " files have no place for it" +
         (strcmp(to->oformat->name, "matroska") ? "; try an OUTPUT with the ending .mkv" : ""));
}

bool IsSound(const AVStream *stream) { return stream->codecpar->codec_type == AVMEDIA_TYPE_AUDIO; }

// AVI has no times: copied sound would begin with the pictures.
bool ComesTooLate(const AVStream *from, const MediaInput &input, const AVOutputFormat &container) {
    bool timed = strcmp(container.name, "avi") != 0;
    if (timed || !IsSound(from) || from->start_time == AV_NOPTS_VALUE) return false;
    int64_t start = av_rescale_q(from->start_time, from->time_base, AV_TIME_BASE_Q);
    return start - input.Origin() > kMostShift;
}

bool IsOneOfSeveral(const AVStream *stream, const MediaInput &input) {
    int count = 0;
    for (unsigned i = 0; i < input.Format()->nb_streams; i++)
        count += input.Format()->streams[i]->codecpar->codec_type == stream->codecpar->codec_type;
    return count > 1;
}

void TellConverted(const AVStream *from, const MediaInput &input, const PacketConverter &converter,
                   const AVOutputFormat &container, const NoteHandler &note) {
    std::string kind = IsSound(from) ? "sound" : "subtitles";
    std::string codec = avcodec_get_name(from->codecpar->codec_id);
    bool several = IsOneOfSeveral(from, input), single = several || IsSound(from);
    std::string name = several
                           ? "stream " + std::to_string(from->index) + " (" + kind + ", " + codec + ")"
                           : kind + " (" + codec + ")";
    bool late = ComesTooLate(from, input, container);
    note(name + (single ? " is" : " are") + " converted to " +
         avcodec_get_name(converter.Encoder()->codec_id) + ", " + container.name + " files cannot " +
         (late     ? "begin it later than the pictures"
          : single ? "hold it"
                   : "hold them"));
}

// Null when it cannot be converted either.
std::unique_ptr<PacketConverter> MakeConverter(const AVStream *from, ContainerTrial &trial,
                                               const NoteHandler &note) {
    if (IsSound(from)) return MakeSoundConverter(from, trial, note);
    bool text = from->codecpar->codec_type == AVMEDIA_TYPE_SUBTITLE;
    return text ? MakeSubtitleConverter(from, trial) : nullptr;
}

// In transport streams each packet of AAC has a header that describes it. Other containers have one
// description in front: it is made here. True when it was, and the packets' headers have to go.
bool DescribeAac(AVCodecParameters *parameters, const AVOutputFormat &container) {
    bool inPackets = !strcmp(container.name, "mpegts") || !strcmp(container.name, "hls");
    if (parameters->codec_id != AV_CODEC_ID_AAC || parameters->extradata_size > 0 || inPackets)
        return false;
    const int rates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                         22050, 16000, 12000, 11025, 8000,  7350};
    // The profiles with a second half: what is described is the first, of half the sampling rate.
    const int highEfficiency = 4, withStereo = 28;
    bool halved = parameters->profile == highEfficiency || parameters->profile == withStereo;
    int rate = parameters->sample_rate / (halved ? 2 : 1);
    int channels = parameters->profile == withStereo ? 1 : parameters->ch_layout.nb_channels;
    auto index = (unsigned)(std::find(std::begin(rates), std::end(rates), rate) - std::begin(rates));
    bool known = index < std::size(rates) && (channels <= 6 || channels == 8);
    if (!known || channels == 0) return false;
    unsigned kind = halved || parameters->profile < 0 ? 2 : (unsigned)parameters->profile + 1;
    unsigned bits = kind << 11 | index << 7 | (channels == 8 ? 7 : (unsigned)channels) << 3;
    parameters->extradata = NotNull((uint8_t *)av_mallocz(2 + AV_INPUT_BUFFER_PADDING_SIZE));
    parameters->extradata[0] = (uint8_t)(bits >> 8);
    parameters->extradata[1] = (uint8_t)bits;
    parameters->extradata_size = 2;
    return true;
}

MediaPtr<AVBSFContext> MakeFilter(const char *name, const AVStream *from,
                                  const AVCodecParameters *parameters) {
    AVBSFContext *made = nullptr;
    const AVBitStreamFilter *filter = av_bsf_get_by_name(name);
    if (!filter || av_bsf_alloc(filter, &made) < 0) return nullptr;
    MediaPtr<AVBSFContext> result(made);
    made->time_base_in = from->time_base;
    if (avcodec_parameters_copy(made->par_in, parameters) < 0 || av_bsf_init(made) < 0) return nullptr;
    return result;
}

} // namespace

StreamCopier::StreamCopier(const MediaInput &input, AVFormatContext *to, const AVCodecContext *encoder,
                           const SinkOptions &options)
    : mPlaces(input.Format()->nb_streams) {
    const AVFormatContext *from = input.Format();
    CopyMetadata(from->metadata, &to->metadata);
    CopyChapters(input, to);
    ContainerTrial trial(to, encoder);
    int others = 0;
    for (unsigned i = 0; i < from->nb_streams; i++) {
        const AVStream *stream = from->streams[i];
        if (stream == input.Video()) {
            AddVideo(stream, to);
        } else if (!options.noAudio || !IsSound(stream)) {
            others++;
            if (!trial.PicturesOnly()) AddOther(stream, input, to, trial, options);
        }
    }
    if (trial.PicturesOnly() && others > 0)
        options.note(
            std::string(to->oformat->name) +
            " files hold nothing but pictures, the other streams are left out; try an OUTPUT with "
            "the ending .mkv");
}

void StreamCopier::AddVideo(const AVStream *from, AVFormatContext *to) {
    mVideo = NotNull(avformat_new_stream(to, nullptr));
    CopyMetadata(from->metadata, &mVideo->metadata);
    mVideo->disposition = from->disposition;
    mVideo->time_base = from->time_base;
}

void StreamCopier::AddOther(const AVStream *from, const MediaInput &input, AVFormatContext *to,
                            ContainerTrial &trial, const SinkOptions &options) {
    Place &place = mPlaces[(size_t)from->index];
    MediaPtr<AVCodecParameters> parameters(NotNull(avcodec_parameters_alloc()));
    CheckMedia(avcodec_parameters_copy(parameters.get(), from->codecpar), "copying a stream");
    parameters->codec_tag = 0; // each container has its own
    if (DescribeAac(parameters.get(), trial.Container()))
        place.filter = MakeFilter("aac_adtstoasc", from, parameters.get());
    bool late = ComesTooLate(from, input, trial.Container());
    bool copied = !late && trial.Add(from, parameters.get());
    if (!copied) place.converter = MakeConverter(from, trial, options.note);
    if (!copied && !place.converter) {
        TellLeftOut(from, to, options.note);
        return;
    }
    AVStream *stream = NotNull(avformat_new_stream(to, nullptr));
    CopyMetadata(from->metadata, &stream->metadata);
    stream->disposition = from->disposition;
    place.stream = stream;
    if (place.converter) {
        TellConverted(from, input, *place.converter, trial.Container(), options.note);
        const AVCodecContext *encoder = place.converter->Encoder();
        CheckMedia(avcodec_parameters_from_context(stream->codecpar, encoder), "converting a stream");
        stream->time_base = place.timeBase = encoder->time_base;
        mConverted++;
        return;
    }
    CheckMedia(avcodec_parameters_copy(stream->codecpar, parameters.get()), "copying a stream");
    stream->time_base = place.timeBase = from->time_base;
    stream->avg_frame_rate = from->avg_frame_rate;
    stream->r_frame_rate = from->r_frame_rate;
    stream->sample_aspect_ratio = from->sample_aspect_ratio;
    mCopied++;
}

void StreamCopier::Convert(AVPacket *packet, const PacketWriter &write) {
    if ((size_t)packet->stream_index >= mPlaces.size()) return; // appeared while reading
    Place &place = mPlaces[(size_t)packet->stream_index];
    if (!place.stream) return;
    auto finish = [&](AVPacket *made) {
        Move(place, made);
        write(made);
    };
    if (place.converter)
        place.converter->Convert(packet, finish);
    else if (place.filter)
        Filter(place, packet, finish);
    else
        finish(packet);
}

// Packets that the filter cannot read are damaged, and are skipped.
void StreamCopier::Filter(Place &place, AVPacket *packet, const PacketWriter &write) {
    if (av_bsf_send_packet(place.filter.get(), packet) < 0) return;
    while (av_bsf_receive_packet(place.filter.get(), packet) >= 0) {
        // The first repeats the description. Matroska would write it into the header once more, over
        // what follows it there.
        av_packet_free_side_data(packet);
        write(packet);
    }
}

void StreamCopier::Finish(const PacketWriter &write) {
    for (Place &place : mPlaces) {
        if (!place.converter) continue;
        place.converter->Convert(nullptr, [&](AVPacket *made) {
            Move(place, made);
            write(made);
        });
    }
}

void StreamCopier::Move(Place &place, AVPacket *packet) {
    packet->stream_index = place.stream->index;
    packet->pos = -1;
    av_packet_rescale_ts(packet, place.timeBase, place.stream->time_base);
    // Containers insist on times that increase, but two packets may share a unit of a coarser time
    // base.
    if (packet->dts != AV_NOPTS_VALUE && place.lastTime != INT64_MIN && packet->dts <= place.lastTime) {
        packet->dts = place.lastTime + 1;
        if (packet->pts != AV_NOPTS_VALUE && packet->pts < packet->dts) packet->pts = packet->dts;
    }
    if (packet->dts != AV_NOPTS_VALUE) place.lastTime = packet->dts;
}
