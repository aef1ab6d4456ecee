// Plays many objects at once: several threads request packets of random objects.
#pragma once

#include <cstdint>

#include "soak/server.h"

namespace qbflv::soak {

struct CrowdOptions {
  std::size_t objects = 10000;
  std::size_t threads = 4;
  std::uint64_t seed = 1;
};

/// Opens all objects, plays them to the end and closes them. Any thread may use an object, one at a time. The files of
/// half of the objects complete operations later. Prints a summary. Returns false if an object delivered other packets
/// than a single object does.
bool PlayCrowd(const Server& server, const CrowdOptions& options);

}  // namespace qbflv::soak
