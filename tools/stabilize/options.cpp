// SPDX-License-Identifier: BSD-2-Clause
#include "stabilize/options.h"

#include <algorithm>
#include <iostream>
#include <map>
#include <sstream>

#include <CLI/CLI.hpp>

#include "quorvel/version.h"
#include "stabilize/compose.h"
#include "stabilize/parse.h"
#include "stabilize/preview.h"
#include "video/media.h"

namespace {

const char kProgram[] = "quorvel-stabilize";

const char kDescription[] =
    "Takes the shake out of a video: every frame is moved and turned to where a calm hand would have\n"
    "held the camera. Sound, subtitles, times, rotation and other tags stay as they are.";

const char kExamples[] =
    "Examples:\n"
    "  quorvel-stabilize shaky.mp4 steady.mp4\n"
    "  quorvel-stabilize --whole --window 80 shaky.mp4 steady.mp4\n"
    "  quorvel-stabilize --crop 15 --codec libx265 --crf 22 shaky.mov steady.mkv\n"
    "  quorvel-stabilize --side-by-side --start 0:10 --duration 5 shaky.mp4 compare.mp4\n"
    "  quorvel-stabilize --dry-run --trace motion.csv --plot motion.png shaky.mp4\n"
    "  quorvel-stabilize --report report.html shaky.mp4 steady.mp4\n"
    "  quorvel-stabilize --preview --input-format v4l2 /dev/video0\n"
    "  quorvel-stabilize --size 1280x720 shaky.nv21 steady.nv21\n"
    "  decoder | quorvel-stabilize - - | player -\n"
    "\n"
    "Exit status: 0 done, 1 input or output cannot be used or is damaged, 2 wrong command line,\n"
    "130 or 143 interrupted (Ctrl-C or SIGTERM; the output is whole up to there).";

const char kMiddle[] = "middle"; // what --split stands for without a column

// What is still text when the parser is done with it.
struct RawArguments {
    std::string size;
    std::string outSize;
    std::string format = "nv21";
    std::string mode = "rotate";
    std::string rate = "30";
    std::string start;
    std::string duration;
    std::string bitrate;
    std::string crop = "0";
    std::string scale;
    std::string split;
    std::string threads = "0";
    PathArguments path;
    bool verbose = false;
};

const std::map<std::string, Mode> kModes = {{"rotate", Mode::Rotate},  {"shift", Mode::Shift},
                                            {"none", Mode::None},      {"1", Mode::Shift},
                                            {"2", Mode::ShiftAndTurn}, {"3", Mode::Rotate}};

std::string VersionLine() {
    return std::string(kProgram) + " " QUORVEL_VERSION "\n" + MediaVersion() + "\n" + PreviewVersion();
}

// Wraps descriptions, which are whole sentences here, to a width that fits a terminal.
class HelpFormatter : public CLI::Formatter {
  public:
    HelpFormatter() { column_width(kIndent); }

    std::string make_option(const CLI::Option *option, bool positional) const override {
        // A flag that takes a value is named with its default in braces.
        std::string name = make_option_name(option, positional);
        std::string text = "  " + name.substr(0, name.find('{'));
        if (!option->get_option_text().empty()) text += " " + option->get_option_text();
        std::istringstream words(option->get_description());
        std::string line = text.size() < kIndent ? std::string(kIndent - text.size(), ' ')
                                                 : "\n" + std::string(kIndent, ' ');
        size_t used = kIndent;
        for (std::string word; words >> word; used += word.size() + 1) {
            if (used + word.size() > kWidth) {
                line.back() = '\n';
                line += std::string(kIndent, ' ');
                used = kIndent;
            }
            line += word + " ";
        }
        return text + line.substr(0, line.size() - 1) + "\n";
    }

