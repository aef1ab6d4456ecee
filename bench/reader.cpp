// Reads a file with the plug-in.
#include "bench/reader.h"

#include <utility>

#include "bench/media_tags.h"
#include "flv/scan.h"
#include "host/buffer.h"
#include "host/host_error.h"

namespace qbflv::bench {

Reader::Reader(const host::PluginLibrary& library, IUnknown* context, const host::MemoryFile& file)
    : Reader(library, context, file.Open(), {}) {}

Reader::Reader(const host::PluginLibrary& library, IUnknown* context, std::shared_ptr<const flv::View> view)
    // Without a size, so that the plug-in does not take the durations from the closing tags of the view.
    : Reader(library, context, host::BlockReader(std::move(view)), {.stat = host::FileOptions::Stat::kNo}) {}

Reader::Reader(const host::PluginLibrary& library, IUnknown* context, host::BlockReader file,
               const host::FileOptions& options)
    : host::Client(library, context, std::move(file), options) {
  if (!Open() || !ReadHeaders()) throw host::HostError("the plug-in cannot read the file");
}

std::uint64_t Reader::Deliver() {
  m_requestsNext = true;
  const std::uint64_t before = m_packets;
  for (std::uint16_t stream = 0; stream < StreamCount(); ++stream) GetPacket(stream);
  m_requestsNext = false;
  return m_packets - before;
}

void Reader::SeekAndShow(std::uint32_t time) {
  Seek(time);
  for (std::uint16_t stream = 0; stream < StreamCount(); ++stream) GetPacket(stream);
}

std::uint64_t Reader::ReadNext() {
  const std::uint64_t before = m_packets;
  GetPacket(m_next);
  m_next = static_cast<std::uint16_t>(m_next + 1 == StreamCount() ? 0 : m_next + 1);
  return m_packets - before;
}

void Reader::OnPacket(std::uint16_t stream, IQBPacket& packet) {
  ++m_packets;
  if (m_countsUnplayable) {
    const auto body = ComPtr<IQBBuffer>::Adopt(packet.GetPacketBuffer());
    const bool isVideo = stream > 0;  // every input has audio
    if (!IsPlayable(static_cast<std::uint8_t>(isVideo ? flv::TagType::kVideo : flv::TagType::kAudio),
                    host::BufferBytes(body.Get())))
      ++m_unplayable;
  }
  if (m_requestsNext) GetPacket(stream);
}

}  // namespace qbflv::bench
