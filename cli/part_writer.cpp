// Writes a part of a file so that a player can start with it.
#include "cli/part_writer.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "host/buffer.h"
#include "host/host_error.h"
#include "host/metadata_edit.h"

namespace qbflv::cli {

namespace {

/// What the metadata says of the whole file as it was, and no longer holds for what is written.
constexpr std::string_view kPlaces[] = {"keyframes", "filesize",  "lastkeyframelocation",
                                        "datasize",  "videosize", "audiosize"};
constexpr std::string_view kPlacesAndTimes[] = {"keyframes", "filesize",      "lastkeyframelocation",
                                                "datasize",  "videosize",     "audiosize",
                                                "duration",  "lasttimestamp", "lastkeyframetimestamp"};

/// Of a packet: audio and key frames.
constexpr std::uint8_t kKeyFlags = 3;

/// Whether a time stands before the one it is counted from, as far as 32 bits tell.
bool IsNegative(std::uint32_t time) { return static_cast<std::int32_t>(time) < 0; }

}  // namespace

PartWriter::PartWriter(host::FlvWriter& writer, const std::vector<std::uint8_t>& types, host::FirstTags first,
                       FilePart part)
    : m_writer(writer), m_first(std::move(first)), m_part(part) {
  for (const std::uint8_t type : types) {
    m_streams.push_back({.type = type, .awaitsKeyFrame = part.start && type == host::kVideoTag});
  }
}

bool PartWriter::Write(IQBPacket& packet) {
  const auto buffer = ComPtr<IQBBuffer>::Adopt(packet.GetPacketBuffer());
  const std::span<const std::uint8_t> body = host::BufferBytes(buffer.Get());
  Stream& stream = m_streams[packet.GetStreamNumber()];
  if (IsPastEnd(packet.GetTime())) {
    stream.ended = true;
    return AnyStreamLeft();
  }
  if (stream.awaitsKeyFrame && !host::IsConfiguration(stream.type, body)) {
    if (packet.GetASMFlags() != kKeyFlags) return true;
    stream.awaitsKeyFrame = false;
  }
  if (!m_firstTime) Begin(packet.GetTime());
  // Delivered as well where delivery restarts at the start of the file.
  const bool isRepeated = stream.isConfigured && std::ranges::equal(body, Configuration(stream.type));
  stream.isConfigured = false;
  if (!isRepeated) WriteTag(stream, packet.GetTime(), body);
  return true;
}

/// Without it a stream that ends early would keep the others going past the end.
bool PartWriter::EndStream(std::uint16_t stream) {
  m_streams[stream].ended = true;
  return AnyStreamLeft();
}

void PartWriter::End() {
  if (m_firstTime) return;
  if (!m_part.IsWhole()) throw host::HostError("there are no packets in this part");
  Begin(0);
}

void PartWriter::PrintTotals(Output& output) const {
  for (const Stream& stream : m_streams) {
    output.Print("{:6}  {:10} packets\n", stream.type == host::kAudioTag ? "audio" : "video", stream.packets);
  }
}

const std::vector<std::uint8_t>& PartWriter::Configuration(std::uint8_t type) const {
  return type == host::kAudioTag ? m_first.audioConfiguration : m_first.videoConfiguration;
}

bool PartWriter::IsPastEnd(std::uint32_t time) const {
  const std::uint32_t sinceFirst = time - m_first.timeBase;
  return m_part.end && sinceFirst > *m_part.end && !IsNegative(sinceFirst);
}

bool PartWriter::AnyStreamLeft() const { return !std::ranges::all_of(m_streams, &Stream::ended); }

void PartWriter::Begin(std::uint32_t time) {
  m_firstTime = time;
  const std::span<const std::string_view> untrue = m_part.IsWhole()
                                                       ? std::span<const std::string_view>(kPlaces)
                                                       : std::span<const std::string_view>(kPlacesAndTimes);
  const auto metadata = host::WithoutEntries(m_first.metadata, untrue);
  if (!metadata.empty()) m_writer.WriteTag(host::kScriptTag, Rebased(time), metadata);
  if (m_part.IsWhole()) return;
  for (Stream& stream : m_streams) {
    const std::vector<std::uint8_t>& configuration = Configuration(stream.type);
    if (configuration.empty()) continue;
    WriteTag(stream, time, configuration);
    stream.isConfigured = true;
  }
}

void PartWriter::WriteTag(Stream& stream, std::uint32_t time, std::span<const std::uint8_t> body) {
  m_writer.WriteTag(stream.type, Rebased(time), body);
  ++stream.packets;
}

/// A packet that is older than the first one written counts as old as that.
std::uint32_t PartWriter::Rebased(std::uint32_t time) const {
  if (!m_part.rebase) return time;
  const std::uint32_t rebased = time - *m_firstTime;
  return IsNegative(rebased) ? 0 : rebased;
}

}  // namespace qbflv::cli
