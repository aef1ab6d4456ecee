// Reads a file with the plug-in.
#pragma once

#include <cstdint>
#include <memory>

#include "flv/view.h"
#include "host/client.h"
#include "host/memory_file.h"

namespace qbflv::bench {

class Reader final : public host::Client {
 public:
  /// Opens the file and reads all headers. Throws HostError.
  Reader(const host::PluginLibrary& library, IUnknown* context, const host::MemoryFile& file);
  /// Opens a repaired view of a file and reads all headers. Throws HostError.
  Reader(const host::PluginLibrary& library, IUnknown* context, std::shared_ptr<const flv::View> view);

  /// Plays from the current position to the end of every stream. Returns the number of packets.
  std::uint64_t Deliver();
  /// Seeks to a time in ms and reads one packet of each stream, or its end.
  void SeekAndShow(std::uint32_t time);
  /// Requests a packet of the next stream in rotation. Returns the number of packets delivered.
  std::uint64_t ReadNext();

  bool IsDone() const { return m_done == StreamCount(); }
  /// Number of delivered packets that are not playable. Counted after CountUnplayable was called.
  std::uint64_t Unplayable() const { return m_unplayable; }
  void CountUnplayable() { m_countsUnplayable = true; }

 private:
  Reader(const host::PluginLibrary& library, IUnknown* context, host::BlockReader file,
         const host::FileOptions& options);
  void OnPacket(std::uint16_t stream, IQBPacket& packet) override;
  void OnStreamDone(std::uint16_t /*stream*/) override { ++m_done; }
  void OnSeekDone(Status /*status*/) override { m_done = 0; }

  bool m_requestsNext = false;
  bool m_countsUnplayable = false;
  std::uint16_t m_done = 0;
  std::uint16_t m_next = 0;
  std::uint64_t m_packets = 0;
  std::uint64_t m_unplayable = 0;
};

}  // namespace qbflv::bench
