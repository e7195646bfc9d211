// SPDX-License-Identifier: BSD-2-Clause
#include "video/media_input.h"

#include <math.h>
#include <sys/stat.h>

#include <algorithm>

#ifdef QUORVEL_AVDEVICE
extern "C" {
#include <libavdevice/avdevice.h>
}
#endif

#include "video/interrupt.h"
#include "video/output_file.h"

namespace {

const int kIoBytes = 1 << 16;
const size_t kStartBytes = 4096; // the order of the main boxes shows in them

int ReadBytes(void *input, uint8_t *data, int size) {
    try {
        size_t count = ((ByteInput *)input)->ReadSome(data, (size_t)size);
        return count > 0 ? (int)count : AVERROR_EOF;
    } catch (const VideoError &) {
        return AVERROR(EIO);
    }
}

bool IsMp4(const std::string &start) { return start.size() == 8 && start.substr(4) == "ftyp"; }

// An MP4 file is made of boxes: 4 bytes of length, 4 of a name, and what is in it.
bool HasIndexAtEnd(const std::string &start) {
    auto *bytes = (const uint8_t *)start.data();
    for (size_t at = 0; at + 8 <= start.size();) {
        std::string name = start.substr(at + 4, 4);
        if (name == "mdat" || name == "moov") return name == "mdat";
        size_t length = AV_RB32(bytes + at);
        if (length < 8) return false;
        at += length;
    }
    return false;
}

int IsInterrupted(void *) { return Interrupted(); }

const AVInputFormat *FindFormat(const std::string &name) {
    if (name.empty()) return nullptr;
#ifdef QUORVEL_AVDEVICE
    avdevice_register_all();
#endif
    const AVInputFormat *format = av_find_input_format(name.c_str());
    if (!format)
        throw VideoError("--input-format " + name +
                         ": FFmpeg knows no container or input device of this name here");
    return format;
}

// A name with a colon is not to be taken for an address.
std::string Url(const std::string &path) {
    struct stat info = {};
    bool file = !IsAddress(path) && stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
    return file ? "file:" + path : path;
}

AVFieldOrder FieldOrder(const AVFrame &picture, AVFieldOrder ofStream) {
    if (IsInterlaced(picture)) {
#ifdef AV_FRAME_FLAG_TOP_FIELD_FIRST
        bool top = picture.flags & AV_FRAME_FLAG_TOP_FIELD_FIRST;
#else
        bool top = picture.top_field_first;
#endif
        return top ? AV_FIELD_TT : AV_FIELD_BB;
    }
    // The stream's order tells the coded field before the one that is shown first.
    if (ofStream == AV_FIELD_TT || ofStream == AV_FIELD_BT) return AV_FIELD_TT;
    if (ofStream == AV_FIELD_BB || ofStream == AV_FIELD_TB) return AV_FIELD_BB;
    return AV_FIELD_PROGRESSIVE;
}

std::vector<uint8_t> SideDataBytes(const AVFrame &picture, AVFrameSideDataType type) {
    const AVFrameSideData *data = av_frame_get_side_data(&picture, type);
    if (!data) return {};
    return {data->data, data->data + data->size};
}

bool IsCover(const AVStream *stream) { return stream->disposition & AV_DISPOSITION_ATTACHED_PIC; }

} // namespace

bool IsInterlaced(const AVFrame &picture) {
#ifdef AV_FRAME_FLAG_INTERLACED
    return picture.flags & AV_FRAME_FLAG_INTERLACED;
#else
    return picture.interlaced_frame;
#endif
}

MediaInput::MediaInput(const std::string &path, std::unique_ptr<ByteInput> input,
                       const SourceOptions &options)
    : mPath(path), mName(input ? input->Name() : path), mOptions(options), mInput(std::move(input)) {
    try {
        Open();
        FindVideo();
        SetPart();
    } catch (...) {
        Close();
        throw;
    }
}

MediaInput::~MediaInput() { Close(); }

void MediaInput::Close() {
    avformat_close_input(&mFormat);
    if (mIo) av_freep(&mIo->buffer);
    avio_context_free(&mIo);
}

