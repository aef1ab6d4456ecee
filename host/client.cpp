// One object of the plug-in on one open file, as a server has for each client.
#include "host/client.h"

#include <utility>

#include "host/host_error.h"
#include "host/request.h"

namespace qbflv::host {

/// Forwards calls to its client. The plug-in may keep it longer than the client, but does not call it then.
class Client::Sink final : public ComObject<IQBFormatSink> {
 public:
  explicit Sink(Client& client) : m_client(client) {}

  Status InitDone(Status status) override {
    m_client.m_isOpen = Succeeded(status);
    return kOk;
  }
  Status FileHeaderReady(Status /*status*/, IQBPropertyList* header) override {
    std::uint32_t count = 0;
    if (header != nullptr) static_cast<void>(header->GetULONG32("StreamCount", &count));
    m_client.m_streamCount = static_cast<std::uint16_t>(count);
    return kOk;
  }
  Status StreamHeaderReady(Status status, IQBPropertyList* /*header*/) override {
    if (Succeeded(status)) ++m_client.m_headersRead;
    return kOk;
  }
  Status PacketReady(Status /*status*/, IQBPacket* packet) override {
    m_client.OnPacket(packet->GetStreamNumber(), *packet);
    return kOk;
  }
  Status StreamDone(std::uint16_t stream) override {
    m_client.OnStreamDone(stream);
    return kOk;
  }
  Status SeekDone(Status status) override {
    m_client.OnSeekDone(status);
    return kOk;
  }

 private:
  Client& m_client;
};

Client::Client(const PluginLibrary& library, IUnknown* context, BlockReader file, const FileOptions& options)
    : m_file(MakeObject<FileObject>(std::move(file), options, m_loop)),
      m_sink(MakeObject<Sink>(*this)),
      m_plugin(library.CreateInstance()),
      m_format(m_plugin.Query<IQBFileFormatObject>()) {
  if (!m_format) throw HostError("the plug-in's object is not a file-format object", kNoInterface);
  const Status status = m_plugin->InitPlugin(context);
  if (Failed(status)) throw HostError("the plug-in rejects its context", status);
}

Client::~Client() { m_format->Close(); }

bool Client::Open() {
  const auto request = MakeObject<Request>("clip.flv");
  m_format->InitFileFormat(request.Get(), m_sink.Get(), m_file.Get());
  RunCompletions();
  return m_isOpen;
}

bool Client::ReadHeaders() {
  m_headersRead = 0;
  m_format->GetFileHeader();
  RunCompletions();
  for (std::uint16_t stream = 0; stream < m_streamCount; ++stream) {
    m_format->GetStreamHeader(stream);
    RunCompletions();
  }
  return m_streamCount > 0 && m_headersRead == m_streamCount;
}

void Client::RunCompletions() {
  while (RunCompletion()) {
  }
}

}  // namespace qbflv::host
