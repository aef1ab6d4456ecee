// The URL of a local file.
#pragma once

#include <filesystem>
#include <string>

namespace qbflv::host {

/// A "file" URL of the path made absolute. Everything but plain name characters is percent-encoded, so that a "?", "#"
/// or "$" in a file's name does not become an option of the URL.
std::string FileUrl(const std::filesystem::path& path);

}  // namespace qbflv::host
