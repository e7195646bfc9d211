#include "stabilize/options.h"

#include <iostream>
#include <map>

#include <CLI/CLI.hpp>

#include "quorvel/stabilizer.h"

namespace {

const char kDescription[] =
    "Takes the shake out of a video. Reads and writes Y4M (8-bit 4:2:0) or raw frames.";

const char kExamples[] =
    "Examples:\n"
    "  quorvel-stabilize shaky.y4m steady.y4m\n"
    "  quorvel-stabilize --size 1280x720 shaky.nv21 steady.nv21\n"
    "  quorvel-stabilize --mode 1 --out-size 1120x630 shaky720.y4m steady.y4m\n"
    "  ffmpeg -i clip.mp4 -pix_fmt yuv420p -f yuv4mpegpipe - | quorvel-stabilize - steady.y4m\n"
    "\n"
    "Exit status: 0 done, 1 input or output cannot be used, 2 wrong command line.";

const char kProgram[] = "quorvel-stabilize";

struct RawArguments {
    std::string size;
    std::string outSize;
    std::string format = "nv21";
};

std::string VersionLine() {
    MVS_Version version = {};
    QEL_MVS_GetVersion(&version);
    return std::string(kProgram) + " " + version.Version;
}

void AddOptions(CLI::App &app, Options &options, RawArguments &raw) {
    app.add_option("INPUT", options.input, "Video to read, - for standard input")->required();
    app.add_option("OUTPUT", options.output, "Video to write, - for standard output")->required();
    app.add_option("--size", raw.size, "Input is raw frames of this size (else it is Y4M)")
        ->type_name("WxH")
        ->check(EvenSizeFault);
    app.add_option("--format", raw.format, "Layout of raw frames: nv21 (default) or i420")
        ->type_name("NAME")
        ->check(CLI::IsMember({"nv21", "i420"}))
        ->needs("--size");
    app.add_option("--out-size", raw.outSize, "Size of the output (default: as the input)")
        ->type_name("WxH")
        ->check(EvenSizeFault);
    app.add_option(
           "--mode", options.mode,
           "1 shift by whole pixels, 2 and rotate when needed, 3 shift, rotate and zoom (default); "
           "1 and 2 need an input of 11/10 of the output")
        ->type_name("N")
        ->check(CLI::IsMember({"1", "2", "3"}));
    app.add_option("--trace", options.tracePath, "Write the motion of every frame to this CSV file")
        ->type_name("FILE");
    app.set_version_flag("--version", VersionLine, "Print the version and exit");
    app.footer(kExamples);
}

// Turns the texts, which have passed their checks, into the options' types.
void Convert(const RawArguments &raw, Options &options) {
    if (!raw.size.empty()) {
        options.shape.emplace();
        ParseSize(raw.size, options.shape->size);
        options.shape->layout = raw.format == "i420" ? PixelLayout::I420 : PixelLayout::NV21;
    }
    if (!raw.outSize.empty()) {
        options.outSize.emplace();
        ParseSize(raw.outSize, *options.outSize);
    }
}

} // namespace

bool ParseOptions(int argc, char **argv, Options &options, int &exitCode) {
    CLI::App app(kDescription, kProgram);
    RawArguments raw;
    AddOptions(app, options, raw);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        exitCode = 2;
        if (error.get_exit_code() == 0)
            exitCode = app.exit(error);
        else
            std::cerr << kProgram << ": " << error.what() << " (see --help)\n";
        return false;
    }
    Convert(raw, options);
    return true;
}
