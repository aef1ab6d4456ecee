// What `qbflv packets --json` has to print for a file, worked out from the file's tags alone.
#pragma once

#include <string>
#include <vector>

#include "tests/e2e/flv_file.h"

namespace qbflv::e2e {

std::string PacketLine(const FlvFile& file, const Tag& tag);

/// The lines for a host that always asks every live stream. Within a stream packets keep the file's order; across
/// streams the earliest goes first, the lower stream where they are equal, and none while a live stream's next packet
/// is not known.
///
/// lastTimesKnown: a stream is done with its first packet of the time that its last one has. Otherwise the streams are
/// done at the end of the file, and what then still waits for the other stream is lost.
/// Streams further apart than the 10 s that packets wait at most are not foreseen.
std::vector<std::string> ExpectedListing(const FlvFile& file, bool lastTimesKnown);

}  // namespace qbflv::e2e
