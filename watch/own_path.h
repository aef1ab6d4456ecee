// The path of the library that contains this code.
#pragma once

#include <filesystem>

namespace qbflv::watch {

/// Returns an empty path on failure.
std::filesystem::path OwnPath();

}  // namespace qbflv::watch
