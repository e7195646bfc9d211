// SPDX-License-Identifier: BSD-2-Clause
#include "stabilize/report_charts.h"

#include <math.h>
#include <stdio.h>

#include <algorithm>

namespace {

// Of more frames than twice this, a line has the least and the most of each column alone.
const size_t kColumns = 4000;

// More would hide what is drawn.
const ptrdiff_t kMostSceneLines = 50;

const double kLeastShake = 0.001;

const double kInfinite = INFINITY;

// What a chart shows, in the SVG's coordinates.
struct Area {
    double left, top, width, height;
};

std::string Quoted(const std::string &text) { return "\"" + text + "\""; }

// A label at a part of the width or the height, with a line of the grid.
std::string Tick(const char *look, double part, const std::string &label) {
    const char *const side = *look == 'x' ? "left:" : "top:";
    return "<i class=" + Quoted(look) + " style=" + Quoted(side + NumberText(100 * part, 3) + "%") +
           "><b>" + label + "</b></i>";
}

std::string SvgOf(const Area &area, const std::string &attributes, const std::string &content) {
    return "<svg viewBox=\"" + NumberText(area.left, 5) + " " + NumberText(area.top, 5) + " " +
           NumberText(area.width, 5) + " " + NumberText(area.height, 5) +
           "\" preserveAspectRatio=\"none\" " + attributes + ">" + content + "</svg>\n";
}

std::string Described(const std::string &name, const std::string &title,
                      const std::string &description) {
    return "<title id=\"" + name + "-title\">" + title + "</title><desc id=\"" + name + "-desc\">" +
           description + "</desc>";
}

std::string ImageRole(const std::string &name) {
    return "role=\"img\" aria-labelledby=\"" + name + "-title " + name + "-desc\"";
}

// 1, 2 or 5 times a power of ten, so that a span has no more than so many steps.
double RoundStep(double span, int most) {
    const double power = pow(10, floor(log10(span / most)));
    for (double factor : {1.0, 2.0, 5.0})
        if (factor * power * most >= span) return factor * power;
    return 10 * power;
}

double TimeStep(double span, int most) {
    if (span / most <= 5) return RoundStep(span, most);
    for (double step : {10, 15, 30, 60, 120, 300, 600, 900, 1800})
        if (step * most >= span) return step;
    return ceil(span / most / 3600) * 3600;
}

// Calls `each` with the multiples of the step from one value to the other.
template <class Function> void ForMultiples(double step, double from, double to, Function each) {
    const double rounding = 1e-9;
    const int64_t last = (int64_t)floor(to / step + rounding);
    for (int64_t i = (int64_t)ceil(from / step - rounding); i <= last; i++) each((double)i * step);
}

std::string TimeTicks(const Area &area) {
    std::string ticks;
    ForMultiples(TimeStep(area.width, 7), area.left, area.left + area.width,
                 [&](double at) { ticks += Tick("x", (at - area.left) / area.width, ClockText(at)); });
    return ticks;
}

std::string ValueTicks(const Area &area, bool downwards, int most) {
    const double step = RoundStep(area.height, most);
    const int decimals = std::max(0, (int)-floor(log10(step) + 1e-9));
    std::string ticks;
    ForMultiples(step, area.top, area.top + area.height, [&](double at) {
        const std::string label = NumberText(downwards ? at : -at, decimals);
        ticks += Tick("y", (at - area.top) / area.height, label);
    });
    return ticks;
}

// Calls `each` for every column of frames, with its first frame and the first of the next column.
template <class Function> void ForColumns(size_t count, Function each) {
    const size_t columns = count > 2 * kColumns ? kColumns : count;
    for (size_t i = 0; i < columns; i++) each(i * count / columns, (i + 1) * count / columns);
}

bool AnyOf(const std::vector<bool> &flags, size_t begin, size_t end) {
    return std::find(flags.begin() + (ptrdiff_t)begin, flags.begin() + (ptrdiff_t)end, true) !=
           flags.begin() + (ptrdiff_t)end;
}

// Lines break where scenes begin.
std::string LinePath(const TimeAxis &axis, const std::vector<double> &values, bool downwards) {
    std::string path;
    bool first = true;
    auto add = [&](size_t i, bool begins) {
        path += begins ? "M" : " ";
        path +=
            NumberText(axis.seconds[i], 3) + " " + NumberText(downwards ? values[i] : -values[i], 2);
    };
    ForColumns(values.size(), [&](size_t begin, size_t end) {
        const auto from = values.begin() + (ptrdiff_t)begin, to = values.begin() + (ptrdiff_t)end;
        const auto [least, most] = std::minmax_element(from, to);
        const size_t low = (size_t)(least - values.begin()), high = (size_t)(most - values.begin());
        add(std::min(low, high), first || AnyOf(axis.scenes, begin, end));
        if (low != high) add(std::max(low, high), false);
        first = false;
    });
    return path;
}

std::string MarkPath(const TimeAxis &axis, const std::vector<bool> &flags, const char *mark) {
    std::string path;
    ForColumns(flags.size(), [&](size_t begin, size_t end) {
        if (AnyOf(flags, begin, end)) path += "M" + NumberText(axis.seconds[begin], 3) + " " + mark;
    });
    return path;
}

Area AreaOf(const TimeChart &chart, const TimeAxis &axis) {
    const double first = axis.seconds.front();
    Area area = {first, -chart.leastSpan, std::max(axis.seconds.back() - first, 0.1), chart.leastSpan};
    if (chart.wholeRange) return area;
    double least = kInfinite, most = -kInfinite;
    for (const TimeLine &line : chart.lines) {
        for (double value : *line.values) {
            least = std::min(least, chart.downwards ? value : -value);
            most = std::max(most, chart.downwards ? value : -value);
        }
    }
    const double span = std::max(most - least, chart.leastSpan) * 1.1;
    area.top = (least + most - span) / 2;
    area.height = span;
    return area;
}

// Of pixels; less than a thousandth of one is nothing.
double Logarithm(double value) { return log10(std::max(value, kLeastShake)); }

} // namespace

