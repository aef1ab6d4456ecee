// Where the layer itself was loaded from.
#pragma once

#include <filesystem>

namespace qbflv::watch {

std::filesystem::path OwnPath();

}  // namespace qbflv::watch
