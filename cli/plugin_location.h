// Where the command finds its plug-in.
#pragma once

#include <filesystem>

namespace qbflv::cli {

/// The library beside the command, or else where it was installed with it. Throws HostError when it is in neither.
std::filesystem::path FindPlugin();

}  // namespace qbflv::cli
