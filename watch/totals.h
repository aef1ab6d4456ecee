// Counters and times of sessions, for the last lines of the log.
#pragma once

#include <algorithm>
#include <cstdint>

namespace qbflv::watch {

struct Totals {
  std::uint64_t sessions = 0;
  std::uint64_t requests = 0;
  /// Number of operations on file objects, and of the reads among them.
  std::uint64_t operations = 0;
  std::uint64_t reads = 0;
  std::uint64_t packets = 0;
  std::uint64_t maxNesting = 0;
  /// Maximum number of packets that one object held at the same time.
  std::uint64_t maxQueuedPackets = 0;
  /// Time in the plug-in's own code, and in the host's code that the plug-in calls, in ticks.
  std::uint64_t ticksInPlugin = 0;
  std::uint64_t ticksInHost = 0;

  void Add(const Totals& other) {
    sessions += other.sessions;
    requests += other.requests;
    operations += other.operations;
    reads += other.reads;
    packets += other.packets;
    maxNesting = std::max(maxNesting, other.maxNesting);
    maxQueuedPackets = std::max(maxQueuedPackets, other.maxQueuedPackets);
    ticksInPlugin += other.ticksInPlugin;
    ticksInHost += other.ticksInHost;
  }
};

}  // namespace qbflv::watch
