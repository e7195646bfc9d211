// SPDX-License-Identifier: BSD-2-Clause
#include "video/media_sound.h"

extern "C" {
#include <libavutil/audio_fifo.h>
#include <libswresample/swresample.h>
}

#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <vector>

namespace {

const int64_t kChannelRate = 96000; // bits a second: hardly to be told from the source
const int kAnyFrame = 1024;         // samples in a frame where the encoder leaves it open
// Sound that is off its time by more than so many thousandths of a second is put right:
const int kHardShift = 15;  // by silence, or by leaving out samples
const int kSoftShift = 2;   // by a speed that differs a little,
const int kSoftSeconds = 5; // so that it is right after these seconds
// Seconds that a clock may jump ahead or back; beyond that it was set anew.
const int kLongestGap = 3600;
const int kLongestOverlap = 10;
const int kLongestLead = 10; // of silence before the first sound, where its time can be told instead

struct ReleaseSound {
    void operator()(SwrContext *context) const { swr_free(&context); }
    void operator()(AVAudioFifo *fifo) const { av_audio_fifo_free(fifo); }
};

// A layout that is nothing but a number of channels becomes the usual one of that number.
class Layout {
  public:
    explicit Layout(const AVChannelLayout &layout) {
        if (layout.order == AV_CHANNEL_ORDER_UNSPEC)
            av_channel_layout_default(&mLayout, layout.nb_channels);
        else if (av_channel_layout_copy(&mLayout, &layout) < 0)
            throw std::bad_alloc();
    }
    ~Layout() { av_channel_layout_uninit(&mLayout); }
    Layout(const Layout &) = delete;
    Layout &operator=(const Layout &) = delete;
    AVChannelLayout *Get() { return &mLayout; }

  private:
    AVChannelLayout mLayout = {};
};

MediaPtr<AVFrame> NewSound(const AVChannelLayout &layout, int format, int rate, int count) {
    MediaPtr<AVFrame> sound(NotNull(av_frame_alloc()));
    sound->format = format;
    sound->sample_rate = rate;
    sound->nb_samples = count;
    if (av_channel_layout_copy(&sound->ch_layout, &layout) < 0 ||
        av_frame_get_buffer(sound.get(), 0) < 0)
        throw std::bad_alloc();
    return sound;
}

// Puts every piece of sound at its time, and silence into the gaps: not every container can say that
// there is no sound for a while.
class SoundConverter : public PacketConverter {
  public:
    // `begin` is the time of the first sample, in samples, `longestLead` how many seconds of silence
    // may come before the first sound.
    SoundConverter(MediaPtr<AVCodecContext> decoder, MediaPtr<AVCodecContext> encoder, int64_t begin,
                   int longestLead, const NoteHandler &note);
    void Convert(AVPacket *packet, const PacketWriter &write) override;

  private:
    void Take(const AVFrame &sound, const PacketWriter &write);
    bool Prepare(const AVFrame &sound, const PacketWriter &write);
    int Align(const AVFrame &sound, const PacketWriter &write);
    void AddSilence(int64_t count, const PacketWriter &write);
    void Resample(const uint8_t *const *samples, int count);
    void Encode(bool toTheLast, const PacketWriter &write);
    void Send(const AVFrame *sound, const PacketWriter &write);
    void TellDamage();

