// SPDX-License-Identifier: BSD-2-Clause
#include "video/media.h"

const bool kHasMedia = false;

namespace {

[[noreturn]] void Refuse(const std::string &what) {
    throw VideoError(what + " needs FFmpeg's libraries, which this program was built without");
}

} // namespace

std::string MediaVersion() { return "without FFmpeg"; }

void ShowMediaMessages() {}

std::unique_ptr<FrameSource> OpenMediaSource(const std::string &path, std::unique_ptr<ByteInput>,
                                             const SourceOptions &) {
    Refuse("reading " + path);
}

bool IsMediaName(const std::string &) { return false; }

std::string FirstOfManyFiles(const std::string &, const std::string &) { return ""; }

std::unique_ptr<FrameSink> OpenMediaSink(const std::string &path, const StreamInfo &,
                                         const SinkOptions &) {
    Refuse("writing " + path);
}

std::vector<std::string> MediaY4mTags(const StreamInfo &) { return {}; }

std::unique_ptr<FrameScaler> MakeFrameScaler(PictureSize, PictureSize, const PixelLayout &,
                                             const PixelLayout &) {
    Refuse("scaling (--scale, --zoom)");
}
