// A client that records a checksum of each stream and has at most one pending request per stream.
#include "soak/client.h"

#include <zlib.h>

#include <algorithm>

#include "host/buffer.h"
#include "soak/server.h"

namespace qbflv::soak {

Client::Client(const Server& server, std::size_t file, Completions completions)
    : host::Client(server.Library(), server.Context(), server.Open(file), {.completions = completions}) {}

bool Client::Start() {
  if (!Open() || !ReadHeaders()) return false;
  m_streams.assign(StreamCount(), {});
  m_isPending.assign(StreamCount(), false);
  return true;
}

void Client::RequestPacket(std::uint16_t stream) {
  m_isPending[stream] = true;
  GetPacket(stream);
}

bool Client::IsDone() const { return std::ranges::all_of(m_streams, &Digest::done); }

void Client::OnPacket(std::uint16_t stream, IQBPacket& packet) {
  m_isPending[stream] = false;
  Digest& digest = m_streams[stream];
  const auto buffer = ComPtr<IQBBuffer>::Adopt(packet.GetPacketBuffer());
  const auto bytes = host::BufferBytes(buffer.Get());
  const std::uint32_t stamp[] = {packet.GetTime(), packet.GetASMFlags(), packet.GetASMRuleNumber()};
  auto checksum = static_cast<uLong>(digest.checksum);
  checksum = crc32(checksum, reinterpret_cast<const Bytef*>(stamp), sizeof(stamp));
  checksum = crc32(checksum, bytes.data(), static_cast<uInt>(bytes.size()));
  digest.checksum = static_cast<std::uint32_t>(checksum);
  ++digest.packets;
}

/// A seek revives every stream and cancels the pending requests at once. A request made before SeekDone is completed
/// after it.
Status Client::Seek(std::uint32_t time) {
  for (Digest& digest : m_streams) digest.done = false;
  m_isPending.assign(StreamCount(), false);
  return host::Client::Seek(time);
}

}  // namespace qbflv::soak
