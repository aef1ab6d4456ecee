// The report of `qbflv check --html`: one page that needs nothing else.
#pragma once

#include <string>
#include <vector>

#include "cli/findings.h"
#include "cli/time_line.h"

namespace qbflv::cli {

struct HtmlReport {
  /// The path, as UTF-8 or not.
  std::string file;
  /// As on the terminal.
  std::vector<std::string> summary;
  std::vector<std::string> plainHost;
  std::vector<Finding> findings;
  TimeLine timeLine;
  std::vector<SeekCost> seeks;
};

std::string FormatHtml(const HtmlReport& report);

}  // namespace qbflv::cli
