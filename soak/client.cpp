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
  m_asked.assign(StreamCount(), false);
  return true;
}

void Client::Ask(std::uint16_t stream) {
  m_asked[stream] = true;
  GetPacket(stream);
}

bool Client::IsDone() const { return std::ranges::all_of(m_streams, &Digest::done); }

void Client::OnPacket(std::uint16_t stream, IQBPacket& packet) {
  m_asked[stream] = false;
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

/// Every stream is live again, and the requests are cancelled at once: one before SeekDone is served after it.
Status Client::Seek(std::uint32_t time) {
  for (Digest& digest : m_streams) digest.done = false;
  m_asked.assign(StreamCount(), false);
  return host::Client::Seek(time);
}

}  // namespace qbflv::soak
