// The plug-in's side: a client that takes what it is given and asks on.
#pragma once

#include <cstdint>

#include "host/client.h"
#include "host/memory_file.h"

namespace qbflv::bench {

class Reader final : public host::Client {
 public:
  /// Opens the file and reads all headers. Throws HostError.
  Reader(const host::PluginLibrary& library, IUnknown* context, const host::MemoryFile& file);

  /// Plays from where it stands to the end of every stream; answers the number of packets.
  std::uint64_t Deliver();
  /// To a time in ms and one packet of each stream from there, or its end.
  void SeekAndShow(std::uint32_t time);
  /// Asks the stream that was not asked last; answers the number of packets that came.
  std::uint64_t Step();

  bool IsDone() const { return m_done == StreamCount(); }
  /// Delivered packets that hold codec configuration, or nothing but an end of sequence.
  std::uint64_t Unplayable() const { return m_unplayable; }
  /// Looks into every packet from now on, for Unplayable.
  void Classify() { m_classifies = true; }

 private:
  void OnPacket(std::uint16_t stream, IQBPacket& packet) override;
  void OnStreamDone(std::uint16_t /*stream*/) override { ++m_done; }
  void OnSeekDone(Status /*status*/) override { m_done = 0; }

  bool m_renews = false;
  bool m_classifies = false;
  std::uint16_t m_done = 0;
  std::uint16_t m_next = 0;
  std::uint64_t m_packets = 0;
  std::uint64_t m_unplayable = 0;
};

}  // namespace qbflv::bench
