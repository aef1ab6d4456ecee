// Plays one file through the plug-in: loads the library, opens the file, reads headers and packets, and seeks.
#include "host/session.h"

#include <fmt/format.h>

#include "host/buffer.h"
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

/// Returns the event's list. Succeeds for every list that this host's factory created.
ComPtr<PropertyList> ListOf(const SinkEvent& event) { return event.header.Query<PropertyList>(); }

/// Returns true for a time after the last playable tag. The plug-in itself only knows the end of the closing tags.
bool IsPastEnd(const flv::ViewLayout& layout, std::uint32_t time) {
  return std::int64_t{time} > flv::TimeBetween(layout.TimeBase(), layout.LatestTime());
}

ComPtr<FileObject> OpenFileObject(const SessionOptions& options, EventLoop& loop) {
  if (!options.view) return FileObject::Open(options.file, options.fileOptions, loop);
  FileOptions fileOptions = options.fileOptions;
  fileOptions.stat = FileOptions::Stat::kNo;
  return MakeObject<FileObject>(BlockReader(options.view, fileOptions.onBlock), fileOptions, loop);
}

}  // namespace

const SeekResult& SeekResult::OrThrow() const {
  if (Failed(status)) throw HostError(fmt::format("cannot seek to {} ms", time), status);
  return *this;
}

Session::Session(const SessionOptions& options) : Session(options.plugin) {
  m_view = options.view;
  m_file = OpenFileObject(options, m_loop);
  m_sink = MakeObject<RecordingSink>([this](const SinkEvent& event) { OnEvent(event); });
  m_plugin = m_library.CreateInstance();
  m_format = m_plugin.Query<IQBFileFormatObject>();
  if (!m_format) throw HostError("the plug-in's object is not a file-format object", kNoInterface);

  const Status status = m_plugin->InitPlugin(MakeContext(options.preferences).Get());
  if (Failed(status)) throw HostError("the plug-in rejects its context", status);
  const auto request = MakeRequest(options);
  const SinkEvent completion = RunRequest(SinkEvent::Kind::kInitDone, "opening the file", [&] {
    return m_format->InitFileFormat(request.Get(), m_sink.Get(), m_file.Get());
  });
  if (Failed(completion.status)) throw HostError("the plug-in cannot open the file", completion.status);
}

Session::~Session() { Close(); }

void Session::ReadHeaders() {
  const SinkEvent completion = RunRequest(SinkEvent::Kind::kFileHeaderReady, "reading the file header",
                                          [&] { return m_format->GetFileHeader(); });
  if (Failed(completion.status)) throw HostError("the plug-in cannot read the file header", completion.status);
  m_fileHeader = ListOf(completion);
  std::uint32_t streamCount = 0;
  if (!m_fileHeader || Failed(m_fileHeader->GetULONG32("StreamCount", &streamCount)) || streamCount > 0xFFFF) {
    throw HostError("the file header has no stream count");
  }
  for (std::uint32_t stream = 0; stream < streamCount; ++stream) {
    const SinkEvent header = RunRequest(SinkEvent::Kind::kStreamHeaderReady, "reading a stream header",
                                        [&] { return m_format->GetStreamHeader(static_cast<std::uint16_t>(stream)); });
    m_streamHeaders.push_back({header.status, ListOf(header)});
  }
  ResetDelivery();
}

void Session::RequireStreamHeaders() const {
  for (std::size_t stream = 0; stream < m_streamHeaders.size(); ++stream) {
    const Status status = m_streamHeaders[stream].status;
    if (Failed(status)) throw HostError(fmt::format("stream {} has no header", stream), status);
  }
}

std::vector<flv::TagType> Session::StreamTypes() const {
  RequireStreamHeaders();
  std::vector<flv::TagType> types;
  for (const StreamHeader& header : m_streamHeaders) {
    const Property* const type = header.properties->Find("PayloadType");
    const std::uint32_t number = type != nullptr && type->kind == Property::Kind::kNumber ? type->number : 0;
    const auto tagType = static_cast<flv::TagType>(number);
    if (tagType != flv::TagType::kAudio && tagType != flv::TagType::kVideo) {
      throw HostError(fmt::format("stream {} is neither audio nor video", types.size()));
    }
    types.push_back(tagType);
  }
  return types;
}