    NoteHandler mNote;
    MediaPtr<AVFrame> mSound;
    MediaPtr<AVFrame> mLike; // what the resampler was made for
    std::unique_ptr<SwrContext, ReleaseSound> mResampler;
    std::unique_ptr<AVAudioFifo, ReleaseSound> mWaiting; // for the rest of a frame
    int64_t mTime;                                       // of the next sample for the encoder
    int mLongestLead;
    int64_t mClockShift = 0; // what the input's clock was set back
    bool mPlaced = false;    // the first sound is where it belongs
    bool mStretching = false;
    bool mToldDamage = false;
};

SoundConverter::SoundConverter(MediaPtr<AVCodecContext> decoder, MediaPtr<AVCodecContext> encoder,
                               int64_t begin, int longestLead, const NoteHandler &note)
    : mNote(note), mSound(NotNull(av_frame_alloc())), mTime(begin), mLongestLead(longestLead) {
    mDecoder = std::move(decoder);
    mEncoder = std::move(encoder);
    mWaiting.reset(
        NotNull(av_audio_fifo_alloc(mEncoder->sample_fmt, mEncoder->ch_layout.nb_channels, kAnyFrame)));
}

void SoundConverter::TellDamage() {
    if (!mToldDamage)
        mNote(std::string("sound (") + avcodec_get_name(mDecoder->codec_id) +
              ") is damaged, there is silence where it cannot be decoded");
    mToldDamage = true;
}

void SoundConverter::Convert(AVPacket *packet, const PacketWriter &write) {
    int result = avcodec_send_packet(mDecoder.get(), packet);
    if (result < 0 && result != AVERROR_EOF) TellDamage();
    for (;;) {
        if (result == AVERROR(ENOMEM)) throw std::bad_alloc();
        result = avcodec_receive_frame(mDecoder.get(), mSound.get());
        if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) break;
        if (result < 0)
            TellDamage();
        else
            Take(*mSound, write);
    }
    if (packet) return;
    if (mResampler) Resample(nullptr, 0);
    Encode(true, write);
    Send(nullptr, write);
}

void SoundConverter::Take(const AVFrame &sound, const PacketWriter &write) {
    if (!Prepare(sound, write)) {
        TellDamage();
        return;
    }
    int skipped = Align(sound, write);
    if (skipped == sound.nb_samples) return;
    auto format = (AVSampleFormat)sound.format;
    bool planar = av_sample_fmt_is_planar(format);
    int channels = sound.ch_layout.nb_channels;
    int step = av_get_bytes_per_sample(format) * (planar ? 1 : channels);
    std::vector<const uint8_t *> samples((size_t)(planar ? channels : 1));
    for (size_t i = 0; i < samples.size(); i++)
        samples[i] = sound.extended_data[i] + (ptrdiff_t)skipped * step;
    Resample(samples.data(), sound.nb_samples - skipped);
    Encode(false, write);
}

// Makes a resampler for this kind of sound unless it is there; false when that fails.
bool SoundConverter::Prepare(const AVFrame &sound, const PacketWriter &write) {
    if (mLike && mLike->format == sound.format && mLike->sample_rate == sound.sample_rate &&
        !av_channel_layout_compare(&mLike->ch_layout, &sound.ch_layout))
        return true;
    if (mResampler) Resample(nullptr, 0);
    Encode(false, write);
    mLike.reset();
    mStretching = false;
    Layout layout(sound.ch_layout);
    SwrContext *made = nullptr;
    int result =
        swr_alloc_set_opts2(&made, &mEncoder->ch_layout, mEncoder->sample_fmt, mEncoder->sample_rate,
                            layout.Get(), (AVSampleFormat)sound.format, sound.sample_rate, 0, nullptr);
    mResampler.reset(made);
    if (result < 0 || swr_init(made) < 0) {
        mResampler.reset();
        return false;
    }
    mLike = NewSound(sound.ch_layout, sound.format, sound.sample_rate, 1);
    return true;
}

// Makes what was converted so far end where this sound begins. Returns how many samples of this sound
// are to be left out because their time is already taken.
int SoundConverter::Align(const AVFrame &sound, const PacketWriter &write) {
    if (sound.best_effort_timestamp == AV_NOPTS_VALUE) return 0;
    const int64_t rate = mEncoder->sample_rate;
    int64_t time = av_rescale_q(sound.best_effort_timestamp, mDecoder->pkt_timebase, {1, (int)rate});
    int64_t ready = mTime + av_audio_fifo_size(mWaiting.get()) + swr_get_delay(mResampler.get(), rate);
    int64_t gap = time + mClockShift - ready;
    if (!mPlaced && gap > mLongestLead * rate) {
        mTime += gap;
        gap = 0;
    } else if (mPlaced && (gap > kLongestGap * rate || gap < -kLongestOverlap * rate)) {
        mClockShift -= gap;
        gap = 0;
    }
    bool hard = !mPlaced || llabs(gap) > kHardShift * rate / 1000;
    mPlaced = true;
    if (hard && gap > 0) AddSilence(av_rescale(gap, sound.sample_rate, rate), write);
    if (hard && gap < 0) {
        int64_t skipped = av_rescale(-gap, sound.sample_rate, rate);
        mPlaced = skipped <= sound.nb_samples; // else the next one follows suit
        return (int)std::min<int64_t>(skipped, sound.nb_samples);
    }
    if (!hard && (mStretching || llabs(gap) > kSoftShift * rate / 1000))
        mStretching = swr_set_compensation(mResampler.get(), (int)gap, (int)(kSoftSeconds * rate)) >= 0;
    return 0;
}

