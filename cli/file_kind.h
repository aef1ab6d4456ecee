// Recognises files that are not FLV files before the plug-in reads them.
#pragma once

#include <filesystem>
#include <string>

namespace qbflv::cli {

/// Empty if the file begins with "FLV", or cannot be opened; otherwise a text such as "not an FLV file: it is empty".
/// Throws HostError if the path is a directory or another special file.
std::string WhyNotFlv(const std::filesystem::path& path);

/// Throws HostError if the path is a directory or another special file, or if the file does not begin with "FLV". The
/// message says what the file looks like. Leaves it to the caller to open a file that cannot be opened.
void RequireFlvFile(const std::filesystem::path& path);

}  // namespace qbflv::cli
