// Opens and closes objects one after another, each at a different stage of its life.
#pragma once

#include <cstdint>

#include "soak/server.h"

namespace qbflv::soak {

/// Prints the memory use of the process before and after. Returns false if it has grown or an object is left.
bool OpenAndClose(const Server& server, std::uint64_t count);

}  // namespace qbflv::soak