std::string NumberText(double value, int decimals) {
    char text[60];
    snprintf(text, sizeof(text), "%.*f", decimals, value);
    std::string result = text;
    if (result.find('.') != std::string::npos) {
        result.erase(result.find_last_not_of('0') + 1);
        if (result.back() == '.') result.pop_back();
    }
    return result == "-0" ? "0" : result;
}

std::string ClockText(double seconds) {
    if (seconds < 60) return NumberText(seconds, 2) + " s";
    char text[60];
    const int64_t minutes = (int64_t)(seconds / 60);
    const double rest = floor((seconds - 60 * (double)minutes) * 100 + 1e-6) / 100;
    if (minutes >= 60)
        snprintf(text, sizeof(text), "%lld:%02d:", (long long)(minutes / 60), (int)(minutes % 60));
    else
        snprintf(text, sizeof(text), "%d:", (int)minutes);
    return text + std::string(rest < 10 ? "0" : "") + NumberText(rest, 2);
}

std::string DrawTimeChart(const TimeChart &chart, const TimeAxis &axis) {
    const Area area = AreaOf(chart, axis);
    std::string content = Described(chart.name, chart.title, chart.description);
    for (const TimeLine &line : chart.lines)
        content += "<path class=" + Quoted(line.look) +
                   " d=" + Quoted(LinePath(axis, *line.values, chart.downwards)) + "/>";
    const bool many = std::count(axis.scenes.begin(), axis.scenes.end(), true) > kMostSceneLines;
    const std::string marks =
        "<path class=\"scene\" d=" + Quoted(MarkPath(axis, axis.scenes, many ? "0V.07" : "0V1")) +
        "/><path class=\"doubt\" d=" + Quoted(MarkPath(axis, axis.doubts, ".93V1")) + "/>";
    const Area span = {area.left, 0, area.width, 1};
    return "<figure class=\"chart time\" data-sign=\"" + std::string(chart.downwards ? "1" : "-1") +
           "\" data-least=\"" + NumberText(chart.leastSpan, 2) + "\"" +
           (chart.wholeRange ? " data-whole=\"1\"" : "") + " data-unit=" + Quoted(chart.unit) +
           ">\n<figcaption>" + chart.title + ", <span class=\"unit\">" + chart.unit +
           "</span><output></output></figcaption>\n<div class=\"plot\">" + TimeTicks(area) +
           ValueTicks(area, chart.downwards, 5) + "\n" + SvgOf(area, ImageRole(chart.name), content) +
           SvgOf(span, "aria-hidden=\"true\" class=\"marks\"", marks) + "</div></figure>\n";
}

