// SPDX-License-Identifier: BSD-2-Clause
#include "stabilize/plot.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>

namespace {

// Grey: the measured path and the room for movements around it. Blue: the path of the output. A red
// line from top to bottom: the path starts anew; orange below: measured in doubt.
const char kLook[] = R"(
set encoding utf8
set multiplot layout 3,1 title title noenhanced
set grid lc rgb '#dddddd'
set key outside top center horizontal
set lmargin 10
set rmargin 3
set y2range [0:1]
unset y2tics
set ytics nomirror
doubt(c) = c == 1 ? 0.02 : NaN
set ylabel 'x, pixels'
plot $path using 1:($2 - columns):($2 + columns) with filledcurves lc rgb '#eeeeee' title 'reach', \
  '' using 1:2 with lines lc rgb '#777777' title 'measured', \
  '' using 1:3 with lines lw 2 lc rgb '#2060c0' title 'smoothed', \
  '' using 1:($8 == 1 ? 1 : NaN) axes x1y2 with impulses lc rgb '#d02020' title 'new start', \
  '' using 1:(doubt($9)) axes x1y2 with points pt 7 ps 0.4 lc rgb '#e08000' title 'in doubt'
set ylabel 'y, pixels'
unset key
plot $path using 1:($4 - rows):($4 + rows) with filledcurves lc rgb '#eeeeee', \
  '' using 1:4 with lines lc rgb '#777777', '' using 1:5 with lines lw 2 lc rgb '#2060c0', \
  '' using 1:($8 == 1 ? 1 : NaN) axes x1y2 with impulses lc rgb '#d02020', \
  '' using 1:(doubt($9)) axes x1y2 with points pt 7 ps 0.4 lc rgb '#e08000'
set yrange [*:*] noextend
stats $path using 6 nooutput
if (STATS_max == STATS_min) set yrange [STATS_min - 1:STATS_max + 1]
set ylabel 'angle, mrad'
set xlabel 'seconds'
plot $path using 1:6 with lines lc rgb '#777777', '' using 1:7 with lines lw 2 lc rgb '#2060c0', \
  '' using 1:($8 == 1 ? 1 : NaN) axes x1y2 with impulses lc rgb '#d02020', \
  '' using 1:(doubt($9)) axes x1y2 with points pt 7 ps 0.4 lc rgb '#e08000'
unset multiplot
)";

// Within single quotes of gnuplot.
std::string Quoted(const std::string &text) {
    std::string result = "'";
    for (char c : text) {
        if (c == '\'') result += "'";
        result += c < ' ' && c >= 0 ? ' ' : c;
    }
    return result + "'";
}

// Measured motions summed up are the camera's path, and with the compensation that of the output.
void WritePath(FILE *script, const std::vector<MotionRecord> &records) {
    double row = 0;
    double column = 0;
    double angle = 0;
    fputs("$path << END\n", script);
    for (const MotionRecord &record : records) {
        const Movement &now = record.compensation;
        row += record.motion.row;
        column += record.motion.column;
        angle += record.motion.theta * 1000;
        if (record.reset) fputs("\n", script); // the lines break there
        fprintf(script, "%.6f %.3f %.3f %.3f %.3f %.4f %.4f %d %d\n", record.seconds, column,
                column + now.column, row, row + now.row, angle, angle + now.theta * 1000, record.reset,
                record.measured && !record.reliable);
    }
    fputs("END\n", script);
}

// gnuplot does not tell that a disk is full.
bool IsWhole(const std::string &path, bool svg) {
    const std::string end = svg ? "</svg>" : std::string("IEND\xae\x42\x60\x82");
    FILE *file = fopen(path.c_str(), "rb");
    if (!file) return false;
    char tail[32];
    bool found = fseek(file, -(long)sizeof(tail), SEEK_END) == 0 &&
                 fread(tail, 1, sizeof(tail), file) == sizeof(tail) &&
                 std::string(tail, sizeof(tail)).find(end) != std::string::npos;
    fclose(file);
    return found;
}

// Throws VideoError unless the plot is whole.
void KeepPlot(OutputFile &file, bool svg, bool drawn) {
    struct stat info = {};
    bool regular = stat(file.WritePath().c_str(), &info) == 0 && S_ISREG(info.st_mode);
    if (!drawn || (regular && !IsWhole(file.WritePath(), svg)))
        throw VideoError("--plot: gnuplot could not draw " + file.Name() +
                         ", is there room for it, and is gnuplot complete?");
    file.Commit();
}

} // namespace

void CheckPlotter() {
    FILE *output = popen("gnuplot --version 2>/dev/null", "r");
    char line[80] = "";
    bool there =
        output && fgets(line, sizeof(line), output) && !strncmp(line, "gnuplot", strlen("gnuplot"));
    if (output) pclose(output);
    if (!there) throw VideoError("--plot needs gnuplot, which is not there (Debian: gnuplot-nox)");
}

void DrawPlot(OutputFile &file, const std::string &title, const std::vector<MotionRecord> &records,
              PictureSize reach) {
    bool svg = EndsWith(file.Name(), ".svg");
    FILE *script = popen("gnuplot 2>/dev/null", "w");
    if (!script) throw VideoError(std::string("--plot: cannot start gnuplot: ") + strerror(errno));
    fprintf(script, "set terminal %s size 1000,800\n", svg ? "svg" : "pngcairo");
    fprintf(script, "set output %s\ntitle = %s\n", Quoted(file.WritePath()).c_str(),
            Quoted(title).c_str());
    fprintf(script, "columns = %d\nrows = %d\n", reach.width, reach.height);
    WritePath(script, records);
    fputs(kLook, script);
    KeepPlot(file, svg, pclose(script) == 0);
}
