// SPDX-License-Identifier: BSD-2-Clause
#include "video/media_input.h"

#include <sys/stat.h>

#ifdef QUORVEL_AVDEVICE
extern "C" {
#include <libavdevice/avdevice.h>
}
#endif

#include "video/interrupt.h"
#include "video/output_file.h"

namespace {

const int kIoBytes = 1 << 16;

int ReadBytes(void *input, uint8_t *data, int size) {
    try {
        size_t count = ((ByteInput *)input)->ReadSome(data, (size_t)size);
        return count > 0 ? (int)count : AVERROR_EOF;
    } catch (const VideoError &) {
        return AVERROR(EIO);
    }
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

bool IsCover(const AVStream *stream) { return stream->disposition & AV_DISPOSITION_ATTACHED_PIC; }

} // namespace

MediaInput::MediaInput(const std::string &path, std::unique_ptr<ByteInput> input,
                       const SourceOptions &options)
    : mName(input ? input->Name() : path), mInput(std::move(input)) {
    try {
        Open(path, options);
        FindVideo();
        SetPart(options);
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

void MediaInput::Open(const std::string &path, const SourceOptions &options) {
    const AVInputFormat *format = FindFormat(options.format);
    mFormat = NotNull(avformat_alloc_context());
    mFormat->interrupt_callback = {IsInterrupted, nullptr};
    std::string url = Url(path);
    if (mInput) {
        uint8_t *buffer = NotNull((uint8_t *)av_malloc(kIoBytes));
        mIo =
            NotNull(avio_alloc_context(buffer, kIoBytes, 0, mInput.get(), ReadBytes, nullptr, nullptr));
        mFormat->pb = mIo;
        url = path == "-" ? "" : path;
    }
    MediaOptions dictionary(options.formatOptions, "--input-option");
    int result = avformat_open_input(&mFormat, url.c_str(), format, dictionary.Get());
    CheckMedia(result, "cannot read " + mName + " as a video");
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

void MediaInput::SetPart(const SourceOptions &options) {
    int64_t first = mFormat->start_time == AV_NOPTS_VALUE ? 0 : mFormat->start_time;
    // Files keep their times. Elsewhere zero is when a device was switched on, or a sender began.
    bool arbitrary = (mFormat->iformat->flags & (AVFMT_TS_DISCONT | AVFMT_NOFILE)) || mInput ||
                     (mFormat->pb && !(mFormat->pb->seekable & AVIO_SEEKABLE_NORMAL));
    if (arbitrary) mOrigin = first;
    if (options.start > 0) mOrigin = first + (int64_t)(options.start * AV_TIME_BASE);
    if (options.duration > 0) {
        int64_t begin = options.start > 0 ? mOrigin : first;
        mEnd = begin + (int64_t)(options.duration * AV_TIME_BASE);
    }
    bool seekable = !mInput && mFormat->pb && (mFormat->pb->seekable & AVIO_SEEKABLE_NORMAL);
    if (options.start <= 0 || !seekable) return;
    // A file without an index is read from its beginning instead, which is only slower.
    if (avformat_seek_file(mFormat, -1, INT64_MIN, mOrigin, mOrigin, 0) < 0) MediaError(0);
}
