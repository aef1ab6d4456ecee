// Runs a program and keeps what it says.
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace qbflv::e2e {

struct CommandResult {
  /// As a shell gives it: above 128 for a signal.
  int status = 0;
  std::string out;
  std::string err;
  friend bool operator==(const CommandResult&, const CommandResult&) = default;
};

std::ostream& operator<<(std::ostream& stream, const CommandResult& result);

using Words = std::vector<std::string>;

/// words[0] is looked up in PATH.
CommandResult RunCommand(const Words& words);

/// The built command with these arguments.
CommandResult RunQbflv(const Words& arguments);

Words operator+(Words left, const Words& right);

std::vector<std::string> Lines(const std::string& text);

}  // namespace qbflv::e2e