void Session::ReadPackets(PacketHandlers handlers) {
  RequireStreamHeaders();
  m_handlers = std::move(handlers);
  m_stopped = false;
  for (; !m_undelivered.empty() && !IsPaused(); m_undelivered.pop_front()) Deliver(m_undelivered.front());
  for (std::size_t stream = 0; stream < m_streams.size() && !IsPaused(); ++stream) {
    RequestPacket(static_cast<std::uint16_t>(stream));
  }
  while (!IsPaused() && m_loop.RunOne()) {
  }
  const bool paused = IsPaused();
  m_stopped = true;
  m_handlers = {};
  if (m_failure) std::rethrow_exception(std::exchange(m_failure, nullptr));
  if (!paused) throw HostError("the plug-in stopped delivery before the streams were done");
}

SeekResult Session::Seek(std::uint32_t time) {
  RequireStreamHeaders();
  const FileCounts before = m_file->Counts();
  const SinkEvent completion = RunRequest(SinkEvent::Kind::kSeekDone, "seeking", [&] { return m_format->Seek(time); });
  // Must follow the completion: packets that arrive before it belong to the old position.
  ResetDelivery();
  m_isPastEnd = m_view && IsPastEnd(m_view->Layout(), time);
  const FileCounts& after = m_file->Counts();
  return {time,
          completion.status,
          {after.reads - before.reads, after.seeks - before.seeks, after.bytes - before.bytes},
          m_file->Position()};
}

void Session::ResetDelivery() {
  m_streams.assign(m_streamHeaders.size(), {});
  m_streamsLeft = m_streams.size();
  m_undelivered.clear();
}

template <typename Request>
SinkEvent Session::RunRequest(SinkEvent::Kind completion, const char* what, Request request) {
  m_awaited = completion;
  m_completion.reset();
  const Status status = request();
  if (Failed(status) && !m_completion) return {completion, status, 0, nullptr, nullptr};
  while (!m_completion && m_loop.RunOne()) {
  }
  if (!m_completion) throw HostError(fmt::format("{}: the plug-in does not complete the request", what));
  return *m_completion;
}

/// Stores exceptions until the plug-in has returned: they must not propagate through the plug-in.
void Session::OnEvent(const SinkEvent& event) noexcept {
  try {
    if (event.kind == SinkEvent::Kind::kPacketReady || event.kind == SinkEvent::Kind::kStreamDone) {
      OnDelivery(event);
    } else if (event.kind == m_awaited) {
      m_completion = event;
    }
  } catch (...) {
    m_failure = std::current_exception();
    m_stopped = true;
  }
}

void Session::OnDelivery(const SinkEvent& event) {
  const bool isPacket = event.kind == SinkEvent::Kind::kPacketReady;
  if (isPacket && !event.packet) throw HostError("the plug-in delivered a null packet", event.status);
  if (event.stream >= m_streams.size()) {
    throw HostError(fmt::format("the plug-in delivered a packet of stream {}, which does not exist", event.stream));
  }
  m_streams[event.stream].requested = false;
  if (isPacket && (m_isPastEnd || IsClosing(*event.packet))) {
    if (!m_stopped) RequestPacket(event.stream);
    return;
  }
  if (m_stopped) {
    m_undelivered.push_back(event);
    return;
  }
  Deliver(event);
  // Without a further request, delivery stops.
  if (isPacket && !m_stopped) RequestPacket(event.stream);
}

bool Session::IsClosing(IQBPacket& packet) const {
  if (!m_view || packet.GetTime() != m_view->Layout().ClosingTime()) return false;
  const auto buffer = ComPtr<IQBBuffer>::Adopt(packet.GetPacketBuffer());
  return m_view->Layout().IsClosing(packet.GetTime(), BufferBytes(buffer.Get()));
}

void Session::Deliver(const SinkEvent& event) {
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
  if (Failed(status)) throw HostError(fmt::format("the plug-in refused GetPacket of stream {}", stream), status);
}

void Session::Close() {
  if (m_format) m_format->Close();
  m_loop.Clear();
}

}  // namespace qbflv::host