void MediaInput::Open() {
    const AVInputFormat *format = FindFormat(mOptions.format);
    mFormat = NotNull(avformat_alloc_context());
    mFormat->interrupt_callback = {IsInterrupted, nullptr};
    mFormat->opaque = &mFault; // where its error messages go
    std::string url = Url(mPath);
    if (mInput) {
        if (IsMp4(mInput->Peek(8)) && HasIndexAtEnd(mInput->Peek(kStartBytes)))
            throw VideoError(
                mName + ": the index of this MP4 is at its end, too late for a pipe; give the file "
                        "itself, or move the index (ffmpeg -c copy -movflags +faststart)");
        uint8_t *buffer = NotNull((uint8_t *)av_malloc(kIoBytes));
        mIo =
            NotNull(avio_alloc_context(buffer, kIoBytes, 0, mInput.get(), ReadBytes, nullptr, nullptr));
        mFormat->pb = mIo;
        url = mPath == "-" ? "" : mPath;
    }
    MediaOptions dictionary(mOptions.formatOptions, "--input-option");
    int result = avformat_open_input(&mFormat, url.c_str(), format, dictionary.Get());
    CheckMedia(result, "cannot read " + mName + " as a video");
    mFault.clear(); // what comes of a look at the end
    if (!dictionary.Left().empty())
        throw VideoError("--input-option: " + mName + " has no option " + dictionary.Left());
    CheckMedia(avformat_find_stream_info(mFormat, nullptr), "cannot read " + mName + " as a video");
}

void MediaInput::FindVideo() {
    int best = av_find_best_stream(mFormat, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (best >= 0) mVideo = mFormat->streams[best];
    if (mVideo && !IsCover(mVideo)) return;
    mVideo = nullptr;
    for (unsigned i = 0; i < mFormat->nb_streams && !mVideo; i++) {
        AVStream *stream = mFormat->streams[i];
        if (stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO && !IsCover(stream)) mVideo = stream;
    }
    if (!mVideo) throw VideoError(mName + ": holds no video that can be decoded");
}

// Quarter turns clockwise out of the display matrix; pictures that are mirrored, or turned by another
// angle, count as not turned.
int MediaInput::Rotation() const {
    size_t size = 0;
    const auto *matrix = (const int32_t *)StreamSideData(mVideo, AV_PKT_DATA_DISPLAYMATRIX, &size);
    if (!matrix || size < 9 * sizeof(int32_t)) return 0;
    bool mirrored = (double)matrix[0] * matrix[4] < (double)matrix[1] * matrix[3];
    double clockwise = -av_display_rotation_get(matrix);
    double quarters = round(clockwise / 90);
    if (mirrored || !(fabs(clockwise - 90 * quarters) < 1)) return 0; // not a number either
    return ((int)quarters + 4) % 4 * 90;
}

void MediaInput::NotePicture(const AVFrame &picture) {
    fieldOrder = FieldOrder(picture, mVideo->codecpar->field_order);
    masteringDisplay = SideDataBytes(picture, AV_FRAME_DATA_MASTERING_DISPLAY_METADATA);
    lightLevel = SideDataBytes(picture, AV_FRAME_DATA_CONTENT_LIGHT_LEVEL);
}

int64_t MediaInput::First() const {
    return mFormat->start_time == AV_NOPTS_VALUE ? 0 : mFormat->start_time;
}

int64_t MediaInput::Last() const {
    if (mFormat->duration == AV_NOPTS_VALUE) return INT64_MAX;
    // Where an input does not begin at 0, some containers give its length and some the time of its
    // end: the earlier counts.
    return mFormat->duration + std::min<int64_t>(First(), 0);
}

void MediaInput::SetPart() {
    int64_t first = First();
    // In files, times a little before 0 are meant: that sound primes its decoder. The zero of devices
    // and streams is arbitrary: when the device was switched on, or the sender began.
    bool arbitrary = (mFormat->iformat->flags & (AVFMT_TS_DISCONT | AVFMT_NOFILE)) || mInput ||
                     (mFormat->pb && !(mFormat->pb->seekable & AVIO_SEEKABLE_NORMAL));
    mOrigin = arbitrary ? first : std::max<int64_t>(first, 0);
    if (IsPart()) mOrigin = first + (int64_t)(mOptions.start * AV_TIME_BASE);
    if (mOptions.duration > 0)
        mEnd = (IsPart() ? mOrigin : first) + (int64_t)(mOptions.duration * AV_TIME_BASE);
}

bool MediaInput::SeekBefore(int64_t lead) {
    bool seekable = IsPart() && !mInput && mFormat->pb &&
                    (mFormat->pb->seekable & AVIO_SEEKABLE_NORMAL) &&
                    !(mFormat->iformat->flags & AVFMT_NOTIMESTAMPS);
    int64_t target = mOrigin - lead;
    if (!seekable || target <= First()) return false;
    if (avformat_seek_file(mFormat, -1, INT64_MIN, target, target, 0) < 0) ForgetMediaError();
    return true;
}

void MediaInput::StartOver() {
    Close();
    Open();
    FindVideo();
}
