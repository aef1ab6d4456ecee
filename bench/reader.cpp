#include "bench/reader.h"

#include "bench/media_tags.h"
#include "host/buffer.h"
#include "host/first_tags.h"
#include "host/host_error.h"

namespace qbflv::bench {

Reader::Reader(const host::PluginLibrary& library, IUnknown* context, const host::MemoryFile& file)
    : host::Client(library, context, file.Open(), host::FileOptions::Answers::kInline) {
  if (!Open() || !ReadHeaders()) throw host::HostError("the plug-in finds nothing to play");
}

std::uint64_t Reader::Deliver() {
  m_renews = true;
  const std::uint64_t before = m_packets;
  for (std::uint16_t stream = 0; stream < StreamCount(); ++stream) GetPacket(stream);
  m_renews = false;
  return m_packets - before;
}

void Reader::SeekAndShow(std::uint32_t time) {
  Seek(time);
  for (std::uint16_t stream = 0; stream < StreamCount(); ++stream) GetPacket(stream);
}

std::uint64_t Reader::Step() {
  const std::uint64_t before = m_packets;
  GetPacket(m_next);
  m_next = static_cast<std::uint16_t>(m_next + 1 == StreamCount() ? 0 : m_next + 1);
  return m_packets - before;
}

void Reader::OnPacket(std::uint16_t stream, IQBPacket& packet) {
  ++m_packets;
  if (m_classifies) {
    const auto body = ComPtr<IQBBuffer>::Adopt(packet.GetPacketBuffer());
    const bool isVideo = stream > 0;  // every file here has sound
    if (!IsPlayable(isVideo ? host::kVideoTag : host::kAudioTag, host::BufferBytes(body.Get()))) ++m_unplayable;
  }
  if (m_renews) GetPacket(stream);
}

}  // namespace qbflv::bench
