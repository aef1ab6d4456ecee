// Finds the plug-in.
#pragma once

#include <filesystem>

namespace qbflv::cli {

/// Searches the command's folder, then the installation folder. Throws HostError when the library is in neither.
std::filesystem::path FindPlugin();

/// Finds the watch layer in the same folders.
std::filesystem::path FindWatchLayer();

}  // namespace qbflv::cli
