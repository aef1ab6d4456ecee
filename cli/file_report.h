// What `qbflv check` says about one file, as text and as JSON.
#pragma once

#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "cli/bare_play.h"
#include "cli/findings.h"
#include "flv/file_facts.h"

namespace qbflv::cli {

struct FileReport {
  std::filesystem::path path;
  std::shared_ptr<const flv::FileFacts> facts;
  std::vector<Finding> findings;
  /// Empty if the plug-in did not play the file.
  std::optional<BarePlay> bare;
};

/// Returns one line without its end, such as "film.flv: 2 errors, 1 warning: garbage, empty-tag".
std::string ReportLine(const FileReport& report);

/// Returns the whole report as lines without their ends.
std::vector<std::string> ReportLines(const FileReport& report, bool withMetadata);

/// README.md lists the fields.
nlohmann::ordered_json ReportAsJson(const FileReport& report);

}  // namespace qbflv::cli