std::string DrawHistogram(const std::vector<double> &shares, const std::string &description) {
    const double most = std::max(*std::max_element(shares.begin(), shares.end()), 1.0) * 1.05;
    const Area area = {0, -most, (double)shares.size(), most};
    std::string content = Described("histogram", "Frames by the margin used", description), ticks;
    for (size_t i = 0; i < shares.size(); i++)
        content += "<rect x=\"" + NumberText((double)i + 0.08, 2) + "\" y=\"" +
                   NumberText(-shares[i], 2) + "\" width=\"0.84\" height=\"" +
                   NumberText(shares[i], 2) + "\"/>";
    for (int part = 0; part <= 10; part += 2)
        ticks += Tick("x", part / 10.0, std::to_string(10 * part) + " %");
    return "<figure class=\"chart\"><figcaption>Share of the frames, <span "
           "class=\"unit\">percent</span>"
           ", by the part of the margin used</figcaption>\n<div class=\"plot\">" +
           ticks + ValueTicks(area, false, 5) + SvgOf(area, ImageRole("histogram"), content) +
           "</div></figure>\n";
}

std::string DrawSpectrum(const std::vector<ShakeBand> &bands, const std::string &description) {
    double least = kInfinite, most = -kInfinite;
    std::string before = "M", after = "M", ticks;
    for (const ShakeBand &band : bands) {
        least = std::min({least, Logarithm(band.before), Logarithm(band.after)});
        most = std::max({most, Logarithm(band.before), Logarithm(band.after)});
        const std::string at = NumberText(log10(band.hertz), 4) + " ";
        before += at + NumberText(-Logarithm(band.before), 3) + " ";
        after += at + NumberText(-Logarithm(band.after), 3) + " ";
    }
    const double left = log10(bands.front().hertz), width = log10(bands.back().hertz) - left;
    const double span = std::max(most - least, 1.0) * 1.08;
    const Area area = {left, -(least + most + span) / 2, width, span};
    for (int power = -4; power <= 5; power++) {
        for (int digit : {1, 2, 5}) {
            const double at = power + log10(digit), x = (at - left) / width,
                         y = (-at - area.top) / span;
            const std::string label = NumberText(digit * pow(10, power), 4);
            if (x >= 0 && x <= 1) ticks += Tick("x", x, label + " Hz");
            if (y >= 0 && y <= 1 && (digit == 1 || span < 1.5)) ticks += Tick("y", y, label);
        }
    }
    const std::string content = Described("spectrum", "Shake by frequency", description) +
                                "<path class=\"before\" d=" + Quoted(before) +
                                "/><path class=\"after\" d=" + Quoted(after) + "/>";
    return "<figure class=\"chart\"><figcaption>Shake in each third of an octave, <span "
           "class=\"unit\">pixels, root mean square" +
           std::string(least > Logarithm(0) ? "" : "; 0.001 stands for less, too") +
           "</span></figcaption>\n<div class=\"plot\">" + ticks +
           SvgOf(area, ImageRole("spectrum"), content) + "</div></figure>\n";
}
