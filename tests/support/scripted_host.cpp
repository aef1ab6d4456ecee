#include "tests/support/scripted_host.h"

#include <algorithm>

namespace qbflv::test {

ScriptedHost::ScriptedHost(const HostScript& script)
    : faults(script.fault),
      sink(host::MakeObject<host::RecordingSink>([this](const host::SinkEvent& event) { OnSink(event); })) {
  MakePlugin();
  UseRequest(script.url);
  UseFile(script.file);
  for (const auto& [name, value] : script.headers) static_cast<void>(request->Headers().SetText(name.c_str(), value));
  for (const auto& [name, value] : script.preferences) context->Preferences().SetPref(name.c_str(), value);
}

ScriptedHost::~ScriptedHost() {
  m_listener = nullptr;
  m_renews = m_reacts = false;
  faults.OnAsked(nullptr);
  ReleasePlugin();
  for (const ComPtr<ScriptedFile>& each : m_files) each->DropPending();
}

// A callback may have dropped the object in the middle of a script; what follows is then refused. The calls go through
// the only references that there are, so that the last Release may come inside them.
template <typename Call>
Status ScriptedHost::Ask(Kind completion, std::uint16_t stream, Call call) {
  // The completion may come inside the call.
  const std::uint32_t number = ++m_requests;
  m_open.push_back({completion, stream, number});
  const Status status = format ? call() : kInvalidState;
  if (Failed(status)) std::erase_if(m_open, [&](const Request& each) { return each.number == number; });
  if (m_pumps && m_depth == 0) Pump();
  return status;
}

Status ScriptedHost::InitPlugin() { return plugin ? plugin->InitPlugin(context->AsUnknown()) : kInvalidState; }

Status ScriptedHost::InitFileFormat() {
  m_phase = "opening";
  m_initStatus = kFailed;
  m_hasSought = false;
  m_open.clear();
  return Ask(Kind::kInitDone, 0, [&] { return format->InitFileFormat(request.Get(), sink.Get(), file.Get()); });
}

Status ScriptedHost::GetFileHeader() {
  return Ask(Kind::kFileHeaderReady, 0, [&] { return format->GetFileHeader(); });
}

Status ScriptedHost::GetStreamHeader(std::uint16_t stream) {
  return Ask(Kind::kStreamHeaderReady, 0, [&] { return format->GetStreamHeader(stream); });
}

Status ScriptedHost::GetPacket(std::uint16_t stream) {
  return Ask(Kind::kPacketReady, stream, [&] { return format->GetPacket(stream); });
}

Status ScriptedHost::Seek(std::uint32_t time) {
  const std::vector<Request> before = m_open;
  std::erase_if(m_open, [](const Request& each) {
    return each.completion == Kind::kPacketReady || each.completion == Kind::kSeekDone;
  });
  const Status status = Ask(Kind::kSeekDone, 0, [&] { return format->Seek(time); });
  if (Failed(status)) m_open = before;
  return status;
}

Status ScriptedHost::Close() {
  m_open.clear();
  const Status status = format ? format->Close() : kInvalidState;
  if (m_pumps && m_depth == 0) Pump();
  return status;
}

void ScriptedHost::UseFile(FileScript script) {
  m_files.push_back(host::MakeObject<ScriptedFile>(std::move(script), faults, log));
  file = m_files.back();
}

void ScriptedHost::UseRequest(std::string url) { request = host::MakeObject<ScriptedRequest>(faults, std::move(url)); }

bool ScriptedHost::Open() {
  if (Failed(InitPlugin()) || Failed(InitFileFormat())) return false;
  return m_initStatus == kOk;
}

bool ScriptedHost::OpenAndReadFileHeader() { return Open() && Succeeded(GetFileHeader()) && m_fileHeader; }

bool ScriptedHost::ReadHeaders() {
  if (!OpenAndReadFileHeader()) return false;
  for (std::uint16_t stream = 0; stream < m_streamCount; ++stream) {
    if (Failed(GetStreamHeader(stream)) || m_streamHeaders.empty() || !m_streamHeaders.back()) return false;
  }
  return true;
}

void ScriptedHost::Play() {
  if (ReadHeaders()) AskForAll();
}

void ScriptedHost::AskForAll() {
  m_renews = true;
  GetPackets();
}

void ScriptedHost::GetPackets() {
  for (std::uint16_t stream = 0; stream < m_streamCount; ++stream) GetPacket(stream);
}

void ScriptedHost::PlayNested(std::optional<std::uint32_t> thenSeek) {
  m_thenSeek = thenSeek;
  m_reacts = true;
  if (Succeeded(InitPlugin())) InitFileFormat();
}

void ScriptedHost::Pump() {
  const auto next = [this]() -> ComPtr<ScriptedFile> {
    const auto found = std::ranges::find_if(m_files, [](const auto& each) { return each->Pending() > 0; });
    return found == m_files.end() ? nullptr : *found;
  };
  while (const ComPtr<ScriptedFile> pending = next()) pending->Complete();
}

void ScriptedHost::MakePlugin() {
  plugin = CreatePlugin();
  format = plugin.Query<IQBFileFormatObject>();
}

void ScriptedHost::ReleasePlugin() {
  m_open.clear();
  format = nullptr;
  plugin = nullptr;
}

int ScriptedHost::Abandon() {
  for (const ComPtr<ScriptedFile>& each : m_files) each->DropPending();
  m_files.clear();
  file = nullptr;
  context = nullptr;
  request = nullptr;
  m_fileHeader = nullptr;
  m_streamHeaders.clear();
  return faults.objects + static_cast<int>(OtherReferences(sink.Get()));
}

std::string ScriptedHost::StreamProperty(std::size_t nth, std::string_view name) const {
  return nth < m_streamHeaders.size() ? Value(m_streamHeaders[nth].Get(), name) : "no header";
}

bool ScriptedHost::IsOpen(Kind completion) const {
  return std::ranges::any_of(m_open, [&](const Request& each) { return each.completion == completion; });
}

void ScriptedHost::Completed(const host::SinkEvent& event) {
  const bool isOfAStream = event.kind == Kind::kPacketReady || event.kind == Kind::kStreamDone;
  // The end of a stream completes its request for a packet; a stream may also end by itself.
  const Kind completion = event.kind == Kind::kStreamDone ? Kind::kPacketReady : event.kind;
  const auto found = std::ranges::find_if(m_open, [&](const Request& each) {
    return each.completion == completion && (!isOfAStream || each.stream == event.stream);
  });
  if (found != m_open.end()) {
    m_open.erase(found);
  } else if (event.kind != Kind::kStreamDone) {
    m_unasked.push_back(Describe(event));
  }
}

void ScriptedHost::OnSink(const host::SinkEvent& event) {
  ++m_depth;
  faults.Pause(true);
  if (log.IsEnabled()) log.Add(Describe(event));
  Completed(event);
  Note(event);
  faults.Pause(false);
  // A copy: what the listener does may replace it.
  const Listener listener = m_listener;
  if (listener) listener(event);
  if (m_reacts) {
    React(event);
  } else if (m_renews && event.kind == Kind::kPacketReady) {
    GetPacket(event.stream);
  }
  --m_depth;
}

void ScriptedHost::Note(const host::SinkEvent& event) {
  if (event.kind == Kind::kInitDone) {
    m_initStatus = event.status;
    m_streamCount = 0;
    m_fileHeader = nullptr;
    m_streamHeaders.clear();
  } else if (event.kind == Kind::kFileHeaderReady) {
    m_fileHeader = event.header;
    m_streamCount = 0;
    if (m_fileHeader) static_cast<void>(m_fileHeader->GetULONG32("StreamCount", &m_streamCount));
    m_headersRead = 0;
    m_streamsDone = 0;
  } else if (event.kind == Kind::kStreamHeaderReady) {
    m_streamHeaders.push_back(event.header);
    if (Succeeded(event.status)) ++m_headersRead;
  } else if (event.kind == Kind::kSeekDone) {
    m_streamsDone = 0;
  } else if (event.kind == Kind::kStreamDone) {
    ++m_streamsDone;
  }
}

void ScriptedHost::React(const host::SinkEvent& event) {
  if (Failed(event.status)) return;
  switch (event.kind) {
    case Kind::kInitDone:
      m_phase = "file header";
      GetFileHeader();
      return;
    case Kind::kFileHeaderReady:
      m_phase = "stream headers";
      GetStreamHeader(0);
      return;
    case Kind::kStreamHeaderReady:
      // A header that was asked for once more leaves one fewer to ask for.
      if (m_headersRead < m_streamCount && GetStreamHeader(m_headersRead) == kOk) return;
      if (m_phase == "play") return;
      m_phase = "play";
      return GetPackets();
    case Kind::kSeekDone:
      m_phase = "play on";
      return GetPackets();
    case Kind::kPacketReady:
      GetPacket(event.stream);
      return;
    case Kind::kStreamDone:
      if (m_streamsDone < m_streamCount || !m_thenSeek || m_hasSought) return;
      m_phase = "seek";
      m_hasSought = true;
      Seek(*m_thenSeek);
      return;
  }
}

}  // namespace qbflv::test
