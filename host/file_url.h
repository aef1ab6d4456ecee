// The URL of a local file.
#pragma once

#include <filesystem>
#include <string>

namespace qbflv::host {

/// Returns the "file" URL of the absolute path. Percent-encodes all but unreserved characters, so that a "?", "#" or
/// "$" in a file name does not start another part of the URL.
std::string FileUrl(const std::filesystem::path& path);

}  // namespace qbflv::host
