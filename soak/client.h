// A client that remembers what was delivered to it, and asks for one packet at a time.
#pragma once

#include <cstdint>
#include <vector>

#include "host/client.h"

namespace qbflv::soak {

class Server;

/// What a stream delivered: every packet's time, flags and bytes, in order.
struct Digest {
  std::uint64_t packets = 0;
  std::uint32_t checksum = 0;
  bool done = false;

  bool operator==(const Digest&) const = default;
};

class Client final : public host::Client {
 public:
  using Completions = host::FileOptions::Completions;

  /// On one of the server's files. Throws HostError when no object can be made.
  Client(const Server& server, std::size_t file, Completions completions);

  /// Opens the file and reads all headers; false when the object does not get that far.
  bool Start();

  /// Whether the stream has neither been asked for a packet nor ended.
  bool IsIdle(std::uint16_t stream) const { return !m_asked[stream] && !m_streams[stream].done; }
  void Ask(std::uint16_t stream);
  Status Seek(std::uint32_t time);

  bool IsDone() const;
  const std::vector<Digest>& Streams() const { return m_streams; }

 private:
  void OnPacket(std::uint16_t stream, IQBPacket& packet) override;
  void OnStreamDone(std::uint16_t stream) override { m_streams[stream].done = true; }

  std::vector<Digest> m_streams;
  std::vector<bool> m_asked;
};

}  // namespace qbflv::soak