void SoundConverter::AddSilence(int64_t count, const PacketWriter &write) {
    MediaPtr<AVFrame> silence =
        NewSound(mLike->ch_layout, mLike->format, mLike->sample_rate, kAnyFrame);
    av_samples_set_silence(silence->extended_data, 0, kAnyFrame, silence->ch_layout.nb_channels,
                           (AVSampleFormat)silence->format);
    for (; count > 0; count -= kAnyFrame) {
        Resample(silence->extended_data, (int)std::min<int64_t>(count, kAnyFrame));
        Encode(false, write);
    }
}

// Null: what is still inside.
void SoundConverter::Resample(const uint8_t *const *samples, int count) {
    const char *failed = "cannot convert the sound";
    int room = CheckMedia(swr_get_out_samples(mResampler.get(), count), failed);
    if (room == 0) return;
    MediaPtr<AVFrame> made =
        NewSound(mEncoder->ch_layout, mEncoder->sample_fmt, mEncoder->sample_rate, room);
    int got =
        swr_convert(mResampler.get(), made->extended_data, room, (const uint8_t **)samples, count);
    CheckMedia(got, failed);
    CheckMedia(av_audio_fifo_write(mWaiting.get(), (void **)made->extended_data, got), failed);
}

void SoundConverter::Encode(bool toTheLast, const PacketWriter &write) {
    int size = mEncoder->frame_size > 0 ? mEncoder->frame_size : kAnyFrame;
    for (;;) {
        int count = std::min(av_audio_fifo_size(mWaiting.get()), size);
        if (count == 0 || (count < size && !toTheLast)) return;
        MediaPtr<AVFrame> sound =
            NewSound(mEncoder->ch_layout, mEncoder->sample_fmt, mEncoder->sample_rate, count);
        av_audio_fifo_read(mWaiting.get(), (void **)sound->extended_data, count);
        sound->pts = mTime;
        mTime += count;
        Send(sound.get(), write);
    }
}

// Null: the end.
void SoundConverter::Send(const AVFrame *sound, const PacketWriter &write) {
    CheckMedia(avcodec_send_frame(mEncoder.get(), sound), "cannot encode the sound");
    MediaPtr<AVPacket> packet(NotNull(av_packet_alloc()));
    for (;;) {
        int result = avcodec_receive_packet(mEncoder.get(), packet.get());
        if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return;
        CheckMedia(result, "cannot encode the sound");
        write(packet.get());
        av_packet_unref(packet.get());
    }
}

// Containers whose own first choice is not what people expect in them.
AVCodecID UsualCodec(const AVOutputFormat &container) {
    const char *const modern[] = {"mpegts", "hls", "flv", "matroska", "3gp", "3g2"};
    for (const char *name : modern)
        if (!strcmp(container.name, name)) return AV_CODEC_ID_AAC;
    return container.audio_codec;
}

struct Abilities { // of an encoder; null: no limits
    const AVSampleFormat *formats;
    const int *rates;               // 0 at the end
    const AVChannelLayout *layouts; // one without channels at the end
};

Abilities AbilitiesOf(const AVCodec *codec) {
#if LIBAVCODEC_VERSION_INT >= AV_VERSION_INT(61, 13, 100)
    auto ask = [codec](AVCodecConfig what) {
        const void *list = nullptr;
        avcodec_get_supported_config(nullptr, codec, what, 0, &list, nullptr);
        return list;
    };
    return {(const AVSampleFormat *)ask(AV_CODEC_CONFIG_SAMPLE_FORMAT),
            (const int *)ask(AV_CODEC_CONFIG_SAMPLE_RATE),
            (const AVChannelLayout *)ask(AV_CODEC_CONFIG_CHANNEL_LAYOUT)};
#else
    return {codec->sample_fmts, codec->supported_samplerates, codec->ch_layouts};
#endif
}

