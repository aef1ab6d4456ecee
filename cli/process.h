// The command as a process of its system.
#pragma once

#include <span>
#include <string>
#include <vector>

namespace qbflv::cli {

/// Called first. Output is bytes as they are, and a reader that goes away or a file that may not grow ends or fails the
/// command as on every other one of the system.
void PrepareProcess();

/// The arguments after the command's name, in UTF-8.
std::vector<std::string> Arguments(int count, char** arguments);

/// The signals that ask a process to end.
std::span<const int> EndingSignals();

}  // namespace qbflv::cli
