// `qbflv check`: shows the content and the faults of FLV files.
#include "cli/check_command.h"

#include <algorithm>
#include <string>
#include <system_error>

#include "cli/file_kind.h"
#include "cli/file_summary.h"
#include "cli/html_report.h"
#include "cli/interrupt.h"
#include "cli/plugin_location.h"
#include "cli/temporary_file.h"
#include "cli/time_line.h"
#include "flv/scan.h"
#include "host/file_url.h"
#include "host/host_error.h"
#include "host/open_file.h"
#include "host/plugin_library.h"

namespace qbflv::cli {

namespace fs = std::filesystem;

namespace {

/// Returns 0 if the size is unknown.
std::uint64_t SizeOf(const fs::path& path) {
  std::error_code error;
  const std::uintmax_t size = fs::file_size(path, error);
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
            m_minSeverity = word == "error"     ? Severity::kError
                            : word == "warning" ? Severity::kWarning
                                                : Severity::kNote;
          },
          "Leave out findings that are less serious (default: note)")
      ->type_name("error|warning|note")
      ->check(CLI::IsMember({"error", "warning", "note"}).description(""));
  Parser().add_flag("--metadata", m_metadata, "Also print the metadata");
  Parser().add_flag_callback(
      "--no-play", [this] { m_plays = false; }, "Do not play the file through the plug-in, as a plain host does");
  Parser()
      .add_option("--plugin", m_plugin, "The plug-in (default: the one beside this command, or the installed one)")
      ->type_name("PATH");
  Parser().add_option("--html", m_html, "Also write a page about FILE, with plots")->type_name("REPORT.html");
  Parser().parse_complete_callback([this] {
    if (m_html.empty()) return;
    if (m_paths.size() != 1 || m_recursive) throw CLI::ValidationError("--html", "takes one FILE");
    if (!m_plays) throw CLI::ValidationError("--html", "excludes --no-play");
  });
  Parser().add_flag("--json", m_json, "Print one JSON object per file, each on one line");
  Parser().footer(
      "Exit status: 0 no findings, 1 findings, 2 wrong usage, 3 incomplete: a file or folder cannot be read, a folder\n"
      "has no .flv file, the plug-in cannot be loaded, or the output cannot be written.\n"
      "With several files, the command prints one line per file.\n\nExample:\n  qbflv check -r --only warning films");
}

std::vector<fs::path> CheckCommand::Files() {
  std::vector<fs::path> files;
  for (const fs::path& path : m_paths) {
    std::error_code error;
    if (!m_recursive || !fs::is_directory(path, error)) {
      files.push_back(path);
      continue;
    }
    std::vector<fs::path> found;
    if (AddFolder(path, found) && found.empty()) Fail(path, "there is no .flv file in this folder");
    std::ranges::sort(found);
    files.insert(files.end(), found.begin(), found.end());
  }
  return files;
}

bool CheckCommand::AddFolder(const fs::path& folder, std::vector<fs::path>& files) {
  bool isComplete = true;
  std::error_code error;
  for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
    std::error_code ignored;
    if (it->is_directory(ignored) && !it->is_symlink(ignored)) {
      isComplete = AddFolder(it->path(), files) && isComplete;
    } else if (HasFlvExtension(it->path()) && it->is_regular_file(ignored)) {
      files.push_back(it->path());
    }
  }
  if (!error) return isComplete;
  Fail(folder, "cannot read the folder: " + error.message());
  return false;
}

void CheckCommand::Fail(const fs::path& path, const std::string& reason) {
  PrintError(path.string() + ": " + reason);
  m_status = kUnreadable;
}

int CheckCommand::Run() {
  CatchInterrupts();
  if (m_plays && m_plugin.empty()) m_plugin = FindPlugin();
  if (m_plays) static_cast<void>(host::PluginLibrary(m_plugin));  // fails once, not for each file
  const std::vector<fs::path> files = Files();
  const bool isAlone = files.size() == 1 && !m_recursive;
  for (const fs::path& file : files) m_total += SizeOf(file);
  Output output;
  for (const fs::path& file : files) {
    ThrowIfInterrupted();
    Check(file, isAlone, output);
    m_done += SizeOf(file);
  }
  m_progress.Clear();
  output.Flush();
  return m_status;
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

host::SessionOptions CheckCommand::SessionOn(const fs::path& file) const {
  host::SessionOptions options;
  options.plugin = m_plugin;
  options.file = file;
  options.url = host::FileUrl(file);
  return options;
}

FileReport CheckCommand::Examine(const fs::path& path) {
  std::error_code error;
  if (fs::is_directory(path, error)) throw host::HostError("it is a directory; use -r to check the files in it");
  const auto file = host::OpenFile(path);
  const std::string notFlv = WhyNotFlv(*file);
  FileReport report{path, Scan(*file), {}, {}};
  report.findings = FindFaults(*report.facts);
  if (!notFlv.empty()) report.findings.front().what = notFlv;
  std::erase_if(report.findings, [&](const Finding& finding) { return finding.severity > m_minSeverity; });
  if (m_plays && report.facts->isFlv) report.bare = PlayBare(SessionOn(path), *report.facts);
  return report;
}

void CheckCommand::Check(const fs::path& path, bool isAlone, Output& output) {
  try {
    const FileReport report = Examine(path);
    Print(report, isAlone, output);
    if (!report.findings.empty()) m_status = std::max(m_status, kHasFindings);
    if (!m_html.empty()) WriteHtml(report);
  } catch (const host::HostError& error) {
    m_progress.Clear();
    output.Flush();
    Fail(path, error.what());
  }
}

void CheckCommand::Print(const FileReport& report, bool isAlone, Output& output) const {
  if (m_json) {
    // Paths may be invalid UTF-8, which JSON does not allow.
    output.Print("{}\n", ReportAsJson(report).dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
  } else if (isAlone) {
    for (const std::string& line : ReportLines(report, m_metadata)) output.Print("{}\n", line);
  } else {
    output.Print("{}\n", ReportLine(report));
  }
}

void CheckCommand::WriteHtml(const FileReport& report) const {
  std::error_code error;
  if (fs::equivalent(report.path, m_html, error)) throw host::HostError("--html names the same file");
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

}  // namespace qbflv::cli