// The next one up, so that nothing is lost, or the highest.
int ChooseRate(const int *rates, int wanted) {
    if (!rates) return wanted;
    int best = 0;
    for (; *rates; rates++) {
        bool closer = best < wanted ? *rates > best : *rates >= wanted && *rates < best;
        if (closer) best = *rates;
    }
    return best;
}

// The same channels, or the most that are no more.
const AVChannelLayout *ChooseLayout(const AVChannelLayout *layouts, const AVChannelLayout *wanted) {
    if (!layouts) return wanted;
    const AVChannelLayout *best = layouts;
    for (; layouts->nb_channels > 0; layouts++) {
        if (!av_channel_layout_compare(layouts, wanted)) return layouts;
        bool fewer = layouts->nb_channels <= wanted->nb_channels;
        if (fewer &&
            (layouts->nb_channels > best->nb_channels || best->nb_channels > wanted->nb_channels))
            best = layouts;
    }
    return best;
}

// Null when there is no such encoder for this sound.
MediaPtr<AVCodecContext> OpenSoundEncoder(AVCodecID id, const AVOutputFormat &container,
                                          const AVCodecParameters &from, int rate, bool ownRate) {
    MediaPtr<AVCodecContext> encoder = MakeStreamEncoder(id, container);
    if (!encoder) return nullptr;
    Abilities abilities = AbilitiesOf(encoder->codec);
    Layout layout(from.ch_layout);
    const AVChannelLayout *chosen = ChooseLayout(abilities.layouts, layout.Get());
    if (av_channel_layout_copy(&encoder->ch_layout, chosen) < 0) throw std::bad_alloc();
    encoder->sample_fmt = abilities.formats ? *abilities.formats : AV_SAMPLE_FMT_S16;
    encoder->sample_rate = ChooseRate(abilities.rates, rate);
    encoder->time_base = {1, encoder->sample_rate};
    if (!ownRate) encoder->bit_rate = kChannelRate * chosen->nb_channels;
    int result = avcodec_open2(encoder.get(), encoder->codec, nullptr);
    if (result == AVERROR(ENOMEM)) throw std::bad_alloc();
    if (result < 0) return nullptr;
    return encoder;
}

MediaPtr<AVCodecContext> FindSoundEncoder(const AVStream *from, ContainerTrial &trial) {
    const AVOutputFormat &container = trial.Container();
    for (AVCodecID id : {UsualCodec(container), AV_CODEC_ID_AAC, AV_CODEC_ID_OPUS, AV_CODEC_ID_VORBIS,
                         AV_CODEC_ID_MP3, AV_CODEC_ID_MP2, AV_CODEC_ID_AC3, AV_CODEC_ID_PCM_S16LE}) {
        // Some know certain bit rates only, some containers one sampling rate.
        for (int rate : {from->codecpar->sample_rate, 48000}) {
            for (bool ownRate : {false, true}) {
                MediaPtr<AVCodecContext> encoder =
                    OpenSoundEncoder(id, container, *from->codecpar, rate, ownRate);
                if (!encoder) continue;
                MediaPtr<AVCodecParameters> parameters(NotNull(avcodec_parameters_alloc()));
                CheckMedia(avcodec_parameters_from_context(parameters.get(), encoder.get()), "sound");
                if (trial.Add(from, parameters.get())) return encoder;
            }
        }
    }
    return nullptr;
}

} // namespace

std::unique_ptr<PacketConverter> MakeSoundConverter(const AVStream *from, ContainerTrial &trial,
                                                    const NoteHandler &note) {
    const AVCodecParameters *parameters = from->codecpar;
    if (parameters->sample_rate <= 0 || parameters->ch_layout.nb_channels <= 0) return nullptr;
    MediaPtr<AVCodecContext> decoder = OpenStreamDecoder(from);
    if (!decoder) return nullptr;
    MediaPtr<AVCodecContext> encoder = FindSoundEncoder(from, trial);
    if (!encoder) return nullptr;
    // An encoder puts some samples of its own in front. Where the container has no times below 0, these
    // take the place of the sound's first ones.
    bool negative = trial.Container().flags & AVFMT_TS_NEGATIVE;
    int64_t begin = negative ? 0 : encoder->initial_padding;
    bool timed = strcmp(trial.Container().name, "avi") != 0;
    return std::make_unique<SoundConverter>(std::move(decoder), std::move(encoder), begin,
                                            timed ? kLongestLead : kLongestGap, note);
}
