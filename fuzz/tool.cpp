// SPDX-License-Identifier: BSD-2-Clause
// The tool's input: command lines and the bytes of video files.
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include <iostream>
#include <sstream>

#include "input.h"
#include "stabilize/options.h"
#include "video/frame_source.h"

namespace {

const size_t kMaxFrame = 1 << 20; // larger ones are slow and add nothing

// A file in memory that can be opened by name.
struct MemoryFile {
    int fd = memfd_create("fuzz", 0);
    std::string path = "/proc/self/fd/" + std::to_string(fd);
    ~MemoryFile() { close(fd); }
};

// Reads to the end or the first error. Frames written to a stream must read back the same.
void ReadVideo(const uint8_t *data, size_t size, const std::optional<RawShape> &shape) {
    MemoryFile file, copy;
    MUST(write(file.fd, data, size) == (ssize_t)size);
    std::vector<std::string> frames;
    std::unique_ptr<FrameSource> source;
    try {
        source = OpenSource(file.path, shape);
        const StreamInfo &info = source->Info();
        MUST(IsEven(info.size) && info.size.width >= 2 && info.size.height >= 2);
        MUST(info.size.width <= kMaxSide && info.size.height <= kMaxSide);
        if (FrameBytes(info.codedSize) > kMaxFrame) return;
        const auto sink = OpenSink(copy.path, info);
        Frame frame(info.size);
        while (source->Read(frame)) {
            frames.emplace_back((const char *)frame.pixels.Data(), frame.pixels.Size());
            sink->Write(frame);
        }
        sink->Close();
    } catch (const VideoError &error) {
        MUST(strlen(error.what()) > 0 && !strchr(error.what(), '\n'));
        return;
    }
    const auto again = OpenSource(copy.path, shape);
    MUST(again->Info().tags == source->Info().tags);
    Frame frame(again->Info().size);
    for (const std::string &pixels : frames)
        MUST(again->Read(frame) && !memcmp(frame.pixels.Data(), pixels.data(), pixels.size()));
    MUST(!again->Read(frame));
}

// One argument a line.
void ReadOptions(const std::string &text) {
    std::vector<std::string> words = {"quorvel-stabilize"};
    std::istringstream lines(text);
    for (std::string word; std::getline(lines, word);) words.push_back(word.c_str());
    std::vector<char *> argv;
    for (std::string &word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    Options options;
    int exitCode = -1;
    std::ostringstream silence;
    std::streambuf *out = std::cout.rdbuf(silence.rdbuf()), *err = std::cerr.rdbuf(silence.rdbuf());
    const bool usable = ParseOptions((int)words.size(), argv.data(), options, exitCode);
    std::cout.rdbuf(out);
    std::cerr.rdbuf(err);
    MUST(usable || ((exitCode == 0 || exitCode == 2) && !silence.str().empty()));
    MUST(!usable || !options.source.shape || IsEven(options.source.shape->size));
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 3) return 0;
    if (data[0] == 'o')
        ReadOptions(std::string((const char *)data + 1, size - 1));
    else if (data[0] == 'r')
        ReadVideo(data + 3, size - 3,
                  RawShape{{2 + data[1] % 8 * 2, 2 + data[2] % 8 * 2}, PixelLayout::I420});
    else
        ReadVideo(data, size, std::nullopt);
    return 0;
}
