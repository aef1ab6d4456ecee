// `qbflv check`: shows the content and the faults of FLV files.
#pragma once

#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>
#include <vector>

#include "cli/command.h"
#include "cli/file_report.h"
#include "cli/output.h"
#include "cli/progress.h"
#include "flv/file_facts.h"

namespace qbflv::cli {

class CheckCommand final : public Command {
 public:
  explicit CheckCommand(CLI::App& app);

  /// Returns 0 if there are no findings, 1 if there are, and 3 if a file cannot be read; reports such files on standard
  /// error. Throws HostError if the output fails.
  int Run() override;
  int FailureStatus() const override { return kUnreadable; }

 private:
  static constexpr int kHasFindings = 1;
  static constexpr int kUnreadable = 3;

  std::vector<std::filesystem::path> Files();
  /// Appends the .flv files in the folder and its subfolders. Reports a folder that cannot be read, and returns false.
  bool AddFolder(const std::filesystem::path& folder, std::vector<std::filesystem::path>& files);
  /// Reports a file or folder that cannot be read.
  void Fail(const std::filesystem::path& path, const std::string& reason);
  void Check(const std::filesystem::path& path, bool isAlone, Output& output);
  FileReport Examine(const std::filesystem::path& path);
  /// Throws HostError if the file cannot be read.
  std::shared_ptr<const flv::FileFacts> Scan(const flv::ByteSource& file);
  void Print(const FileReport& report, bool isAlone, Output& output) const;
  void WriteHtml(const FileReport& report) const;
  host::SessionOptions SessionOn(const std::filesystem::path& file) const;

  int m_status = kSuccess;
  std::vector<std::filesystem::path> m_paths;
  bool m_recursive = false;
  Progress m_progress{true};
  /// Total size of the checked files, and of all files, in bytes.
  std::uint64_t m_done = 0;
  std::uint64_t m_total = 0;
  bool m_json = false;
  bool m_metadata = false;
  /// True if the plug-in plays the files.
  bool m_plays = true;
  std::filesystem::path m_plugin;
  /// Path of the HTML report; empty for none.
  std::filesystem::path m_html;
  /// Findings less serious than this are left out.
  Severity m_minSeverity = Severity::kNote;
};

}  // namespace qbflv::cli
