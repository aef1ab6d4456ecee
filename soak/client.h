// A client that records a checksum of each stream and has at most one pending request per stream.
#pragma once

#include <cstdint>
#include <vector>

#include "host/client.h"

namespace qbflv::soak {

class Server;

/// The delivery of one stream. The checksum covers every packet's time, flags and bytes, in order.
struct Digest {
  std::uint64_t packets = 0;
  std::uint32_t checksum = 0;
  bool done = false;

  bool operator==(const Digest&) const = default;
};

class Client final : public host::Client {
 public:
  using Completions = host::FileOptions::Completions;

  /// file: the number of one of the server's files. Throws HostError if the library cannot create an object.
  Client(const Server& server, std::size_t file, Completions completions);

  /// Opens the file and reads all headers. Returns false on failure.
  bool Start();

  /// Returns true if the stream has no pending request and has not ended.
  bool IsIdle(std::uint16_t stream) const { return !m_isPending[stream] && !m_streams[stream].done; }
  void RequestPacket(std::uint16_t stream);
  Status Seek(std::uint32_t time);

  bool IsDone() const;
  const std::vector<Digest>& Streams() const { return m_streams; }

 private:
  void OnPacket(std::uint16_t stream, IQBPacket& packet) override;
  void OnStreamDone(std::uint16_t stream) override { m_streams[stream].done = true; }

  std::vector<Digest> m_streams;
  std::vector<bool> m_isPending;
};

}  // namespace qbflv::soak
