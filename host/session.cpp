// One file played through the plug-in, from loading the library to the last packet.
#include "host/session.h"

#include <fmt/format.h>

#include "host/host_error.h"
#include "host/request.h"

namespace qbflv::host {

namespace {

ComPtr<Request> MakeRequest(const SessionOptions& options) {
  auto request = MakeObject<Request>(options.url);
  for (const auto& [name, value] : options.headers) {
    const Status status = request->Headers().SetText(name.c_str(), value);
    if (Failed(status)) throw HostError("cannot set the request's header " + name, status);
  }
  return request;
}

/// The list behind the interface. It was made by this host's factory, so it is there.
ComPtr<PropertyList> TakeList(const SinkEvent& event) { return event.header.Query<PropertyList>(); }

}  // namespace

Session::Session(const SessionOptions& options) : Session(options.plugin) {
  m_file = FileObject::Open(options.file, options.fileOptions, m_loop);
  m_sink = MakeObject<RecordingSink>([this](const SinkEvent& event) { OnEvent(event); });
  m_plugin = m_library.CreateInstance();
  m_format = m_plugin.Query<IQBFileFormatObject>();
  if (!m_format) throw HostError("the plug-in's object reads no files", kNoInterface);

  const Status status = m_plugin->InitPlugin(MakeContext(options.preferences).Get());
  if (Failed(status)) throw HostError("the plug-in does not take its context", status);
  const auto request = MakeRequest(options);
  const SinkEvent answer = Ask(SinkEvent::Kind::kInitDone, "opening the file",
                               [&] { return m_format->InitFileFormat(request.Get(), m_sink.Get(), m_file.Get()); });
  if (Failed(answer.status)) throw HostError("the plug-in cannot open the file", answer.status);
}

Session::~Session() { Close(); }

void Session::ReadHeaders() {
  const SinkEvent answer =
      Ask(SinkEvent::Kind::kFileHeaderReady, "reading the file header", [&] { return m_format->GetFileHeader(); });
  if (Failed(answer.status)) throw HostError("there is no file header", answer.status);
  m_fileHeader = TakeList(answer);
  std::uint32_t streamCount = 0;
  if (!m_fileHeader || Failed(m_fileHeader->GetULONG32("StreamCount", &streamCount)) || streamCount > 0xFFFF) {
    throw HostError("the file header does not tell the number of streams");
  }
  for (std::uint32_t stream = 0; stream < streamCount; ++stream) {
    const SinkEvent header = Ask(SinkEvent::Kind::kStreamHeaderReady, "reading a stream header",
                                 [&] { return m_format->GetStreamHeader(static_cast<std::uint16_t>(stream)); });
    m_streamHeaders.push_back({header.status, TakeList(header)});
  }
  StartOver();
}

void Session::RequireStreamHeaders() const {
  for (std::size_t stream = 0; stream < m_streamHeaders.size(); ++stream) {
    const Status status = m_streamHeaders[stream].status;
    if (Failed(status)) throw HostError(fmt::format("stream {} has no header", stream), status);
  }
}

void Session::ReadPackets(PacketHandlers handlers) {
  RequireStreamHeaders();
  m_handlers = std::move(handlers);
  m_stopped = false;
  for (; !m_kept.empty() && !IsPaused(); m_kept.pop_front()) Pass(m_kept.front());
  for (std::size_t stream = 0; stream < m_streams.size() && !IsPaused(); ++stream) {
    RequestPacket(static_cast<std::uint16_t>(stream));
  }
  while (!IsPaused() && m_loop.RunOne()) {
  }
  const bool paused = IsPaused();
  m_stopped = true;
  m_handlers = {};
  if (m_failure) std::rethrow_exception(std::exchange(m_failure, nullptr));
  if (!paused) throw HostError("the plug-in stopped delivering packets before the streams were done");
}

SeekResult Session::Seek(std::uint32_t time) {
  RequireStreamHeaders();
  const FileCounts before = m_file->Counts();
  const SinkEvent answer = Ask(SinkEvent::Kind::kSeekDone, "seeking", [&] { return m_format->Seek(time); });
  // Only now: what came before the answer belongs to what was sought away from.
  StartOver();
  const FileCounts& after = m_file->Counts();
  return {answer.status, {after.reads - before.reads, after.seeks - before.seeks, after.bytes - before.bytes}};
}

void Session::StartOver() {
  m_streams.assign(m_streamHeaders.size(), {});
  m_streamsLeft = m_streams.size();
  m_kept.clear();
}

template <typename Request>
SinkEvent Session::Ask(SinkEvent::Kind answer, const char* what, Request request) {
  m_awaited = answer;
  m_answer.reset();
  const Status status = request();
  if (Failed(status) && !m_answer) return {answer, status, 0, nullptr, nullptr};
  while (!m_answer && m_loop.RunOne()) {
  }
  if (!m_answer) throw HostError(fmt::format("{}: the plug-in does not answer", what));
  return *m_answer;
}

/// Exceptions wait here until the plug-in has returned: it is no code to throw through.
void Session::OnEvent(const SinkEvent& event) noexcept {
  try {
    if (event.kind == SinkEvent::Kind::kPacketReady || event.kind == SinkEvent::Kind::kStreamDone) {
      OnDelivery(event);
    } else if (event.kind == m_awaited) {
      m_answer = event;
    }
  } catch (...) {
    m_failure = std::current_exception();
    m_stopped = true;
  }
}

void Session::OnDelivery(const SinkEvent& event) {
  const bool isPacket = event.kind == SinkEvent::Kind::kPacketReady;
  if (isPacket && !event.packet) throw HostError("the plug-in delivered no packet", event.status);
  if (event.stream >= m_streams.size()) {
    throw HostError(fmt::format("the plug-in delivers for stream {}, which there is not", event.stream));
  }
  m_streams[event.stream].requested = false;
  if (m_stopped) {
    m_kept.push_back(event);
    return;
  }
  Pass(event);
  // Without this request the plug-in comes to rest: that is how delivery stops.
  if (isPacket && !m_stopped) RequestPacket(event.stream);
}

void Session::Pass(const SinkEvent& event) {
  if (event.kind == SinkEvent::Kind::kPacketReady) {
    m_stopped = !m_handlers.onPacket(*event.packet);
    return;
  }
  if (m_streams[event.stream].done) return;
  m_streams[event.stream].done = true;
  --m_streamsLeft;
  m_stopped = !m_handlers.onStreamDone(event.stream);
}

void Session::RequestPacket(std::uint16_t stream) {
  StreamState& state = m_streams[stream];
  if (state.done || state.requested) return;
  state.requested = true;
  const Status status = m_format->GetPacket(stream);
  if (Failed(status)) throw HostError(fmt::format("the plug-in refuses a packet request of stream {}", stream), status);
}

void Session::Close() {
  if (m_format) m_format->Close();
  m_loop.Clear();
}

}  // namespace qbflv::host
