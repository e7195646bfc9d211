// SPDX-License-Identifier: BSD-2-Clause
#include <math.h>
#include <stdio.h>

#include <algorithm>

#include "stabilize/report.h"
#include "stabilize/report_charts.h"
#include "stabilize/report_look.h"

namespace {

const double kAtLimit = 95; // percent of the margin: from there on it is as good as used up

std::string Escaped(const std::string &text) {
    std::string result;
    for (char c : ValidText(text)) {
        if (c == '&')
            result += "&amp;";
        else if (c == '<')
            result += "&lt;";
        else if (c == '>')
            result += "&gt;";
        else if (c == '"')
            result += "&quot;";
        else
            result += (unsigned char)c < ' ' ? ' ' : c;
    }
    return result;
}

// Without its folders.
std::string FileName(const std::string &path) {
    const size_t slash = path.rfind('/');
    const bool within = slash != path.npos && slash + 1 < path.size();
    return Escaped(within ? path.substr(slash + 1) : path);
}

std::string PercentText(double percent) {
    const bool fine = (percent > 0 && percent < 10) || (percent > 99 && percent < 100);
    return NumberText(percent, fine ? 1 : 0) + "\xc2\xa0%";
}

std::string Paragraph(const std::string &text) { return "<p>" + text + "</p>\n"; }

std::string Small(const std::string &unit) { return "<small>" + unit + "</small>"; }

std::string FromTo(double before, double after, const std::string &unit) {
    char text[120];
    snprintf(text, sizeof(text), "%.2f \xe2\x86\x92 <b>%.2f</b> ", before, after);
    return text + Small(unit);
}

std::string Number(const char *name, const std::string &value, const std::string &sentence) {
    return "<div><dt>" + std::string(name) + "</dt><dd class=\"value\">" + value + "</dd><dd>" +
           sentence + "</dd></div>\n";
}

std::string TakenOut(double before, double after) {
    const double leastTold = 0.05; // pixels, or milliradians: nothing to see
    if (before < leastTold) return "There was next to none.";
    const double left = 100 * after / before;
    if (left >= 100) return "As much is left, or more.";
    return PercentText(100 - left) + " was taken out.";
}

// Everything on the page is made out of these.
struct Page {
    const ReportFacts &facts;
    const Summary &summary;
    const Doubts &doubts;
    ReportPath path;
    std::vector<bool> doubtful;
};

std::string Bar(const char *name, const char *look, double value, double most) {
    return std::string("<b>") + name + "</b><span><i class=\"" + look +
           "\" style=\"width:" + NumberText(70 * value / most, 2) + "%\"></i>" + NumberText(value, 2) +
           " pixels</span>\n";
}

std::string Verdict(const Page &page) {
    const ReportPath &path = page.path;
    if (!path.known)
        return Paragraph("The shake is not known: no motion was measured in a scene of 1.2 seconds.");
    const double before = path.shakeBefore.pixels, after = path.shakeAfter.pixels;
    return "<p class=\"verdict\">Shake above 1 Hz: " + TakenOut(before, after) +
           "</p>\n<div class=\"bars\">" +
           Bar("Before", "before", before, std::max({before, after, 1e-9})) +
           Bar("After", "after", after, std::max({before, after, 1e-9})) + "</div>\n";
}

std::string Header(const Page &page) {
    const Summary &summary = page.summary;
    std::string text = "<header>\n<p class=\"soft\">Stabilization report</p>\n<h1>" +
                       FileName(summary.input) + "</h1>\n" + Verdict(page);
    if (!summary.fault.empty())
        text += "<p class=\"alert\">The run ended with an error: " + Escaped(summary.fault) + "</p>\n";
    if (summary.interrupted)
        text += "<p class=\"alert\">The run was interrupted: the page tells of what was done.</p>\n";
    return text + "</header>\n";
}

double ShareAtLimit(const std::vector<double> &margin) {
    const auto count =
        std::count_if(margin.begin(), margin.end(), [](double used) { return used >= kAtLimit; });
    return 100 * (double)count / (double)margin.size();
}

std::string ShakeNumbers(const Page &page) {
    const ReportPath &path = page.path;
    const std::string unknown = "Not known: no motion was measured in a scene of 1.2 seconds.";
    const FastShake &before = path.shakeBefore, &after = path.shakeAfter;
    std::string text;
    text += Number("Shake above 1 Hz",
                   path.known ? FromTo(before.pixels, after.pixels, "px") : "\xe2\x80\x93",
                   path.known ? "Pixels, root mean square, rows and columns together. " +
                                    TakenOut(before.pixels, after.pixels)
                              : unknown);
    text +=
        Number("Roll above 1 Hz",
               path.known ? FromTo(before.milliradians, after.milliradians, "mrad") : "\xe2\x80\x93",
               !path.known ? unknown
               : page.facts.rollKept
                   ? "It is left as it is, as asked for."
                   : "17.5 mrad are one degree. " + TakenOut(before.milliradians, after.milliradians));
    return text;
}

std::string Numbers(const Page &page) {
    const Summary &summary = page.summary;
    const int64_t frames = summary.Frames(), unmeasured = frames - summary.FramesMeasured();
    const int64_t scenes = summary.Resets() + 1;
    const double seconds = std::max(summary.seconds, 1e-3), length = page.facts.videoSeconds;
    const double shown = page.facts.margins.halfWidth * 2;
    const double width = std::max(shown + 2 * page.facts.margins.column, 1.0);
    std::string text = "<section aria-labelledby=\"numbers\"><h2 id=\"numbers\">Numbers</h2>\n"
                       "<dl class=\"numbers\">\n" +
                       ShakeNumbers(page);
    text += Number(
        "From frame to frame", FromTo(summary.Measured().pixels, summary.Left().pixels, "px"),
        "Pixels, root mean square of the motion since the frame before: shake and wanted movements.");
    text += Number("Visible part", NumberText(100 * shown / width, 1) + " %",
                   "Of each side of the input. The rest is the margin in which the view moves.");
    text += Number("At the limit", PercentText(ShareAtLimit(page.path.margin)),
                   "Of the frames use 95 % of their margin or more: there, shake may be left.");
    text +=
        Number("Scenes", std::to_string(scenes),
               scenes == 1 ? "No cut was found." : "Each starts the path anew; the charts mark where.");
    text += Number("Frames not measured", std::to_string(unmeasured - scenes),
                   "Of " + std::to_string(frames) +
                       ", without the first of each scene. They count as no motion.");
    text += Number("Speed", NumberText((double)frames / seconds, 1) + " frames/s",
                   NumberText(length / seconds, length < 10 * seconds ? 2 : 0) +
                       " times the speed of the clip, for the whole run.");
    return text + "</dl></section>\n";
}

const char kLineKeys[] = R"html(<ul class="keys">
<li><svg viewBox="0 0 32 14" aria-hidden="true"><path class="before" d="M1 8L9 5L16 10L24 4L31 8"/></svg>before, thin</li>
<li><svg viewBox="0 0 32 14" aria-hidden="true"><path class="after" d="M1 7H31"/></svg>after, thick</li>
)html";
const char kMarkKeys[] =
    R"html(<li><svg viewBox="0 0 32 14" aria-hidden="true"><path class="scene" d="M16 0V14"/></svg>a scene starts (a tick at the top where there are many)</li>
