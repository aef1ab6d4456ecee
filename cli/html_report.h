// The report of `qbflv check --html`: one self-contained page.
#pragma once

#include <string>
#include <vector>

#include "cli/findings.h"
#include "cli/time_line.h"

namespace qbflv::cli {

struct HtmlReport {
  /// The file's path; may be invalid UTF-8.
  std::string file;
  /// Lines as on the terminal.
  std::vector<std::string> summary;
  std::vector<std::string> plainHost;
  std::vector<Finding> findings;
  TimeLine timeLine;
  std::vector<SeekCost> seeks;
};

std::string FormatHtml(const HtmlReport& report);

}  // namespace qbflv::cli
