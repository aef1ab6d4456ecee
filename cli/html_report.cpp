// The report of `qbflv check --html`: one self-contained page.
#include "cli/html_report.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <limits>

#include "cli/format_time.h"
#include "cli/output.h"

namespace qbflv::cli {

namespace {

// The page stretches plots to its width. Their labels are outside the SVG, so that they keep their size on a phone.
constexpr double kWidth = 1000;
constexpr double kHeight = 200;

constexpr char kStyle[] = R"(
:root { color-scheme: light dark; --ink: #1c2330; --soft: #5c6675; --rule: #d9dee6; --page: #ffffff; --panel: #f5f7fa;
  --one: #1f6feb; --two: #b35900; --error: #b42318; --warning: #8a5a00; --note: #475467; }
@media (prefers-color-scheme: dark) { :root { --ink: #e6e9ef; --soft: #a3adbb; --rule: #353d49; --page: #14181e;
  --panel: #1c222b; --one: #6ea8fe; --two: #ffb266; --error: #ff8a80; --warning: #f5c453; --note: #b6c0cd; } }
* { box-sizing: border-box; }
body { margin: 0 auto; padding: 1.5rem 1rem 4rem; max-width: 60rem; background: var(--page); color: var(--ink);
  font: 1rem/1.5 system-ui, sans-serif; }
h1 { font-size: 1.4rem; margin: 0 0 1rem; overflow-wrap: anywhere; }
h2 { font-size: 1.1rem; margin: 2.5rem 0 0.75rem; }
pre { margin: 0; padding: 0.75rem 1rem; background: var(--panel); border-radius: 0.5rem; white-space: pre-wrap;
  overflow-wrap: anywhere; font: 0.85rem/1.6 ui-monospace, monospace; }
ol { list-style: none; margin: 0; padding: 0; }
li { padding: 0.75rem 0; border-top: 1px solid var(--rule); }
li p { margin: 0.2rem 0 0; color: var(--soft); overflow-wrap: anywhere; }
li code, li .place { font-size: 0.85rem; }
.place { color: var(--soft); }
.error { color: var(--error); } .warning { color: var(--warning); } .note { color: var(--note); }
figure { margin: 0 0 2rem; }
figcaption { margin-bottom: 0.5rem; }
.key { white-space: nowrap; margin-left: 1rem; font-size: 0.85rem; color: var(--soft); }
.key::before { content: ""; display: inline-block; width: 1rem; height: 0.2rem; margin: 0 0.4rem 0.2rem 0;
  background: currentColor; vertical-align: middle; }
.key.error { color: var(--error); }
.plot { display: grid; grid-template-columns: 4.5rem 1fr; gap: 0 0.5rem; }
.plot svg { display: block; width: 100%; height: 9rem; background: var(--panel); border-radius: 0.25rem; }
.plot .y, .plot .x { display: flex; justify-content: space-between; font-size: 0.75rem; color: var(--soft); }
.plot .y { flex-direction: column; text-align: right; margin: -0.55rem 0; }
.plot .x { grid-column: 2; }
.plot path { fill: none; stroke-width: 1.75; vector-effect: non-scaling-stroke; }
.plot line { stroke: var(--rule); vector-effect: non-scaling-stroke; }
.plot line.mark { stroke: var(--error); stroke-dasharray: 3 3; }
.one { color: var(--one); stroke: var(--one); } .two { color: var(--two); stroke: var(--two); }
)";

std::string Escaped(std::string_view text) {
  std::string escaped;
  for (const char c : Printable(text)) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

struct Point {
  /// Position in the plot, from 0 to 1; y points upwards.
  double x;
  double y;
};

struct Curve {
  const char* name;
  const char* style;
  std::vector<Point> points;
};

std::string Path(const Curve& curve) {
  std::string path;
  for (const Point& point : curve.points) {
    path += fmt::format("{}{:.1f} {:.1f}", path.empty() ? "M" : "L", point.x * kWidth, (1 - point.y) * kHeight);
  }
  return fmt::format("<path class=\"{}\" d=\"{}\"/>\n", curve.style, path);
}

struct Plot {
  std::string title;
  /// Labels of the vertical axis, from top to bottom, at equal distances.
  std::vector<std::string> levels;
  std::vector<Curve> curves;
};

std::string Format(const Plot& plot, const TimeLine& line) {
  std::string html = fmt::format("<figure><figcaption>{}", plot.title);
  for (const Curve& curve : plot.curves) {
    if (plot.curves.size() > 1) html += fmt::format("<span class=\"key {}\">{}</span>", curve.style, curve.name);
  }
  if (!line.marks.empty()) html += "<span class=\"key error\">finding</span>";
  html += "</figcaption>\n<div class=\"plot\"><div class=\"y\">";
  for (const std::string& level : plot.levels) html += fmt::format("<span>{}</span>", level);
  html +=
      fmt::format("</div>\n<svg viewBox=\"0 0 {} {}\" preserveAspectRatio=\"none\" role=\"img\" aria-label=\"{}\">\n",
                  kWidth, kHeight, plot.title);
  for (std::size_t i = 1; i + 1 < plot.levels.size(); ++i) {
    const double y = kHeight * static_cast<double>(i) / static_cast<double>(plot.levels.size() - 1);
    html += fmt::format("<line x1=\"0\" x2=\"{}\" y1=\"{:.1f}\" y2=\"{:.1f}\"/>\n", kWidth, y, y);
  }
  for (const TimeLine::Mark& mark : line.marks) {
    const double x = kWidth * mark.time / std::max(1U, line.length);
    html += fmt::format(
        "<line class=\"mark\" x1=\"{:.1f}\" x2=\"{:.1f}\" y1=\"0\" y2=\"{}\"><title>{} at {}</title></line>\n", x, x,
        kHeight, mark.name, FormatTime(mark.time));
  }
  for (const Curve& curve : plot.curves) html += Path(curve);
  return html +
         fmt::format("</svg>\n<div class=\"x\"><span>0</span><span>{}</span><span>{}</span></div></div></figure>\n",
                     FormatTime(line.length / 2), FormatTime(line.length));
}

/// Returns the smallest of 1, 2, 5, 10, 20 … that is not less than the value.
double RoundUp(double value) {
  if (value <= 0) return 1;
  const double decade = std::pow(10, std::floor(std::log10(value)));
  for (const double step : {1.0, 2.0, 5.0}) {
    if (value <= step * decade) return step * decade;
  }
  return 10 * decade;
}

/// Returns a curve with one step for each part of the time line. The vertical axis extends from min to max.
Curve Steps(const char* name, const char* style, const TimeLine& line, double min, double max,
            const std::function<double(const TimeLine::Part&)>& value) {
  Curve curve{name, style, {}};
  const double whole = std::max(1U, line.length);
  for (std::size_t i = 0; i < line.parts.size(); ++i) {
    const double y = (value(line.parts[i]) - min) / (max - min);
    for (const double x : {line.Begin(i) / whole, line.End(i) / whole}) curve.points.push_back({x, y});
  }
  return curve;
}

/// Returns the greatest absolute value of all parts.
double Max(const TimeLine& line, const std::function<double(const TimeLine::Part&)>& value) {
  double max = 0;
  for (const TimeLine::Part& part : line.parts) max = std::max(max, std::abs(value(part)));
  return max;
}

Plot BitRates(const TimeLine& line) {
  const auto rate = [&](const TimeLine::Part& part, std::uint64_t bytes) {
    const auto number = static_cast<std::size_t>(&part - line.parts.data());
    return static_cast<double>(bytes) * 8 / std::max(1U, line.End(number) - line.Begin(number));
  };
  const auto audio = [=](const TimeLine::Part& part) { return rate(part, part.audioBytes); };
  const auto video = [=](const TimeLine::Part& part) { return rate(part, part.videoBytes); };
  const double max = RoundUp(std::max(Max(line, audio), Max(line, video)));
  return {"Bit rate",
          {fmt::format("{:g} kb/s", max), fmt::format("{:g}", max / 2), "0"},
          {Steps("audio", "two", line, 0, max, audio), Steps("video", "one", line, 0, max, video)}};
}

Plot KeyIntervals(const TimeLine& line) {
  const auto interval = [](const TimeLine::Part& part) { return part.keyInterval / 1000.0; };
  const double max = RoundUp(Max(line, interval));
  return {"Interval between key frames",
          {fmt::format("{:g} s", max), fmt::format("{:g}", max / 2), "0"},
          {Steps("", "one", line, 0, max, interval)}};
}

Plot Interleaving(const TimeLine& line) {
  const auto ahead = [](const TimeLine::Part& part) { return part.audioAhead / 1000.0; };
  const double max = RoundUp(Max(line, ahead));
  return {"Interleaving of the streams in the file: audio ahead of video (above 0) or behind it (below 0)",
          {fmt::format("{:g} s", max), "0", fmt::format("−{:g} s", max)},
          {Steps("", "one", line, -max, max, ahead)}};
}

/// The vertical axis is logarithmic: a seek takes a few reads in a repaired file, and up to two reads per tag
/// otherwise.
Plot SeekCosts(const HtmlReport& report) {
  std::uint64_t max = 10;
  bool isBareKnown = false;
  for (const SeekCost& cost : report.seeks) {
    max = std::max({max, cost.bare, cost.repaired});
    isBareKnown = isBareKnown || cost.bare > 0;
  }
  const int decades = static_cast<int>(std::ceil(std::log10(static_cast<double>(max))));
  Plot plot{"Reads of a first seek, by target time", {}, {}};
  for (int decade = decades; decade >= 0; --decade) plot.levels.push_back(fmt::format("{:.0f}", std::pow(10, decade)));
  const auto curve = [&](const char* name, const char* style, std::uint64_t SeekCost::*reads) {
    Curve made{name, style, {}};
    for (const SeekCost& cost : report.seeks) {
      const double x = static_cast<double>(cost.time) / std::max(1U, report.timeLine.length);
      made.points.push_back({x, std::log10(static_cast<double>(std::max<std::uint64_t>(cost.*reads, 1))) / decades});
    }
    plot.curves.push_back(std::move(made));
  };
  curve("repaired", "one", &SeekCost::repaired);
  if (isBareKnown) curve("bare", "two", &SeekCost::bare);
  if (!isBareKnown) plot.title += " in the repaired file (a plain host cannot open the bare one)";
  return plot;
}

std::string FormatFindings(const std::vector<Finding>& findings) {
  if (findings.empty()) return "<p>No findings</p>\n";
  std::string html = "<ol>\n";
  for (const Finding& finding : findings) {
    const std::string_view severity = SeverityName(finding.severity);
    html += fmt::format("<li><strong class=\"{}\">{}</strong> <code>{}</code>", severity, severity, finding.name);
    if (finding.offset) html += fmt::format(" <span class=\"place\">byte {}</span>", *finding.offset);
    if (finding.time) html += fmt::format(" <span class=\"place\">{}</span>", FormatTime(*finding.time));
    html += fmt::format("<p>{}: {}</p>", Escaped(finding.what), Escaped(finding.consequence));
    if (!finding.remedy.empty()) html += fmt::format("<p>Remedy: <code>{}</code></p>", Escaped(finding.remedy));
    html += "</li>\n";
  }
  return html + "</ol>\n";
}

std::string FormatLines(const std::vector<std::string>& lines) {
  std::string html = "<pre>";
  for (const std::string& line : lines) html += Escaped(line) + "\n";
  return html + "</pre>\n";
}

}  // namespace

std::string FormatHtml(const HtmlReport& report) {
  const TimeLine& line = report.timeLine;
  std::string html = fmt::format(
      "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">\n<meta name=\"viewport\" "
      "content=\"width=device-width, initial-scale=1\">\n<title>{0}</title>\n<style>{1}</style></head>\n<body>\n"
      "<h1>{0}</h1>\n",
      Escaped(report.file), kStyle);
  html += FormatLines(report.summary) + "<h2>Findings</h2>\n" + FormatFindings(report.findings);
  html += "<h2>Over time</h2>\n" + Format(BitRates(line), line);
  const bool hasKeyFrames = Max(line, [](const TimeLine::Part& part) { return part.keyInterval; }) > 0;
  if (hasKeyFrames) html += Format(KeyIntervals(line), line);
  const bool hasBothStreams = Max(line, [](const TimeLine::Part& part) { return part.audioAhead; }) > 0;
  if (hasBothStreams) html += Format(Interleaving(line), line);
  html += Format(SeekCosts(report), line);
  html += "<h2>Played by a plain host, without repair</h2>\n" + FormatLines(report.plainHost);
  return html + "</body></html>\n";
}

}  // namespace qbflv::cli