<li><svg viewBox="0 0 32 14" aria-hidden="true"><path class="doubt" d="M12 9V14M16 9V14M20 9V14"/></svg>not measured, or in doubt</li>
</ul>
<p class="help soft" hidden>Drag over a part to zoom in. With a chart clicked or focused, the wheel and + and &minus; zoom,
the arrows move, 0 or a double click shows the whole clip.</p>
<div class="tools" role="group" aria-label="Zoom of the charts over time" hidden></div>
)html";

std::string PathCharts(const Page &page, const TimeAxis &axis) {
    const PathValues &before = page.path.before, &after = page.path.after;
    auto chart = [&](const char *name, const char *title, const char *unit, const char *about,
                     std::vector<double> PathValues::*values, bool downwards) {
        return DrawTimeChart({name,
                              title,
                              unit,
                              about,
                              {{"before", &(before.*values)}, {"after", &(after.*values)}},
                              1,
                              downwards,
                              false},
                             axis);
    };
    return "<section aria-labelledby=\"path\"><h2 id=\"path\">The path of the camera</h2>\n" +
           Paragraph(
               "Where the camera pointed, as measured and as the output shows it, in pixels of the "
               "input. Wanted movements stay, shake goes.") +
           kLineKeys + kMarkKeys +
           chart("column", "Sideways (columns), right is up", "pixels",
                 "The sideways path of the camera before and after, over the time", &PathValues::column,
                 false) +
           chart("row", "Vertical (rows), down is down", "pixels",
                 "The path of the camera up and down, before and after, over the time",
                 &PathValues::row, true) +
           "</section>\n<section aria-labelledby=\"roll\"><h2 id=\"roll\">Roll</h2>\n" +
           Paragraph("How the camera turned about its line of sight. 17.5 mrad are one degree.") +
           chart("turn", "Roll, clockwise is up", "mrad",
                 "The roll of the camera before and after, over the time", &PathValues::roll, false) +
           "</section>\n";
}

