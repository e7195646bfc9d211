// SPDX-License-Identifier: BSD-2-Clause
#include "video/frame_source.h"

#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "video/byte_file.h"
#include "video/interrupt.h"
#include "video/media.h"
#include "video/output_file.h"
#include "video/raw_video.h"
#include "video/trimmed_source.h"
#include "video/y4m_header.h"
#include "video/y4m_video.h"

namespace {

// Regular files are opened by FFmpeg itself, which can then seek in them; what can be read only once is
// not opened twice.
bool IsSeekable(const std::string &path) {
    struct stat info = {};
    return path != "-" && stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

// Pictures as files of their own, "shot%03d.png".
bool IsSequence(const std::string &path) {
    return kHasMedia && path.find('%') != std::string::npos && access(path.c_str(), F_OK) != 0;
}

std::unique_ptr<FrameSource> OpenPlain(std::unique_ptr<ByteInput> input, const SourceOptions &options) {
    std::unique_ptr<FrameSource> source;
    if (options.shape)
        source =
            std::make_unique<RawSource>(std::move(input), *options.shape, options.rawFramesPerSecond);
    else
        source = std::make_unique<Y4mSource>(std::move(input));
    if (options.start <= 0 && options.duration <= 0) return source;
    return std::make_unique<TrimmedSource>(std::move(source), options.start, options.duration);
}

} // namespace

std::unique_ptr<FrameSource> OpenSource(const std::string &path, const SourceOptions &options) {
    if (!options.format.empty() || IsAddress(path) || IsSequence(path)) {
        bool piped = path == "-";
        return OpenMediaSource(path, piped ? std::make_unique<ByteInput>(path) : nullptr, options);
    }
    auto input = std::make_unique<ByteInput>(path);
    if (options.shape) return OpenPlain(std::move(input), options);
    std::string start = input->Peek(strlen(kY4mMagic));
    if (Interrupted()) throw VideoError(input->Name() + ": interrupted before its first frame");
    if (start.empty()) throw VideoError(input->Name() + " is empty");
    bool plain = start == kY4mMagic;
    if (!plain && !kHasMedia)
        throw VideoError(input->Name() +
                         ": not a Y4M stream, and this program was built without FFmpeg's "
                         "libraries, which read others; for raw frames give --size WxH");
    if (plain && kHasMedia) plain = OtherY4mPixels(input->PeekLine(kY4mMaxLine)).empty();
    if (plain) return OpenPlain(std::move(input), options);
    if (IsSeekable(path)) input.reset();
    return OpenMediaSource(path, std::move(input), options);
}

std::unique_ptr<FrameSource> OpenSource(const std::string &path, const std::optional<RawShape> &shape) {
    auto input = std::make_unique<ByteInput>(path);
    SourceOptions options;
    options.shape = shape;
    return OpenPlain(std::move(input), options);
}

bool CanReadTwice(const std::string &path, const SourceOptions &options) {
    if (path == "-" || IsAddress(path)) return false;
    bool pictures = options.format.empty() || options.format == "image2";
    return IsSeekable(path) || (pictures && IsSequence(path));
}

void FailBehindEnd(const std::string &name, double seconds) {
    char length[40];
    snprintf(length, sizeof(length), "%.1f seconds", seconds);
    throw VideoError("--start: " + name + " is over before, it is " + length + " long");
}

Container ChooseContainer(const std::string &path, const SinkOptions &options, Container input) {
    if (options.format == "y4m" || options.format == "yuv4mpegpipe") return Container::Y4m;
    if (!options.format.empty()) return Container::Coded;
    if (path == "-") return input == Container::Coded ? Container::Y4m : input;
    if (EndsWith(path, ".y4m")) return Container::Y4m;
    if (input == Container::Coded || IsAddress(path)) return Container::Coded;
    return IsMediaName(path) ? Container::Coded : input;
}

std::unique_ptr<FrameSink> OpenSink(const std::string &path, const StreamInfo &info,
                                    const SinkOptions &options) {
    if (info.container == Container::Coded) return OpenMediaSink(path, info, options);
    if (info.container == Container::Raw) return std::make_unique<RawSink>(path, options.name);
    return std::make_unique<Y4mSink>(path, options.name, info);
}
