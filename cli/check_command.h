// `qbflv check`: what is in FLV files, and what is wrong with them.
#pragma once

#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

#include "cli/bare_play.h"
#include "cli/command.h"
#include "cli/findings.h"
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

  enum class Verdict { kClean, kFindings, kUnreadable };

  /// What is known of one file.
  struct Report {
    std::filesystem::path path;
    std::shared_ptr<const flv::FileFacts> facts;
    std::vector<Finding> findings;
    std::optional<BarePlay> bare;
  };

  std::vector<std::filesystem::path> Files() const;
  Verdict Check(const std::filesystem::path& path, bool isAlone, Output& output);
  Report Examine(const std::filesystem::path& path);
  /// Throws HostError if the file cannot be read.
  std::shared_ptr<const flv::FileFacts> Scan(const flv::ByteSource& file);
  void WriteHtml(const Report& report) const;
  host::SessionOptions SessionOn(const std::filesystem::path& file) const;
  static nlohmann::ordered_json AsJson(const Report& report);
  void Print(const Report& report, Output& output) const;

  std::vector<std::filesystem::path> m_paths;
  bool m_recursive = false;
  /// Over all files: the bytes of those that are done, and of all.
  Progress m_progress{true};
  std::uint64_t m_done = 0;
  std::uint64_t m_total = 0;
  bool m_json = false;
  bool m_metadata = false;
  /// Whether the plug-in plays the files, and which one.
  bool m_plays = true;
  std::filesystem::path m_plugin;
  /// The report to write; empty for none.
  std::filesystem::path m_html;
  /// The least serious findings that count.
  Severity m_least = Severity::kNote;
};

}  // namespace qbflv::cli
