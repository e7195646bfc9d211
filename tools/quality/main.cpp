// SPDX-License-Identifier: BSD-2-Clause
// quorvel-quality: compares a clip with its stabilized form, whatever has stabilized it.
#include <stdio.h>

#include <exception>
#include <optional>

#include "command_line.h"
#include "quality/judge.h"
#include "video/byte_file.h"
#include "video/output_file.h"

namespace {

const char kExamples[] = "Examples:\n"
                         "  quorvel-quality shaky.mp4 steady.mp4\n"
                         "  quorvel-quality shaky.y4m steady.y4m --truth truth.csv --trace trace.csv\n"
                         "\n"
                         "Exit status: 0 done, 1 a clip cannot be used, 2 wrong command line.";

struct Options {
    std::string before;
    std::string after;
    std::string truth;
    std::string trace;
    std::string path;
    std::string values;
    double framesPerSecond = 0;
    double cutoff = 1;
    bool overwrite = false;
};

void AddOptions(CLI::App &app, Options &options) {
    app.add_option("BEFORE", options.before, "The clip as it was taken")->required();
    app.add_option("AFTER", options.after, "The clip as it was stabilized")->required();
    app.add_option("--truth", options.truth, "True camera path, from quorvel-clipgen --truth")
        ->type_name("FILE");
    app.add_option("--trace", options.trace, "Motion of the frames, from quorvel-stabilize --trace")
        ->type_name("FILE")
        ->needs("--truth");
    app.add_option("--path", options.path, "Write both paths to this CSV file")->type_name("FILE");
    app.add_flag("-y,--overwrite", options.overwrite, "Overwrite the file of --path if it exists");
    app.add_option("--values", options.values,
                   "Print one line of values between semicolons, begun with this text")
        ->type_name("TEXT");
    app.add_option("--fps", options.framesPerSecond,
                   "Frame rate, in place of what BEFORE says [30 where neither does]")
        ->check(CLI::Range(1.0, 1000.0));
    app.add_option("--cutoff", options.cutoff, "What is slower than this, in Hz, is intended movement")
        ->check(CLI::Range(0.05, 10.0))
        ->capture_default_str();
    app.footer(kExamples);
}

void PrintValues(const Options &options, const Judgement &result,
                 const std::optional<StageReport> &stages) {
    const auto rms = [](const PathRms &value) {
        printf(";%.4f;%.4f;%.4f", value.row, value.col, value.angle * 1000);
    };
    printf("%s", options.values.c_str());
    rms(result.before);
    rms(result.after);
    printf(";%.4f;%.6f;%zu;", result.visible, result.invented, result.lost);
    if (result.sharpness) printf("%.4f", *result.sharpness);
    if (stages) rms(stages->measurementError);
    printf("\n");
}

void PrintStages(const StageReport &stages) {
    const auto line = [](const char *name, const PathRms &rms) {
        printf("%-40s %8.3f %8.3f %8.3f\n", name, rms.row, rms.col, rms.angle * 1000);
    };
    printf("\n%-40s %8s %8s %8s\n", "From the trace", "row", "column", "roll");
    line("measured minus true motion", stages.measurementError);
    line("left by the smoother alone", stages.smoothed);
    line("left by measurement and smoother", stages.planned);
    printf("Frames held back by the margin of the standard path: %.0f %%\n", stages.atMargin * 100);
}

void Print(const Options &options, const Judgement &result) {
    printf("Shake faster than %g Hz, RMS over %zu of %zu frames%s.\n\n%-12s %10s %10s\n",
           options.cutoff, result.used, result.frames.size(),
           options.truth.empty() ? "; the path is measured" : "", "", "before", "after");
    printf("%-12s %10.3f %10.3f\n", "row (px)", result.before.row, result.after.row);
    printf("%-12s %10.3f %10.3f\n", "column (px)", result.before.col, result.after.col);
    printf("%-12s %10.3f %10.3f\n", "roll (mrad)", result.before.angle * 1000,
           result.after.angle * 1000);
    printf("\nVisible: %.1f %% of the input; invented: %.2f %% of the output; %zu frames not "
           "recognised.\n",
           result.visible * 100, result.invented * 100, result.lost);
    if (result.sharpness)
        printf("Sharpness: %.2f of a Lanczos-3 warp\n", *result.sharpness);
    else
        printf("Sharpness: not enough detail to compare.\n");
}

void WritePaths(const std::string &path, const Judgement &result) {
    ByteOutput output(path);
    output.Write(
        "frame,time_s,before_row,before_col,before_mrad,after_row,after_col,after_mrad,found\n");
    for (size_t i = 0; i < result.frames.size(); i++) {
        const JudgedFrame &f = result.frames[i];
        char line[240];
        const int length =
            snprintf(line, sizeof(line), "%zu,%.6f,%.4f,%.4f,%.4f,%.4f,%.4f,%.4f,%d\n", i + 1,
                     (double)i / result.framesPerSecond, f.before.y, f.before.x, f.before.angle * 1000,
                     f.after.y, f.after.x, f.after.angle * 1000, (int)f.found);
        output.Write(line, (size_t)length);
    }
    output.Close();
}

void Run(const Options &options) {
    RefuseToOverwrite(options.path, options.overwrite, "--path");
    for (const std::string &input : {options.before, options.after, options.truth, options.trace})
        if (!input.empty() && !options.path.empty() && IsSameFile(input, options.path))
            throw VideoError("--path names the input " + input + ", give it another name");
    std::unique_ptr<FrameSource> before = OpenSource(options.before, SourceOptions());
    std::unique_ptr<FrameSource> after = OpenSource(options.after, SourceOptions());
    double framesPerSecond = options.framesPerSecond;
    if (framesPerSecond <= 0) framesPerSecond = before->Info().framesPerSecond.Value();
    if (framesPerSecond <= 0) framesPerSecond = 30;
    std::optional<CsvTable> truth;
    if (!options.truth.empty()) truth.emplace(options.truth);
    const Judgement result = Judge(*before, *after, truth, framesPerSecond, options.cutoff);
    if (!options.path.empty()) WritePaths(options.path, result);
    std::optional<StageReport> stages;
    if (!options.trace.empty())
        stages =
            JudgeStages(result, *truth, CsvTable(options.trace), before->Info().size, options.cutoff);
    if (!options.values.empty()) {
        PrintValues(options, result, stages);
    } else {
        Print(options, result);
        if (stages) PrintStages(*stages);
    }
    if (fflush(stdout) != 0 || ferror(stdout)) throw VideoError("cannot write standard output");
}

} // namespace

int main(int argc, char **argv) {
    Options options;
    CLI::App app("Says how much shake a stabilized clip has left, and what it cost.",
                 "quorvel-quality");
    AddOptions(app, options);
    int status = 0;
    if (!ParseCommandLine(app, argc, argv, status)) return status;
    try {
        Run(options);
        return 0;
    } catch (const std::exception &error) {
        return ReportFault(app, error.what(), 1);
    }
}
