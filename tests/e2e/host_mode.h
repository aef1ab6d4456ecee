// The ways in which a host can behave that change what is delivered.
#pragma once

#include <string>
#include <vector>

#include "tests/e2e/command.h"

namespace qbflv::e2e {

struct HostMode {
  std::string endOfFile;
  std::string stat;
  std::string order;

  /// With both the plug-in looks at the end of the file before it starts, and knows each stream's last time.
  bool ShowsTheEnd() const { return stat == "yes" && order == "random"; }

  Words Options() const { return {"--host-eof", endOfFile, "--host-stat", stat, "--host-order", order}; }

  std::string Name() const { return "eof " + endOfFile + ", stat " + stat + ", order " + order; }
};

inline std::vector<HostMode> AllHostModes() {
  std::vector<HostMode> modes;
  for (const char* const endOfFile : {"short", "fail"}) {
    for (const char* const stat : {"yes", "no", "fail"}) {
      for (const char* const order : {"random", "linear"}) modes.push_back({endOfFile, stat, order});
    }
  }
  return modes;
}

}  // namespace qbflv::e2e
