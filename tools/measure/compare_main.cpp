// SPDX-License-Identifier: BSD-2-Clause
// quorvel-compare: shows two clips side by side.
#include <exception>
#include <iostream>
#include <optional>

#include <CLI/CLI.hpp>

#include "measure/side_by_side.h"
#include "video/byte_file.h"

namespace {

const char kExamples[] = "Examples:\n"
                         "  quorvel-compare shaky.y4m steady.y4m both.y4m\n"
                         "  quorvel-compare --size 1280x720 shaky.nv21 steady.nv21 both.y4m";

struct Options {
    std::string before;
    std::string after;
    std::string output;
    std::string size;
    std::string afterSize;
    std::string format = "nv21";
    int framesPerSecond = 30;
};

void AddOptions(CLI::App &app, Options &options) {
    app.add_option("BEFORE", options.before, "Clip for the left side")->required();
    app.add_option("AFTER", options.after, "Clip for the right side")->required();
    app.add_option("OUTPUT", options.output, "Y4M file to write, - for standard output")->required();
    app.add_option("--size", options.size, "The clips are raw frames of this size (else they are Y4M)")
        ->type_name("WxH")
        ->check(EvenSizeFault);
    app.add_option("--after-size", options.afterSize, "Size of AFTER where it differs")
        ->type_name("WxH")
        ->check(EvenSizeFault)
        ->needs("--size");
    app.add_option("--format", options.format, "Layout of raw frames: nv21 or i420")
        ->check(CLI::IsMember({"nv21", "i420"}))
        ->capture_default_str();
    app.add_option("--fps", options.framesPerSecond, "Frame rate of raw clips")
        ->check(CLI::Range(1, 1000))
        ->capture_default_str();
    app.footer(kExamples);
}

std::optional<RawShape> MakeShape(const Options &options, const std::string &size) {
    if (size.empty()) return std::nullopt;
    RawShape shape;
    ParseSize(size, shape.size);
    shape.layout = options.format == "i420" ? PixelLayout::I420 : PixelLayout::NV21;
    return shape;
}

// As many frames as the shorter clip has.
void Compare(const Options &options) {
    if (IsSameFile(options.before, options.output) || IsSameFile(options.after, options.output))
        throw VideoError("an input and the output are the same file, give OUTPUT another name");
    const std::string &afterSize = options.afterSize.empty() ? options.size : options.afterSize;
    std::unique_ptr<FrameSource> before = OpenSource(options.before, MakeShape(options, options.size));
    std::unique_ptr<FrameSource> after = OpenSource(options.after, MakeShape(options, afterSize));
    SideBySide sides(before->Info(), after->Info());
    StreamInfo info = before->Info();
    info.layout = PixelLayout::I420;
    info.size = info.codedSize = sides.Size();
    if (info.container == Container::Raw)
        info.tags = {"F" + std::to_string(options.framesPerSecond) + ":1", "Ip", "A1:1", "C420jpeg"};
    info.container = Container::Y4m;
    std::unique_ptr<FrameSink> sink = OpenSink(options.output, info);
    Frame left(before->Info().size);
    Frame right(after->Info().size);
    Frame joined(sides.Size());
    while (before->Read(left) && after->Read(right)) {
        sides.Join(left, right, joined);
        sink->Write(joined);
    }
    sink->Close();
}

} // namespace

int main(int argc, char **argv) {
    Options options;
    CLI::App app("Writes two clips side by side, as Y4M.", "quorvel-compare");
    AddOptions(app, options);
    CLI11_PARSE(app, argc, argv);
    IgnoreBrokenPipes();
    try {
        Compare(options);
        return 0;
    } catch (const std::exception &error) {
        std::cerr << "quorvel-compare: " << error.what() << "\n";
        return 1;
    }
}
