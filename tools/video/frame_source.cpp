#include "video/frame_source.h"

#include "video/raw_video.h"
#include "video/y4m_video.h"

std::unique_ptr<FrameSource> OpenSource(const std::string &path, const std::optional<RawShape> &shape) {
    if (shape) return std::make_unique<RawSource>(path, *shape);
    return std::make_unique<Y4mSource>(path);
}

std::unique_ptr<FrameSink> OpenSink(const std::string &path, const StreamInfo &info) {
    if (info.container == Container::Raw) return std::make_unique<RawSink>(path);
    return std::make_unique<Y4mSink>(path, info);
}
