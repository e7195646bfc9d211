// SPDX-License-Identifier: BSD-2-Clause
#include "stabilize/path.h"

#include <unistd.h>

#include <vector>

#include <CLI/CLI.hpp>

#include "stabilize/parse.h"
#include "video/output_file.h"

namespace {

const std::vector<std::string> kOfStandard = {"--standard", "--mode", "--crop", "--zoom", "--out-size"};
const std::vector<std::string> kOfRefined = {"--live",     "--lookahead", "--whole",   "--window",
                                             "--strength", "--no-roll",   "--bilinear"};

const char kAuto[] = "auto";
const double kLiveWindow = 0.875;

std::string WindowFault(const std::string &text) {
    if (text == kAuto) return "";
    std::string fault = DecimalFault(60, 98)(text);
    return fault.empty() ? "" : fault + ", nor auto";
}

// The first of them on the command line; empty: none.
std::string Given(const CLI::App &app, const std::vector<std::string> &names) {
    for (const std::string &name : names)
        if (app.count(name) > 0) return name;
    return "";
}

} // namespace

void AddPathOptions(CLI::App &app, PathArguments &arguments) {
    const char *group = "Camera path";
    auto *live =
        app.add_flag("--live", "Make every picture at once, from the frames before it (default for "
                               "standard input, pipes, devices and addresses)")
            ->group(group);
    auto *ahead = app.add_option("--lookahead", arguments.lookahead,
                                 "Make pictures this much later, 0 to 8, at most 240 frames: calmer "
                                 "(default for files: 1, less where that takes over 1 GiB)")
                      ->option_text("SECONDS")
                      ->check(DecimalFault(0, 8))
                      ->excludes(live)
                      ->group(group);
    app.add_flag("--whole",
                 "Plan the whole clip, the calmest: a file is read twice, first to measure it")
        ->excludes(live)
        ->excludes(ahead)
        ->group(group);
    app.add_option(
           "--window", arguments.window,
           "Part of each side that is shown, enlarged to full size, 60 to 98 (default: 90, with "
           "--live 87.5); auto: the largest that leaves at most a tenth of the shake, a file is read "
           "twice")
        ->option_text("PERCENT")
        ->check(WindowFault)
        ->group(group);
    app.add_option("--strength", arguments.strength,
                   "How calm, 0.25 to 4: with more, wanted movements are followed later (default: 1)")
        ->option_text("SECONDS")
        ->check(DecimalFault(0.25, 4))
        ->group(group);
    app.add_flag("--no-roll", "Leave rotations as they are")->group(group);
    app.add_flag("--bilinear",
                 "Interpolate between two pixels each way instead of four: softer, faster")
        ->group(group);
    app.add_flag("--standard",
                 "The standard path instead, 8-bit 4:2:0 without delay; --mode, --crop, --zoom and "
                 "--out-size choose it too")
        ->group(group);
}

std::string PathFault(const CLI::App &app) {
    std::string standard = Given(app, kOfStandard), refined = Given(app, kOfRefined);
    if (standard.empty() || refined.empty()) return "";
    return standard + " chooses the standard path, which has no " + refined + ": leave out one of them";
}

std::optional<RefinedSettings> SettingsOf(const CLI::App &app, const PathArguments &arguments,
                                          bool file) {
    if (!Given(app, kOfStandard).empty()) return std::nullopt;
    RefinedSettings settings;
    settings.whole = app.count("--whole") > 0;
    settings.givenLookahead = !arguments.lookahead.empty();
    if (settings.givenLookahead)
        settings.lookahead = *ParseDecimal(arguments.lookahead);
    else if (app.count("--live") > 0 || !file)
        settings.lookahead = 0;
    if (settings.lookahead <= 0 && !settings.whole) settings.window = kLiveWindow;
    settings.autoWindow = arguments.window == kAuto;
    if (!arguments.window.empty() && !settings.autoWindow)
        settings.window = *ParseDecimal(arguments.window) / 100;
    if (!arguments.strength.empty()) settings.strength = *ParseDecimal(arguments.strength);
    settings.roll = app.count("--no-roll") == 0;
    settings.cubic = app.count("--bilinear") == 0;
    return settings;
}

void CheckReadTwice(const std::string &input, const SourceOptions &options,
                    const RefinedSettings &settings) {
    std::string option = settings.whole ? "--whole" : "--window auto";
    std::string instead = settings.whole ? "--lookahead" : "a window in percent";
    bool missing =
        input != "-" && !IsAddress(input) && options.format.empty() && access(input.c_str(), F_OK) != 0;
    if (missing || CanReadTwice(input, options)) return; // what is missing is told by who opens it
    throw VideoError(option +
                     " reads the input twice, which a pipe, a device or an address does not allow: "
                     "give a file, or " +
                     instead + " instead");
}
