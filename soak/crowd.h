// Many objects alive at once, asked for their packets in random order from several threads.
#pragma once

#include <cstdint>

#include "soak/server.h"

namespace qbflv::soak {

struct CrowdOptions {
  std::size_t objects = 10000;
  std::size_t threads = 4;
  std::uint64_t seed = 1;
};

/// Opens, plays to the end and closes; each object on one thread at a time but on any of them in turn, half of them
/// over files that answer later. Prints what it did. False when an object delivered anything else than its file alone.
bool PlayCrowd(const Server& server, const CrowdOptions& options);

}  // namespace qbflv::soak
