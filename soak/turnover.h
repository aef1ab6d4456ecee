// Objects that come and go: one after the other, each released at another point of its life.
#pragma once

#include <cstdint>

#include "soak/server.h"

namespace qbflv::soak {

/// Prints the process's memory before and after. False when it has grown.
bool OpenAndClose(const Server& server, std::uint64_t count);

}  // namespace qbflv::soak