std::string MarginCharts(const Page &page, const TimeAxis &axis) {
    const std::vector<double> &used = page.path.margin;
    const double each = 100.0 / (double)used.size();
    std::vector<double> shares(10);
    double mean = 0;
    const double limit = ShareAtLimit(used);
    for (double value : used) {
        shares[std::min((size_t)(value / 10), shares.size() - 1)] += each;
        mean += value / (double)used.size();
    }
    std::string listed;
    for (size_t i = 0; i < shares.size(); i++)
        listed += (i > 0 ? ", " : "") + std::to_string(10 * i) + " to " + std::to_string(10 * i + 10) +
                  " %: " + PercentText(shares[i]);
    TimeChart chart = {"margin",           "Margin used", "percent", "The margin used over the time",
                       {{"after", &used}}, 100,           false,     true};
    const std::string advice = limit > 5 ? " A smaller --window leaves more room." : "";
    return "<section aria-labelledby=\"room\"><h2 id=\"room\">Room in the margin</h2>\n" +
           Paragraph("The view uses " + PercentText(mean) +
                     " of its margin on average, and is at the limit in " + PercentText(limit) +
                     " of the frames." + (page.facts.standardPath ? "" : advice)) +
           DrawTimeChart(chart, axis) + DrawHistogram(shares, "Shares of the frames. " + listed) +
           "</section>\n";
}

std::string Spectrum(const Page &page) {
    std::string text =
        "<section aria-labelledby=\"shake\"><h2 id=\"shake\">Spectrum of the shake</h2>\n";
    const std::vector<ShakeBand> bands = ShakeSpectrum(page.path, page.facts.framesPerSecond);
    const ShakeBand *strongest = nullptr;
    for (const ShakeBand &band : bands)
        if (band.hertz >= 1 && (!strongest || band.before > strongest->before)) strongest = &band;
    if (!strongest)
        return text + Paragraph("Every scene is too short to tell, or has too few frames a second.") +
               "</section>\n";
    const std::string sentence = "Above 1 Hz, the shake is strongest near " +
                                 NumberText(strongest->hertz, strongest->hertz < 10 ? 1 : 0) +
                                 " Hz: " + NumberText(strongest->before, 2) + " pixels before, " +
                                 NumberText(strongest->after, 2) + " after.";
    return text + Paragraph(sentence) + kLineKeys + "</ul>\n" + DrawSpectrum(bands, sentence) +
           "</section>\n";
}

std::string DoubtText(Doubt kind, bool standard) {
    if (kind == Doubt::NewScene)
        return standard ? "no motion found, the path starts anew" : "a new scene starts";
    if (kind == Doubt::Held) return "it may be a flash";
    if (kind == Doubt::NotMeasured) return "not measured: dark, plain, or a flash";
    return "in doubt, few parts match";
}

