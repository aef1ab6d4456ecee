// `qbflv check`: what is in FLV files, and what is wrong with them.
#include "cli/check_command.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>

#include "cli/file_kind.h"
#include "cli/file_summary.h"
#include "cli/html_report.h"
#include "cli/interrupt.h"
#include "cli/play_view.h"
#include "cli/plugin_location.h"
#include "cli/temporary_file.h"
#include "cli/time_line.h"
#include "flv/scan.h"
#include "host/file_url.h"
#include "host/host_error.h"
#include "host/open_file.h"

namespace qbflv::cli {

namespace {

using Json = nlohmann::ordered_json;

std::string Place(const Finding& finding) {
  std::string place;
  if (finding.offset) place = fmt::format(" at byte {}", *finding.offset);
  if (finding.time) place += fmt::format("{} {}", place.empty() ? " at" : ",", PlayTimeText(*finding.time));
  return place;
}

Json FindingAsJson(const Finding& finding) {
  Json json{{"name", finding.name},     {"severity", SeverityName(finding.severity)},
            {"what", finding.what},     {"consequence", finding.consequence},
            {"remedy", finding.remedy}, {"count", finding.count}};
  if (finding.offset) json["offset"] = *finding.offset;
  if (finding.time) json["time"] = *finding.time;
  return json;
}

/// "2 errors, 1 warning: garbage, empty-tag", or "no findings".
std::string OneLine(const std::vector<Finding>& findings) {
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

/// "; a plain host misses 2 of 500 packets", or nothing.
std::string MissingPackets(const BarePlay& play) {
  if (play.Missing() == 0) return {};
  return fmt::format("; a plain host misses {} of {} packets", play.Missing(), play.Tags());
}

/// 0 if it is unknown.
std::uint64_t SizeOf(const std::filesystem::path& path) {
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(path, error);
  return error ? 0 : size;
}

}  // namespace

CheckCommand::CheckCommand(CLI::App& app)
    : Command(app, "check", "Show what is in FLV files and what is wrong with them.") {
  Parser().add_option("FILE", m_paths, "The FLV files to read, or folders with -r")->required()->type_name("");
  Parser().add_flag("-r,--recursive", m_recursive, "Check every .flv file in the folders and their subfolders");
  Parser()
      .add_option_function<std::string>(
          "--only",
          [this](const std::string& word) {
            m_least = word == "error" ? Severity::kError : word == "warning" ? Severity::kWarning : Severity::kNote;
          },
          "Leave out findings that are less serious (default: note)")
      ->type_name("error|warning|note")
      ->check(CLI::IsMember({"error", "warning", "note"}).description(""));
  Parser().add_flag("--metadata", m_metadata, "Also print the metadata");
  Parser().add_flag_callback(
      "--no-play", [this] { m_plays = false; }, "Do not load the plug-in to see what a plain host gets of the file");
  Parser().add_option("--plugin", m_plugin, "The plug-in (default: the one beside this command, or the installed one)")
      ->type_name("PATH");
  Parser().add_option("--html", m_html, "Also write a page with plots, of one FILE")
      ->type_name("REPORT.html")
      ->excludes("--no-play")
      ->excludes("--recursive");
  Parser().parse_complete_callback([this] {
    if (!m_html.empty() && m_paths.size() != 1) throw CLI::ValidationError("--html", "takes one FILE");
  });
  Parser().add_flag("--json", m_json, "Print one JSON object a file, each on a line");
  Parser().footer(
      "Exit status: 0 no findings, 1 findings, 2 wrong usage, 3 a file cannot be read.\n"
      "Of several files each gets one line.\n\nExample:\n  qbflv check -r --only warning films");
}

std::vector<std::filesystem::path> CheckCommand::Files() const {
  namespace fs = std::filesystem;
  std::vector<fs::path> files;
  for (const fs::path& path : m_paths) {
    std::error_code error;
    if (!m_recursive || !fs::is_directory(path, error)) {
      files.push_back(path);
      continue;
    }
    std::vector<fs::path> found;
    for (fs::recursive_directory_iterator it(path, fs::directory_options::skip_permission_denied, error), end;
         !error && it != end; it.increment(error)) {
      std::error_code ignored;
      if (it->path().extension() == ".flv" && it->is_regular_file(ignored)) found.push_back(it->path());
    }
    std::ranges::sort(found);
    files.insert(files.end(), found.begin(), found.end());
  }
  return files;
}

int CheckCommand::Run() {
  CatchInterrupts();
  if (m_plays && m_plugin.empty()) m_plugin = FindPlugin();
  const std::vector<std::filesystem::path> files = Files();
  const bool isAlone = files.size() == 1 && !m_recursive;
  for (const std::filesystem::path& file : files) m_total += SizeOf(file);
  Output output;
  int status = kSuccess;
  for (const std::filesystem::path& file : files) {
    ThrowIfInterrupted();
    const Verdict verdict = Check(file, isAlone, output);
    m_done += SizeOf(file);
    switch (verdict) {
      case Verdict::kClean:
        break;
      case Verdict::kFindings:
        status = std::max(status, kHasFindings);
        break;
      case Verdict::kUnreadable:
        status = kUnreadable;
    }
  }
  m_progress.Clear();
  output.Flush();
  return status;
}

std::shared_ptr<const flv::FileFacts> CheckCommand::Scan(const flv::ByteSource& file) {
  const flv::ScanOptions options{.onProgress = [&](std::uint64_t done, std::uint64_t /*total*/) {
    ThrowIfInterrupted();
    m_progress.Update(std::min(m_done + done, m_total), m_total);
    return true;
  }};
  auto facts = flv::ScanFile(file, options);
  if (facts->readFailed) throw host::HostError("the file cannot be read to its end");
  return facts;
}

host::SessionOptions CheckCommand::SessionOn(const std::filesystem::path& file) const {
  host::SessionOptions options;
  options.plugin = m_plugin;
  options.file = file;
  options.url = host::FileUrl(file);
  return options;
}

CheckCommand::Report CheckCommand::Examine(const std::filesystem::path& path) {
  const auto file = host::OpenFile(path);
  const std::string notFlv = WhyNotFlv(*file);
  Report report{path, Scan(*file), {}, {}};
  report.findings = FindFaults(*report.facts);
  if (!notFlv.empty()) report.findings.front().what = notFlv;
  std::erase_if(report.findings, [&](const Finding& finding) { return finding.severity > m_least; });
  if (m_plays && report.facts->isFlv) report.bare = PlayBare(SessionOn(path), *report.facts);
  return report;
}

CheckCommand::Verdict CheckCommand::Check(const std::filesystem::path& path, bool isAlone, Output& output) {
  std::optional<Report> report;
  try {
    report = Examine(path);
    if (!m_html.empty()) WriteHtml(*report);
  } catch (const host::HostError& error) {
    m_progress.Clear();
    output.Flush();
    fmt::print(stderr, "qbflv: {}: {}\n", Printable(path.string()), Printable(error.what()));
    return Verdict::kUnreadable;
  }
  if (m_json) {
    // Paths may be invalid UTF-8, which JSON does not allow.
    output.Print("{}\n", AsJson(*report).dump(-1, ' ', false, Json::error_handler_t::replace));
  } else if (isAlone) {
    Print(*report, output);
  } else {
    output.Print("{}: {}{}\n", Printable(path.string()), OneLine(report->findings),
                 report->bare ? MissingPackets(*report->bare) : "");
  }
  return report->findings.empty() ? Verdict::kClean : Verdict::kFindings;
}

Json CheckCommand::AsJson(const Report& report) {
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

void CheckCommand::WriteHtml(const Report& report) const {
  if (report.facts->TagCount() == 0) throw host::HostError("there is no audio or video to report on");
  HtmlReport html{.file = report.path.string(),
                  .summary = SummaryLines(*report.facts),
                  .plainHost = BarePlayLines(*report.bare),
                  .findings = report.findings,
                  .timeLine = ReadTimeLine(report.path, *report.facts),
                  .seeks = {}};
  html.plainHost.erase(html.plainHost.begin());
  html.seeks = MeasureSeeks(SessionOn(report.path), html.timeLine.length);
  TemporaryFile file(m_html);
  const std::string page = FormatHtml(html);
  file.Write(std::span(reinterpret_cast<const std::uint8_t*>(page.data()), page.size()));
  file.Commit();
}

void CheckCommand::Print(const Report& report, Output& output) const {
  const auto printLines = [&](const std::vector<std::string>& lines) {
    for (const std::string& line : lines) output.Print("{}\n", line);
    output.Print("\n");
  };
  if (report.facts->isFlv) printLines(SummaryLines(*report.facts));
  if (m_metadata && report.facts->metadata) printLines(MetadataLines(*report.facts->metadata));
  if (report.bare) printLines(BarePlayLines(*report.bare));
  if (report.findings.empty()) output.Print("No findings\n");
  for (const Finding& finding : report.findings) {
    output.Print("{:7}  {}{}\n", SeverityName(finding.severity), finding.name, Place(finding));
    output.Print("         {}: {}\n", finding.what, finding.consequence);
    if (!finding.remedy.empty()) output.Print("         remedy: {}\n", finding.remedy);
  }
}

}  // namespace qbflv::cli
