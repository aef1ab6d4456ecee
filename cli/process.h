// The command as a process of the operating system.
#pragma once

#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace qbflv::cli {

/// Must be called first. Sets up binary output, and restores the default reaction to a closed pipe. A write beyond the
/// file size limit fails instead of ending the process.
void PrepareProcess();

/// Returns the arguments after the command's name, in UTF-8.
std::vector<std::string> Arguments(int count, char** arguments);

/// Sets an environment variable for libraries of this process.
void SetEnvironment(const char* name, const std::filesystem::path& value);

/// Returns the signals that ask a process to end.
std::span<const int> EndingSignals();

/// Ends the process as the signal does by default, so that its parent sees the reason. Returns the exit status that a
/// shell reports for the signal if the system cannot do that.
int EndBySignal(int number);

}  // namespace qbflv::cli