std::string Picture(const Thumbnail &picture, const char *label, int64_t frame) {
    return "<span><img src=\"" + picture.url + "\" width=\"" + std::to_string(picture.size.width) +
           "\" height=\"" + std::to_string(picture.size.height) + "\" alt=\"" + label + " frame " +
           std::to_string(frame) + "\">" + label + "</span>";
}

std::string FoundText(const DoubtfulFrames &found, bool standard) {
    const std::string first = std::to_string(found.first), kind = DoubtText(found.kind, standard);
    std::string text = "<p><b>" + ClockText(found.seconds) + "</b>, frame";
    text += found.last > found.first ? "s " + first + " to " + std::to_string(found.last) : " " + first;
    text += ": " + kind;
    if (found.blocksValid > 0)
        text += "; " + std::to_string(found.blocksKept) + " of " + std::to_string(found.blocksValid) +
                " parts match";
    return text + "</p>";
}

std::string Frames(const Page &page) {
    const std::vector<DoubtfulFrames> chosen = page.doubts.Chosen();
    std::string text =
        "<section aria-labelledby=\"frames\"><h2 id=\"frames\">Cuts and frames in doubt</h2>\n";
    if (chosen.empty()) return text + Paragraph("There are none.") + "</section>\n";
    if (chosen.size() < page.doubts.Count())
        text += Paragraph(std::to_string(chosen.size()) + " of " + std::to_string(page.doubts.Count()) +
                          " are shown, evenly chosen. --trace lists every frame.");
    text += "<ol class=\"frames\">\n";
    for (const DoubtfulFrames &found : chosen)
        text += "<li><div class=\"pair\">" + Picture(found.before, "input", found.first) +
                Picture(found.after, "output", found.first) + "</div>" +
                FoundText(found, page.facts.standardPath) + "</li>\n";
    return text + "</ol></section>\n";
}

std::string Table(const char *caption, const std::vector<ReportRow> &rows) {
    std::string text = "<table><caption>" + std::string(caption) + "</caption><tbody>\n";
    for (const ReportRow &row : rows)
        text +=
            "<tr><th scope=\"row\">" + row.first + "</th><td>" + Escaped(row.second) + "</td></tr>\n";
    return text + "</tbody></table>\n";
}

std::string Tables(const Page &page) {
    std::string notes;
    for (const std::string &note : page.summary.notes) notes += "<li>" + Escaped(note) + "</li>\n";
    if (!notes.empty()) notes = "<h3>Notes</h3><ul>\n" + notes + "</ul>\n";
    return "<section aria-labelledby=\"run\"><h2 id=\"run\">Input, output and settings</h2>\n"
           "<div class=\"tables\">" +
           Table("Input", page.facts.input) + Table("Output", page.facts.output) +
           Table("Settings", page.facts.settings) + "</div>\n" + notes + "</section>\n";
}

} // namespace

std::string MakeReportPage(const ReportFacts &facts, const Summary &summary,
                           const std::vector<MotionRecord> &records, const Doubts &doubts) {
    Page page = {facts, summary, doubts, FollowPath(records, facts.framesPerSecond, facts.margins), {}};
    for (const MotionRecord &record : records) {
        const Doubt kind = DoubtOf(record);
        page.doubtful.push_back(kind != Doubt::None && kind != Doubt::NewScene);
    }
    const TimeAxis axis = {page.path.seconds, page.path.starts, page.doubtful};
    return "<!DOCTYPE html>\n<html lang=\"en\">\n<head><meta charset=\"utf-8\">\n"
           "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>" +
           FileName(summary.input) + ": stabilization report</title>\n<style>" + kReportStyle +
           "</style>\n</head>\n<body>\n" + Header(page) + "<main>\n" + Numbers(page) +
           PathCharts(page, axis) + MarginCharts(page, axis) + Spectrum(page) + Frames(page) +
           Tables(page) +
           "</main>\n<footer><p>Made by quorvel-stabilize. The page needs no "
           "network and no other file.</p></footer>\n<script>" +
           kReportScript + "</script>\n</body>\n</html>\n";
}
