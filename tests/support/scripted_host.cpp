// A host for one file-format object: its objects, the order of its requests, and the log of what came of them.
#include "tests/support/scripted_host.h"

#include "host/system.h"
#include "tests/support/library_heap.h"

namespace qbflv::test {

const host::PluginLibrary& Library() {
  static const host::PluginLibrary library(QBFLV_PLUGIN_PATH);
  return library;
}

const LibraryExports& Exports() {
  static const LibraryExports exports = [] {
    Library();
    std::string error;
    void* const library = host::system::OpenLibrary(QBFLV_PLUGIN_PATH, error);
    void* const create = host::system::FindExport(library, kCreateInstanceName);
    WatchLibrary(create);
    return LibraryExports{reinterpret_cast<CreateInstanceFunction>(create),
                          reinterpret_cast<CanUnloadFunction>(host::system::FindExport(library, kCanUnloadName))};
  }();
  return exports;
}

ScriptedHost::ScriptedHost(const HostScript& script)
    : context(host::MakeObject<host::Context>(factory.Query<IQBObjectFactory>(), preferences.Query<IQBPreferences>())),
      request(host::MakeObject<ScriptedRequest>(script.url)),
      file(MakeFile(script.file)),
      sink(host::MakeObject<host::RecordingSink>([this](const host::SinkEvent& event) { OnSink(event); })),
      plugin(Library().CreateInstance()),
      format(plugin.Query<IQBFileFormatObject>()) {
  for (const auto& [name, value] : script.headers) static_cast<void>(request->Headers().SetText(name.c_str(), value));
  for (const auto& [name, value] : script.preferences) preferences->Values().SetPref(name.c_str(), value);
}

ScriptedHost::~ScriptedHost() {
  m_listener = nullptr;
  m_renews = m_nested = false;
  ReleasePlugin();
  for (const ComPtr<ScriptedFile>& each : m_files) each->DropWaiting();
}

Status ScriptedHost::Pumped(Status status) {
  if (m_pumps) Pump();
  return status;
}

// A callback may have dropped the object in the middle of a script; what follows is then refused. The calls go through
// the only references that there are, so that the last Release may come inside them.
Status ScriptedHost::InitPlugin() { return plugin ? plugin->InitPlugin(context.Get()) : kInvalidState; }

Status ScriptedHost::InitFileFormat() { return Pumped(format ? StartOver() : kInvalidState); }

Status ScriptedHost::GetFileHeader() { return Pumped(format ? format->GetFileHeader() : kInvalidState); }

Status ScriptedHost::GetStreamHeader(std::uint16_t stream) {
  return Pumped(format ? format->GetStreamHeader(stream) : kInvalidState);
}

Status ScriptedHost::GetPacket(std::uint16_t stream) {
  return Pumped(format ? format->GetPacket(stream) : kInvalidState);
}

Status ScriptedHost::Seek(std::uint32_t time) { return Pumped(format ? format->Seek(time) : kInvalidState); }

Status ScriptedHost::Close() { return Pumped(format ? format->Close() : kInvalidState); }

ComPtr<ScriptedFile> ScriptedHost::MakeFile(FileScript script) {
  m_files.push_back(host::MakeObject<ScriptedFile>(std::move(script), log));
  return m_files.back();
}

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
  if (!ReadHeaders()) return;
  RenewRequests();
  for (std::uint16_t stream = 0; stream < m_streamCount; ++stream) GetPacket(stream);
}

void ScriptedHost::PlayNested() {
  m_nested = true;
  RenewRequests();
  if (Succeeded(InitPlugin())) InitFileFormat();
}

void ScriptedHost::Pump() {
  const auto waiting = [this]() -> ComPtr<ScriptedFile> {
    for (const ComPtr<ScriptedFile>& each : m_files) {
      if (each->Waiting() > 0) return each;
    }
    return nullptr;
  };
  while (const ComPtr<ScriptedFile> next = waiting()) next->Answer();
}

void ScriptedHost::ReleasePlugin() {
  format = nullptr;
  plugin = nullptr;
}

std::string ScriptedHost::StreamProperty(std::size_t nth, std::string_view name) const {
  return nth < m_streamHeaders.size() ? Value(m_streamHeaders[nth].Get(), name) : "no header";
}

void ScriptedHost::OnSink(const host::SinkEvent& event) {
  using Kind = host::SinkEvent::Kind;
  log.Add(Describe(event));
  if (event.kind == Kind::kInitDone) {
    m_initStatus = event.status;
    m_streamCount = 0;
    m_headersRead = 0;
    m_fileHeader = nullptr;
    m_streamHeaders.clear();
  }
  if (event.kind == Kind::kFileHeaderReady) {
    m_fileHeader = event.header;
    m_streamCount = 0;
    if (event.header) static_cast<void>(event.header->GetULONG32("StreamCount", &m_streamCount));
  }
  if (event.kind == Kind::kStreamHeaderReady) m_streamHeaders.push_back(event.header);
  if (m_listener) m_listener(event);
  if (m_nested && format) ReactNested(event);
  if (m_renews && event.kind == Kind::kPacketReady && format) static_cast<void>(format->GetPacket(event.stream));
}

void ScriptedHost::ReactNested(const host::SinkEvent& event) {
  using Kind = host::SinkEvent::Kind;
  if (Failed(event.status)) return;
  if (event.kind == Kind::kInitDone) static_cast<void>(format->GetFileHeader());
  if (event.kind == Kind::kFileHeaderReady) static_cast<void>(format->GetStreamHeader(0));
  if (event.kind != Kind::kStreamHeaderReady) return;
  if (++m_headersRead < m_streamCount) {
    static_cast<void>(format->GetStreamHeader(static_cast<std::uint16_t>(m_headersRead)));
    return;
  }
  for (std::uint16_t stream = 0; stream < m_streamCount && format; ++stream) {
    static_cast<void>(format->GetPacket(stream));
  }
}

}  // namespace qbflv::test
