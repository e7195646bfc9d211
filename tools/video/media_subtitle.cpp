// SPDX-License-Identifier: BSD-2-Clause
#include "video/media_subtitle.h"

#include <string.h>

namespace {

const int kPacketBytes = 1 << 16; // more than any text on one picture

class SubtitleConverter : public PacketConverter {
  public:
    SubtitleConverter(MediaPtr<AVCodecContext> decoder, MediaPtr<AVCodecContext> encoder) {
        mDecoder = std::move(decoder);
        mEncoder = std::move(encoder);
    }
    void Convert(AVPacket *packet, const PacketWriter &write) override;

  private:
    MediaPtr<AVPacket> Encode(const AVSubtitle &subtitle) const;
};

// The times stay those of the packet. Damaged ones are skipped, and those that clear the screen: the
// others' durations say the same.
void SubtitleConverter::Convert(AVPacket *packet, const PacketWriter &write) {
    if (!packet) return;
    AVSubtitle subtitle = {};
    int found = 0;
    if (avcodec_decode_subtitle2(mDecoder.get(), &subtitle, &found, packet) < 0 || !found) return;
    MediaPtr<AVPacket> made = Encode(subtitle);
    int64_t shown = subtitle.end_display_time == UINT32_MAX ? 0 : subtitle.end_display_time;
    avsubtitle_free(&subtitle);
    if (!made || packet->pts == AV_NOPTS_VALUE) return;
    made->pts = made->dts = packet->pts;
    made->duration = packet->duration;
    if (made->duration <= 0) made->duration = av_rescale_q(shown, {1, 1000}, mDecoder->pkt_timebase);
    av_packet_rescale_ts(made.get(), mDecoder->pkt_timebase, mEncoder->time_base);
    write(made.get());
}

// Null when there is nothing to show.
MediaPtr<AVPacket> SubtitleConverter::Encode(const AVSubtitle &subtitle) const {
    if (subtitle.num_rects == 0) return nullptr;
    MediaPtr<AVPacket> packet(NotNull(av_packet_alloc()));
    if (av_new_packet(packet.get(), kPacketBytes) < 0) throw std::bad_alloc();
    int size = avcodec_encode_subtitle(mEncoder.get(), packet->data, packet->size, &subtitle);
    if (size <= 0) return nullptr;
    av_shrink_packet(packet.get(), size);
    return packet;
}

// The decoder's header has the styles, and tells what the text is.
bool Open(AVCodecContext *encoder, const AVCodecContext *decoder) {
    encoder->time_base = {1, 1000};
    if (decoder->subtitle_header) {
        size_t size = (size_t)decoder->subtitle_header_size;
        encoder->subtitle_header = NotNull((uint8_t *)av_mallocz(size + 1));
        memcpy(encoder->subtitle_header, decoder->subtitle_header, size);
        encoder->subtitle_header_size = decoder->subtitle_header_size;
    }
    return avcodec_open2(encoder, encoder->codec, nullptr) >= 0;
}

} // namespace

std::unique_ptr<PacketConverter> MakeSubtitleConverter(const AVStream *from, ContainerTrial &trial) {
    const AVCodecDescriptor *descriptor = avcodec_descriptor_get(from->codecpar->codec_id);
    if (!descriptor || !(descriptor->props & AV_CODEC_PROP_TEXT_SUB)) return nullptr;
    for (AVCodecID id : {AV_CODEC_ID_SUBRIP, AV_CODEC_ID_MOV_TEXT, AV_CODEC_ID_WEBVTT}) {
        MediaPtr<AVCodecContext> encoder = MakeStreamEncoder(id, trial.Container());
        MediaPtr<AVCodecContext> decoder = OpenStreamDecoder(from);
        if (!encoder || !decoder || !Open(encoder.get(), decoder.get())) continue;
        MediaPtr<AVCodecParameters> parameters(NotNull(avcodec_parameters_alloc()));
        CheckMedia(avcodec_parameters_from_context(parameters.get(), encoder.get()), "a subtitle");
        if (trial.Add(from, parameters.get()))
            return std::make_unique<SubtitleConverter>(std::move(decoder), std::move(encoder));
    }
    return nullptr;
}
