// What `qbflv check` says about one file, as text and as JSON.
#include "cli/file_report.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <string_view>
#include <utility>

#include "cli/file_summary.h"
#include "cli/format_time.h"
#include "cli/output.h"

namespace qbflv::cli {

namespace {

using Json = nlohmann::ordered_json;

/// Returns " at byte 13, 0:01.0", the part of it that is known, or an empty text.
std::string Place(const Finding& finding) {
  std::string place;
  if (finding.offset) place = fmt::format(" at byte {}", *finding.offset);
  if (finding.time) place += fmt::format("{} {}", place.empty() ? " at" : ",", FormatTime(*finding.time));
  return place;
}

/// Returns "2 errors, 1 warning: garbage, empty-tag", or "no findings".
std::string FindingsLine(const std::vector<Finding>& findings) {
  if (findings.empty()) return "no findings";
  std::map<Severity, int> counts;
  std::vector<std::string_view> names;
  for (const Finding& finding : findings) {
    ++counts[finding.severity];
    names.push_back(finding.name);
  }
  std::vector<std::string> numbers;
  numbers.reserve(counts.size());
  for (const auto& [severity, count] : counts) {
    numbers.push_back(fmt::format("{} {}{}", count, SeverityName(severity), count == 1 ? "" : "s"));
  }
  return fmt::format("{}: {}", fmt::join(numbers, ", "), fmt::join(names, ", "));
}

Json FindingAsJson(const Finding& finding) {
  Json json{{"name", finding.name},     {"severity", SeverityName(finding.severity)},
            {"what", finding.what},     {"consequence", finding.consequence},
            {"remedy", finding.remedy}, {"count", finding.count}};
  if (finding.offset) json["offset"] = *finding.offset;
  if (finding.time) json["time"] = *finding.time;
  return json;
}

}  // namespace

std::string ReportLine(const FileReport& report) {
  std::string line = fmt::format("{}: {}", Printable(report.path.string()), FindingsLine(report.findings));
  if (report.bare && report.bare->Missing() > 0) {
    line += fmt::format("; a plain host misses {} of {} packets", report.bare->Missing(), report.bare->Tags());
  }
  return line;
}

std::vector<std::string> ReportLines(const FileReport& report, bool withMetadata) {
  std::vector<std::string> lines;
  const auto addParagraph = [&](std::vector<std::string> paragraph) {
    std::ranges::move(paragraph, std::back_inserter(lines));
    lines.emplace_back();
  };
  if (report.facts->isFlv) addParagraph(SummaryLines(*report.facts));
  if (withMetadata && report.facts->metadata) addParagraph(MetadataLines(*report.facts->metadata));
  if (report.bare) addParagraph(BarePlayLines(*report.bare));
  if (report.findings.empty()) lines.emplace_back("No findings");
  for (const Finding& finding : report.findings) {
    lines.push_back(fmt::format("{:7}  {}{}", SeverityName(finding.severity), finding.name, Place(finding)));
    lines.push_back(fmt::format("         {}: {}", finding.what, finding.consequence));
    if (!finding.remedy.empty()) lines.push_back(fmt::format("         remedy: {}", finding.remedy));
  }
  return lines;
}

Json ReportAsJson(const FileReport& report) {
  Json findings = Json::array();
  for (const Finding& finding : report.findings) findings.push_back(FindingAsJson(finding));
  Json json{{"file", report.path.string()},
            {"size", report.facts->fileSize},
            {"audio", AudioAsJson(report.facts->audio)},
            {"video", VideoAsJson(report.facts->video)},
            {"findings", std::move(findings)}};
  if (report.bare) json["plain_host"] = BarePlayAsJson(*report.bare);
  return json;
}

}  // namespace qbflv::cli
