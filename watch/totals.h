// What the sessions of a process did, for the lines at the end of the log.
#pragma once

#include <algorithm>
#include <cstdint>

namespace qbflv::watch {

struct Totals {
  std::uint64_t sessions = 0;
  /// Calls of the host: requests.
  std::uint64_t requests = 0;
  /// Init, Read, Seek and Stat on file objects; the reads among them.
  std::uint64_t operations = 0;
  std::uint64_t reads = 0;
  std::uint64_t packets = 0;
  std::uint64_t deepestNesting = 0;
  /// Packets that one object held at the same time.
  std::uint64_t mostQueuedPackets = 0;
  /// In ticks: in calls of the host into the plug-in, without and within the calls back.
  std::uint64_t ticksInPlugin = 0;
  std::uint64_t ticksInHost = 0;

  void Add(const Totals& other) {
    sessions += other.sessions;
    requests += other.requests;
    operations += other.operations;
    reads += other.reads;
    packets += other.packets;
    deepestNesting = std::max(deepestNesting, other.deepestNesting);
    mostQueuedPackets = std::max(mostQueuedPackets, other.mostQueuedPackets);
    ticksInPlugin += other.ticksInPlugin;
    ticksInHost += other.ticksInHost;
  }
};

}  // namespace qbflv::watch
