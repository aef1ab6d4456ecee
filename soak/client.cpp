#include "soak/client.h"

#include <zlib.h>

#include "host/buffer.h"
#include "host/host_error.h"
#include "host/request.h"
#include "soak/server.h"

namespace qbflv::soak {

namespace {

host::FileOptions OptionsWith(Client::Answers answers) {
  host::FileOptions options;
  options.answers = answers;
  return options;
}

}  // namespace

Client::Client(const Server& server, std::size_t file, Answers answers)
    : m_file(host::MakeObject<host::FileObject>(server.Open(file), OptionsWith(answers), m_loop)),
      m_sink(host::MakeObject<host::RecordingSink>([this](const host::SinkEvent& event) { OnSink(event); })),
      m_plugin(server.Library().CreateInstance()),
      m_format(m_plugin.Query<IQBFileFormatObject>()) {
  const Status status = m_plugin->InitPlugin(server.Context());
  if (Failed(status)) throw host::HostError("the plug-in does not take its context", status);
}

Client::~Client() { m_format->Close(); }

bool Client::Open() {
  const auto request = host::MakeObject<host::Request>("clip.flv");
  m_format->InitFileFormat(request.Get(), m_sink.Get(), m_file.Get());
  AnswerAll();
  return m_isOpen;
}

bool Client::ReadHeaders() {
  m_format->GetFileHeader();
  AnswerAll();
  for (std::uint16_t stream = 0; stream < StreamCount(); ++stream) {
    m_format->GetStreamHeader(stream);
    AnswerAll();
  }
  return !m_streams.empty() && m_headers == m_streams.size();
}

void Client::Ask(std::uint16_t stream) {
  m_asked[stream] = true;
  m_format->GetPacket(stream);
}

bool Client::IsDone() const {
  for (const Digest& stream : m_streams) {
    if (!stream.done) return false;
  }
  return true;
}

void Client::OnSink(const host::SinkEvent& event) {
  using Kind = host::SinkEvent::Kind;
  switch (event.kind) {
    case Kind::kInitDone:
      m_isOpen = Succeeded(event.status);
      return;
    case Kind::kFileHeaderReady: {
      std::uint32_t count = 0;
      if (event.header) static_cast<void>(event.header->GetULONG32("StreamCount", &count));
      m_streams.assign(count, {});
      m_asked.assign(count, false);
      return;
    }
    case Kind::kStreamHeaderReady:
      if (Succeeded(event.status)) ++m_headers;
      return;
    case Kind::kPacketReady:
      m_asked[event.stream] = false;
      Take(m_streams[event.stream], *event.packet);
      return;
    case Kind::kStreamDone:
      m_streams[event.stream].done = true;
      return;
    case Kind::kSeekDone:
      for (std::size_t stream = 0; stream < m_streams.size(); ++stream) {
        m_streams[stream].done = false;
        m_asked[stream] = false;
      }
      return;
  }
}

void Client::Take(Digest& digest, IQBPacket& packet) {
  const auto buffer = ComPtr<IQBBuffer>::Adopt(packet.GetPacketBuffer());
  const auto bytes = host::BufferBytes(buffer.Get());
  const std::uint32_t stamp[] = {packet.GetTime(), packet.GetASMFlags(), packet.GetASMRuleNumber()};
  auto checksum = static_cast<uLong>(digest.checksum);
  checksum = crc32(checksum, reinterpret_cast<const Bytef*>(stamp), sizeof(stamp));
  checksum = crc32(checksum, bytes.data(), static_cast<uInt>(bytes.size()));
  digest.checksum = static_cast<std::uint32_t>(checksum);
  ++digest.packets;
}

void Client::AnswerAll() {
  while (Answer()) {
  }
}

}  // namespace qbflv::soak
