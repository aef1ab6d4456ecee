// The command as a process of the operating system.
#pragma once

#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace qbflv::cli {

/// Call it first. Sets up unmodified binary output, and the usual reaction to a closed pipe and to the file size limit.
void PrepareProcess();

/// Returns the arguments after the command's name, in UTF-8.
std::vector<std::string> Arguments(int count, char** arguments);

/// Sets a variable that libraries of this process read.
void SetEnvironment(const char* name, const std::filesystem::path& value);

/// The signals that ask a process to end.
std::span<const int> EndingSignals();

/// Ends the process as the signal does by default, so that its parent sees the reason. Where the system has no such
/// thing, returns the exit status that a shell gives for the signal.
int EndBySignal(int number);

}  // namespace qbflv::cli
