// Makes the packets after a seek playable: inserts codec configurations, and drops frames before the first key frame.
#include "host/restart_filter.h"

#include <algorithm>
#include <utility>

#include "flv/scan.h"
#include "host/buffer.h"
#include "host/packet.h"

namespace qbflv::host {

namespace {

// The ASM flags and the rule of audio packets and key frames.
constexpr std::uint8_t kKeyFlags = 3;
constexpr std::uint16_t kKeyRule = 0;

ComPtr<Packet> MakePacket(const std::vector<std::uint8_t>& body, std::uint32_t time, std::uint16_t stream) {
  auto bytes = std::make_shared_for_overwrite<std::uint8_t[]>(body.size());
  std::ranges::copy(body, bytes.get());
  const auto buffer = MakeObject<Buffer>(std::move(bytes), static_cast<std::uint32_t>(body.size()));
  auto packet = MakeObject<Packet>();
  packet->Set(buffer.Get(), time, stream, kKeyFlags, kKeyRule);
  return packet;
}

flv::TagContent ContentOf(IQBPacket& packet, flv::TagType type) {
  const auto buffer = ComPtr<IQBBuffer>::Adopt(packet.GetPacketBuffer());
  return flv::ContentOf(static_cast<std::uint8_t>(type), BufferBytes(buffer.Get()));
}

}  // namespace

RestartFilter::RestartFilter(std::shared_ptr<const flv::FileFacts> facts, std::shared_ptr<const flv::ViewLayout> layout,
                             const std::vector<flv::TagType>& types)
    : m_facts(std::move(facts)), m_layout(std::move(layout)) {
  for (const flv::TagType type : types) m_streams.push_back({type});
}

void RestartFilter::Restart(std::uint64_t offset) {
  const std::uint32_t tag = m_layout ? m_layout->TagAt(offset) : m_facts->TagAt(offset);
  for (Stream& stream : m_streams) {
    stream.awaitsKeyFrame = stream.type == flv::TagType::kVideo;
    stream.configuration = m_facts->ConfigurationBefore(tag, stream.type);
  }
  m_hasConfigurations = true;
}

void RestartFilter::Process(IQBPacket& packet, const std::function<void(IQBPacket& packet)>& send) {
  Stream& stream = m_streams[packet.GetStreamNumber()];
  if (stream.awaitsKeyFrame) {
    const flv::TagContent content = ContentOf(packet, stream.type);
    if (content == flv::TagContent::kKeyFrame) stream.awaitsKeyFrame = false;
    if (stream.awaitsKeyFrame && content != flv::TagContent::kConfiguration) return;
  }
  if (m_hasConfigurations) SendConfigurations(packet.GetTime(), send);
  send(packet);
}

void RestartFilter::SendConfigurations(std::uint32_t time, const std::function<void(IQBPacket& packet)>& send) {
  m_hasConfigurations = false;
  for (std::size_t number = 0; number < m_streams.size(); ++number) {
    const auto* const body = std::exchange(m_streams[number].configuration, nullptr);
    if (body != nullptr) send(*MakePacket(*body, time, static_cast<std::uint16_t>(number)));
  }
}

}  // namespace qbflv::host
