// SPDX-License-Identifier: BSD-2-Clause
// quorvel-clipgen: makes a shaky clip whose camera path is known.
#include <stdio.h>
#include <sys/stat.h>

#include <exception>
#include <map>
#include <memory>
#include <optional>

#include "clipgen/camera_path.h"
#include "clipgen/effects.h"
#include "clipgen/scene.h"
#include "command_line.h"
#include "video/byte_file.h"
#include "video/frame_source.h"
#include "video/output_file.h"

namespace {

struct Options {
    std::string output;
    std::string truthPath;
    std::string size = "1280x720";
    std::string format; // empty: the name of the output decides
    int frames = 300;
    int framesPerSecond = 30;
    uint32_t seed = 1;
    std::optional<double> shake; // pixels RMS
    double roll = 2;             // milliradians RMS
    double pan = 20;             // pixels a second
    double turn = 0;             // milliradians a second
    std::string motion = "hand";
    double frequency = 4;
    EffectOptions effects;
    int cut = 0; // frames from one scene to the next
    bool overwrite = false;
};

const std::map<std::string, PathKind> kMotions = {{"hand", PathKind::Hand},
                                                  {"swing", PathKind::Swing},
                                                  {"walk", PathKind::Walk},
                                                  {"stop-and-go", PathKind::StopAndGo},
                                                  {"tripod", PathKind::Tripod}};

const char kExamples[] = "Examples:\n"
                         "  quorvel-clipgen shaky.y4m --truth truth.csv\n"
                         "  quorvel-clipgen --size 640x360 --frames 90 --format nv21 shaky.nv21\n"
                         "  quorvel-clipgen --motion walk --noise 6 walk.y4m\n"
                         "\n"
                         "Exit status: 0 done, 1 a file cannot be written, 2 wrong command line.";

void AddEffectOptions(CLI::App &app, Options &options) {
    EffectOptions &effects = options.effects;
    app.add_option("--noise", effects.noise, "Noise of every sample, grey levels RMS")
        ->check(CLI::Range(0.0, 50.0))
        ->capture_default_str();
    app.add_option("--flicker", effects.flicker, "Brightness from frame to frame, percent up and down")
        ->check(CLI::Range(0.0, 90.0))
        ->capture_default_str();
    app.add_option("--flash", effects.flash, "One frame in so many is lit by a photo flash [none]")
        ->check(CLI::Range(2, 1000000));
    app.add_option("--contrast", effects.contrast, "Contrast of luma and colours, percent")
        ->check(CLI::Range(1.0, 100.0))
        ->capture_default_str();
    app.add_option("--object", effects.object, "Something passes by, this many percent of the picture")
        ->check(CLI::Range(0.0, 80.0))
        ->capture_default_str();
    app.add_option("--rolling", effects.rolling,
                   "Rolling shutter: from the first row to the last, percent of the time of a frame")
        ->check(CLI::Range(0.0, 100.0))
        ->capture_default_str();
    app.add_option("--cut", options.cut, "Another scene after every so many frames [never]")
        ->check(CLI::Range(1, 1000000));
}

void AddOptions(CLI::App &app, Options &options) {
    app.add_option("OUTPUT", options.output, "Clip to write, - for standard output")->required();
    app.add_option("--truth", options.truthPath, "Write the camera's path to this CSV file")
        ->type_name("FILE");
    app.add_option("--size", options.size, "Picture size")
        ->type_name("WxH")
        ->check(EvenSizeFault)
        ->capture_default_str();
    app.add_option("--frames", options.frames)->check(CLI::Range(1, 1000000))->capture_default_str();
    app.add_option("--fps", options.framesPerSecond)->check(CLI::Range(1, 1000))->capture_default_str();
    app.add_option("--format", options.format,
                   "nv21, i420 (raw frames) or y4m [by the ending of OUTPUT: .y4m, .nv21, .raw (nv21), "
                   ".i420, .yuv (i420); nv21 for - and devices]")
        ->check(CLI::IsMember({"nv21", "i420", "y4m"}));
    app.add_option("--seed", options.seed, "Another number, another scene and path")
        ->capture_default_str();
    app.add_option("--shake", options.shake, "Hand shake each way, pixels RMS [7 at a height of 720]")
        ->check(CLI::Range(0.0, 1000.0));
    app.add_option("--roll", options.roll, "Shake about the line of sight, milliradians RMS")
        ->check(CLI::Range(0.0, 1000.0))
        ->capture_default_str();
    app.add_option("--pan", options.pan, "Steady movement to the right, pixels a second")
        ->check(CLI::Range(-1000.0, 1000.0))
        ->capture_default_str();
    app.add_option("--turn", options.turn, "Steady rotation, milliradians a second")
        ->check(CLI::Range(-1000.0, 1000.0))
        ->capture_default_str();
    app.add_option("--motion", options.motion, "hand, swing, walk, stop-and-go or tripod")
        ->check(CLI::IsMember({"hand", "swing", "walk", "stop-and-go", "tripod"}))
        ->capture_default_str();
    app.add_option("--frequency", options.frequency, "Of the swing, Hz")
        ->check(CLI::Range(0.01, 500.0))
        ->capture_default_str();
    AddEffectOptions(app, options);
    app.add_flag("-y,--overwrite", options.overwrite, "Overwrite files that exist");
    app.footer(kExamples);
}

PathOptions MakePathOptions(const Options &options, PictureSize size) {
    PathOptions path;
    path.kind = kMotions.at(options.motion);
    path.frequency = options.frequency;
    path.framesPerSecond = options.framesPerSecond;
    path.shake = options.shake.value_or(7.0 * size.height / 720);
    path.roll = options.roll / 1000;
    path.pan = options.pan;
    path.turn = options.turn / 1000;
    path.seed = options.seed;
    return path;
}

EffectOptions MakeEffectOptions(const Options &options) {
    EffectOptions effects = options.effects;
    effects.framesPerSecond = options.framesPerSecond;
    effects.seed = options.seed;
    return effects;
}

StreamInfo MakeStreamInfo(const Options &options, PictureSize size) {
    StreamInfo info;
    info.container = options.format == "y4m" ? Container::Y4m : Container::Raw;
    info.layout = options.format == "nv21" ? PixelLayout::NV21 : PixelLayout::I420;
    info.size = info.codedSize = size;
    info.tags = {"F" + std::to_string(options.framesPerSecond) + ":1", "Ip", "A1:1", "C420jpeg"};
    return info;
}

// The format for the output's name; empty when its ending says nothing.
std::string FormatOf(const std::string &output) {
    const std::pair<const char *, const char *> endings[] = {
        {".y4m", "y4m"}, {".nv21", "nv21"}, {".raw", "nv21"}, {".i420", "i420"}, {".yuv", "i420"}};
    for (auto &[ending, format] : endings)
        if (EndsWith(output, ending)) return format;
    struct stat info = {};
    bool stream = output == "-" || (stat(output.c_str(), &info) == 0 && !S_ISREG(info.st_mode));
    return stream ? "nv21" : "";
}

// Frames are numbered from 1, as MVS_MotionInfo does.
void WriteTruth(ByteOutput &truth, int frame, double time, const CameraPose &pose,
                const PoseMotion &motion, bool cut) {
    char line[240];
    int length = snprintf(line, sizeof(line), "%d,%.6f,%.6f,%.6f,%.9f,%.6f,%.6f,%.9f,%d\n", frame, time,
                          pose.x, pose.y, pose.angle, motion.row, motion.col, motion.theta, (int)cut);
    truth.Write(line, (size_t)length);
}

void Generate(const Options &options) {
    RefuseToOverwrite(options.output, options.overwrite, "output");
    RefuseToOverwrite(options.truthPath, options.overwrite, "--truth");
    if (!options.truthPath.empty() && IsSameOutput(options.output, options.truthPath))
        throw VideoError("--truth names the output file, give it another name");
    PictureSize size;
    ParseSize(options.size, size);
    const StreamInfo info = MakeStreamInfo(options, size);
    const CameraPath path(MakePathOptions(options, size));
    Scene scene(options.seed);
    const Effects effects(MakeEffectOptions(options), path, info);
    std::unique_ptr<FrameSink> sink = OpenSink(options.output, info);
    std::unique_ptr<ByteOutput> truth;
    if (!options.truthPath.empty()) {
        truth = std::make_unique<ByteOutput>(options.truthPath);
        truth->Write("frame,time_s,x_px,y_px,angle_rad,row_px,col_px,theta_rad,cut\n");
    }
    Frame frame(size);
    for (int i = 0; i < options.frames; i++) {
        CameraPose pose = path.Pose(i);
        const bool cut = options.cut > 0 && i > 0 && i % options.cut == 0;
        if (cut) scene = Scene(options.seed + (uint32_t)(i / options.cut));
        effects.Render(scene, i, frame.pixels.Data());
        effects.Apply(i, frame.pixels.Data());
        sink->Write(frame);
        PoseMotion motion = MotionBetween(path.Pose(i > 0 ? i - 1 : 0), pose);
        if (truth) WriteTruth(*truth, i + 1, (double)i / options.framesPerSecond, pose, motion, cut);
    }
    sink->Close();
    if (truth) truth->Close();
}

} // namespace

int main(int argc, char **argv) {
    Options options;
    CLI::App app("Makes a shaky clip of a painted scene; the camera's path is known.",
                 "quorvel-clipgen");
    AddOptions(app, options);
    int status = 0;
    if (!ParseCommandLine(app, argc, argv, status)) return status;
    if (options.format.empty()) options.format = FormatOf(options.output);
    if (options.format.empty())
        return ReportFault(app,
                           "output " + options.output +
                               " ends in none of .y4m, .nv21, .raw, .i420 and .yuv; give --format",
                           kWrongUsage);
    IgnoreBrokenPipes();
    try {
        Generate(options);
        return 0;
    } catch (const std::exception &error) {
        return ReportFault(app, error.what(), 1);
    }
}
