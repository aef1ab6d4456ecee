// Writes the packets of a part of a file to a new file.
#include "cli/part_writer.h"

#include <algorithm>
#include <utility>

#include "flv/format.h"
#include "host/buffer.h"

namespace qbflv::cli {

PartWriter::PartWriter(FlvWriter& writer, const std::vector<flv::TagType>& types, std::uint32_t timeBase, FilePart part)
    : m_writer(writer), m_timeBase(timeBase), m_part(part) {
  for (const flv::TagType type : types) m_streams.push_back({.type = type});
}

bool PartWriter::Write(IQBPacket& packet) {
  Stream& stream = m_streams[packet.GetStreamNumber()];
  const std::uint32_t time = packet.GetTime();
  if (IsPastEnd(time)) {
    stream.ended = true;
    return AnyStreamLeft();
  }
  if (m_rebaseFromFirst && !m_zero) m_zero = time;
  const auto buffer = ComPtr<IQBBuffer>::Adopt(packet.GetPacketBuffer());
  m_writer.WriteTag(stream.type, Rebased(time), host::BufferBytes(buffer.Get()));
  ++stream.packets;
  return true;
}

/// A stream that ends before the end time counts as past it, so that delivery can stop.
bool PartWriter::EndStream(std::uint16_t stream) {
  m_streams[stream].ended = true;
  return AnyStreamLeft();
}

std::uint64_t PartWriter::Packets(flv::TagType type) const {
  std::uint64_t packets = 0;
  for (const Stream& stream : m_streams) packets += stream.type == type ? stream.packets : 0;
  return packets;
}

bool PartWriter::IsPastEnd(std::uint32_t time) const {
  return m_part.end && flv::TimeBetween(m_timeBase, time) >= 0 && time - m_timeBase > *m_part.end;
}

bool PartWriter::AnyStreamLeft() const { return !std::ranges::all_of(m_streams, &Stream::ended); }

std::uint32_t PartWriter::Rebased(std::uint32_t time) const {
  if (!m_zero) return time;
  return flv::TimeBetween(*m_zero, time) < 0 ? 0 : time - *m_zero;
}

}  // namespace qbflv::cli