  private:
    static const size_t kIndent = 28;
    static const size_t kWidth = 96;
};

// A number behind --split is its value, though the option stands without one too.
bool IsColumn(const std::string &text) {
    const char *const digits = "0123456789";
    size_t begin = text.size() > 1 && text[0] == '-' ? 1 : 0;
    return text.find_first_not_of(digits, begin) == std::string::npos;
}

std::vector<std::string> Arguments(int argc, char **argv) {
    std::vector<std::string> arguments(argv + 1, argv + argc);
    for (size_t i = 0; i + 1 < arguments.size(); i++) {
        if (arguments[i] != "--split" || !IsColumn(arguments[i + 1])) continue;
        arguments[i] += "=" + arguments[i + 1];
        arguments.erase(arguments.begin() + (ptrdiff_t)i + 1);
    }
    std::reverse(arguments.begin(), arguments.end()); // as the parser wants them
    return arguments;
}

void AddInput(CLI::App &app, Options &options, RawArguments &raw) {
    const char *group = "Input";
    app.add_option("INPUT", options.input, "Video to read, - for standard input")
        ->required()
        ->option_text(" ");
    app.add_option("OUTPUT", options.output,
                   "Video to write, - for standard output; none with --preview or --dry-run");
    app.add_option("--start", raw.start, "Begin here: seconds, M:S or H:M:S")
        ->option_text("TIME")
        ->check(SecondsFault(true))
        ->group(group);
    app.add_option("--duration", raw.duration, "Stop after this time")
        ->option_text("TIME")
        ->check(SecondsFault(false))
        ->group(group);
    app.add_option("--input-format", options.source.format,
                   "Container or input device of INPUT, by FFmpeg's name (v4l2, x11grab, mpegts ...)")
        ->option_text("NAME")
        ->group(group);
    app.add_option("--input-option", options.source.formatOptions,
                   "Setting of it, e.g. framerate=30 (may be repeated)")
        ->option_text("KEY=VALUE")
        ->allow_extra_args(false)
        ->group(group);
    app.add_option("--size", raw.size, "Input is raw frames of this size")
        ->option_text("WxH")
        ->check(EvenSizeFault)
        ->group(group);
    app.add_option("--format", raw.format, "Layout of raw frames: nv21 (default) or i420")
        ->option_text("NAME")
        ->check(CLI::IsMember({"nv21", "i420"}))
        ->needs("--size")
        ->group(group);
    app.add_option("--fps", raw.rate,
                   "Frame rate of raw frames: 0.001 to 1000000, or a fraction (default 30)")
        ->option_text("RATE")
        ->check(RateFault)
        ->needs("--size")
        ->group(group);
    app.add_flag("--force", options.force, "Take interlaced video too, moving frames as a whole")
        ->group(group);
}

void AddPicture(CLI::App &app, Options &options, RawArguments &raw) {
    const char *group = "Picture";
    app.add_option("--mode", raw.mode,
                   "rotate (default of the standard path): shift, turn and zoom by 8/7. shift: whole "
                   "pixels only, never "
                   "resampled, crops 10 % unless --crop says otherwise. none: frames pass as they are. "
                   "1, 2, 3: the library's modes, for --out-size")
        ->option_text("NAME")
        ->check(CLI::IsMember({"rotate", "shift", "none", "1", "2", "3"}))
        ->group(group);
    auto *crop =
        app.add_option("--crop", raw.crop,
                       "Margin for the movements, both sides together in percent of the picture, 1 to "
                       "45: the output is that much smaller; from 13 on nothing is enlarged")
            ->option_text("PERCENT")
            ->check(DecimalFault(1, 45))
            ->group(group);
    app.add_option("--out-size", raw.outSize,
                   "Size of the output, instead of --crop: at least half of the input's")
        ->option_text("WxH")
        ->check(EvenSizeFault)
        ->excludes(crop)
        ->group(group);
    auto *scale =
        app.add_option("--scale", raw.scale, "Scale the stabilized picture to this size (needs FFmpeg)")
            ->option_text("WxH")
            ->check(EvenSizeFault)
            ->group(group);
    app.add_flag("--zoom", options.zoom, "Scale a cropped picture to the input's size again")
        ->excludes(scale)
        ->group(group);
}

std::string ColumnFault(const std::string &text) {
    return text == kMiddle ? "" : WholeFault(kSplitColumns, kMaxSide)(text);
}

void AddComparison(CLI::App &app, Options &options, RawArguments &raw) {
    const char *group = "Before and after";
    auto *split = app.add_flag(std::string("--split{") + kMiddle + "}", raw.split,
                               "Show the input left of this column (default: the middle)")
                      ->check(ColumnFault)
                      ->option_text("[COLUMN]")
                      ->group(group);
    app.add_flag("--side-by-side", options.sideBySide,
                 "Show the input on the left, the result on the right")
        ->excludes(split)
        ->group(group);
    app.add_flag("--preview", options.preview,
                 "Show both in a window while the work goes on: the mouse and the arrow keys move the "
                 "line between them, space pauses, q ends")
        ->group(group);
}

void AddOutput(CLI::App &app, Options &options, RawArguments &raw) {
    const char *group = "Output";
    app.add_option(
           "--codec", options.sink.codec,
           "Video encoder, by FFmpeg's name (default: for INPUT's kind of video, H.264, HEVC, VP9 "
           "or AV1, where the container takes it, else libx264, else the container's own)")
        ->option_text("NAME")
        ->group(group);
    auto *crf = app.add_option("--crf", options.sink.crf,
                               "Quality, 0 to 63, less is better (default: like the source to the eye, "
                               "17 with libx264, 18 with libx265, 20 to 22 for VP9 and AV1)")
                    ->option_text("N")
                    ->check(WholeFault(0, 63))
                    ->group(group);
    app.add_option("--preset", options.sink.preset,
                   "Speed of the encoder: ultrafast to veryslow, or a number for VP9 and AV1")
        ->option_text("NAME")
        ->group(group);
    app.add_option("--bitrate", raw.bitrate, "Bits a second instead of a quality, 1k to 9999M")
        ->option_text("RATE")
        ->check(BitrateFault)
        ->excludes(crf)
        ->group(group);
    app.add_option("--codec-option", options.sink.codecOptions,
                   "Another setting of the encoder (may be repeated)")
        ->option_text("KEY=VALUE")
        ->allow_extra_args(false)
        ->group(group);
    app.add_option("--output-format", options.sink.format,
                   "Container of OUTPUT, by FFmpeg's name (default: its ending decides; - gets Y4M)")
        ->option_text("NAME")
        ->group(group);
    app.add_flag("--no-audio", options.sink.noAudio, "Leave out the sound")->group(group);
    app.add_option(
           "--threads", raw.threads,
           "Threads of the decoder, of the stabilizer (4 at most) and of the encoder, each, 0 to "
           "64 (default: 0, as many as suit the machine)")
        ->option_text("N")
        ->check(WholeFault(0, 64))
        ->group(group);
    app.add_flag("-y,--overwrite", options.overwrite, "Overwrite files that exist")->group(group);
}

// An empty variable of a script would lose a file that was asked for.
std::string CheckName(const std::string &name) { return name.empty() ? "the name is empty" : ""; }

void AddReports(CLI::App &app, Options &options, RawArguments &raw) {
    const char *group = "Reports";
    app.add_option("--trace", options.tracePath, "Write the motion of every frame: .csv, or .json")
        ->option_text("FILE")
        ->check(CheckName)
        ->group(group);
    app.add_option("--plot", options.plotPath,
                   "Draw the camera's path, measured and smoothed: .png or .svg (needs gnuplot)")
        ->option_text("FILE")
        ->check(CheckName)
        ->group(group);
    app.add_option(
           "--report", options.reportPath,
           "Write a page about the run: numbers, the camera's path, the shake's spectrum, cuts: .html")
        ->option_text("FILE")
        ->check(CheckName)
        ->group(group);
    app.add_flag("--dry-run", options.dryRun, "Measure only, write no video")->group(group);
    app.add_flag("--json", options.json, "Print a summary in JSON on standard output")->group(group);
    app.add_flag("--quiet", options.quiet, "Print errors only")->group(group);
    app.add_flag("--verbose", raw.verbose, "Print the messages of FFmpeg's libraries too")
        ->group(group);
    app.set_help_flag("-h,--help", "Print this help and exit")->group(group);
    app.set_version_flag("--version", VersionLine, "Print versions and exit")->group(group);
}

std::optional<PictureSize> SizeOf(const std::string &text) {
    PictureSize size;
    return ParseSize(text, size) ? std::optional(size) : std::nullopt;
}

// Turns the texts, which have passed their checks, into the options' types.
void Convert(const CLI::App &app, const RawArguments &raw, Options &options) {
    if (!raw.size.empty()) {
        options.source.shape.emplace();
        ParseSize(raw.size, options.source.shape->size);
        options.source.shape->layout = raw.format == "i420" ? PixelLayout::I420 : PixelLayout::NV21;
    }
    options.source.rawFramesPerSecond = *ParseRate(raw.rate);
    options.outSize = SizeOf(raw.outSize);
    options.scale = SizeOf(raw.scale);
    options.refined = SettingsOf(app, raw.path, CanReadTwice(options.input, options.source));
    options.source.keepPixels = options.refined.has_value();
    options.mode = kModes.at(raw.mode);
    options.crop = *ParseDecimal(raw.crop) / 100;
    if (raw.mode == "shift" && options.crop <= 0 && raw.outSize.empty()) options.crop = 0.1;
    if (!raw.start.empty()) options.source.start = *ParseSeconds(raw.start);
    if (!raw.duration.empty()) options.source.duration = *ParseSeconds(raw.duration);
    if (!raw.bitrate.empty()) options.sink.bitrate = *ParseBitrate(raw.bitrate);
    options.split = app.count("--split") > 0;
    ParseNumber(raw.split, kMaxSide, options.splitColumn);
    ParseNumber(raw.threads, kMaxSide, options.threads);
    options.source.threads = options.sink.threads = options.threads;
    if (raw.verbose) ShowMediaMessages();
}

// What the parser's own rules cannot say; empty when all is well.
std::string Contradiction(const Options &options) {
    if (options.dryRun && !options.output.empty()) return "--dry-run writes no video, leave out OUTPUT";
    if (options.output.empty() && !options.dryRun && !options.preview)
        return "OUTPUT is required, unless --dry-run or --preview is given";
    if (options.json && options.output == "-")
        return "--json and the video cannot both go to standard output";
    if (options.json && options.tracePath == "-")
        return "--json and the trace cannot both go to standard output";
    if (options.json && options.reportPath == "-")
        return "--json and the report cannot both go to standard output";
    if (options.zoom && options.crop <= 0 && !options.outSize)
        return "--zoom needs --crop, --mode shift or --out-size: nothing is cropped otherwise";
    if (options.mode == Mode::None && (options.crop > 0 || options.outSize))
        return "--mode none passes frames as they are, leave out --crop and --out-size";
    if (options.mode == Mode::None &&
        !(options.tracePath + options.plotPath + options.reportPath).empty())
        return "--mode none measures nothing, leave out --trace, --plot and --report";
    if (!options.plotPath.empty() && !EndsWith(options.plotPath, ".png") &&
        !EndsWith(options.plotPath, ".svg"))
        return "--plot " + options.plotPath + ": the name has to end in .png or .svg";
    if (options.plotPath.find_first_of("\n\r") != std::string::npos)
        return "--plot: gnuplot takes no line break in a name";
    return "";
}

} // namespace

bool ParseOptions(int argc, char **argv, Options &options, int &exitCode) {
    CLI::App app(kDescription, kProgram);
    app.formatter(std::make_shared<HelpFormatter>());
    RawArguments raw;
    AddInput(app, options, raw);
    AddPathOptions(app, raw.path);
    AddPicture(app, options, raw);
    AddComparison(app, options, raw);
    AddOutput(app, options, raw);
    AddReports(app, options, raw);
    app.footer(kExamples);
    exitCode = 2;
    try {
        app.parse(Arguments(argc, argv));
    } catch (const CLI::ParseError &error) {
        if (error.get_exit_code() == 0)
            exitCode = app.exit(error);
        else
            std::cerr << kProgram << ": " << error.what() << " (see --help)\n";
        return false;
    }
    Convert(app, raw, options);
    std::string fault = PathFault(app);
    if (fault.empty()) fault = Contradiction(options);
    if (!fault.empty()) std::cerr << kProgram << ": " << fault << " (see --help)\n";
    return fault.empty();
}
