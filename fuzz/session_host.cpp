#include "fuzz/session_host.h"

#include <algorithm>
#include <memory>

#include "fuzz/target.h"
#include "host/buffer.h"
#include "host/context.h"

extern "C" qbflv::Status QBMCreateInstance(qbflv::IUnknown** object);

namespace qbflv::fuzz {

namespace {

/// What no request may take, and all of them together: operations on the file, for each byte of it and of a file's
/// least parts, and together for each byte of the script.
constexpr std::uint64_t kOperationsPerByte = 64;
constexpr std::uint64_t kLeastFile = 64;

/// The host's reactions nest this deep at most.
constexpr int kDeepest = 8;

/// The ways to answer an operation; those that a script reaches by most of its bytes come first.
enum class Way { kInline, kQueued, kFailed, kCut, kSilent, kRefused, kCallsFirst, kCount };

template <typename Interface>
std::uint32_t References(Interface* object) {
  object->AddRef();
  return object->Release();
}

}  // namespace

Status ScriptedFile::Init(std::uint32_t /*flags*/, IQBFileResponse* response) {
  m_response = ComPtr<IQBFileResponse>::Retain(response);
  m_position = 0;
  return m_host.Settle([to = m_response](Status status, bool) { to->InitDone(status); });
}

Status ScriptedFile::Close() { return kOk; }

Status ScriptedFile::Read(std::uint32_t count) {
  const auto self = ComPtr<ScriptedFile>::Retain(this);
  return m_host.Settle([self, count, to = m_response](Status status, bool cut) {
    const std::size_t begin = std::min<std::size_t>(self->m_position, self->m_bytes.size());
    const std::size_t left = self->m_bytes.size() - begin;
    auto size = static_cast<std::uint32_t>(std::min<std::size_t>(count, left));
    if (left == 0 && count > 0 && self->m_failsAtEnd) status = kFailed;
    if (cut) size /= 2;
    if (!to) return;
    if (Failed(status)) {
      to->ReadDone(status, nullptr);
      return;
    }
    // A block of its own, so that a read beyond its end is seen.
    auto bytes = std::make_shared<std::uint8_t[]>(size);
    std::copy_n(self->m_bytes.begin() + static_cast<std::ptrdiff_t>(begin), size, bytes.get());
    self->m_position += size;
    const auto buffer = host::MakeObject<host::Buffer>(std::move(bytes), size);
    to->ReadDone(status, buffer.Get());
  });
}

Status ScriptedFile::Seek(std::uint32_t offset, BOOL /*relative*/) {
  const auto self = ComPtr<ScriptedFile>::Retain(this);
  return m_host.Settle([self, offset, to = m_response](Status status, bool) {
    if (Succeeded(status)) self->m_position = offset;
    if (to) to->SeekDone(status);
  });
}

Status ScriptedFile::SetAccessHint(std::uint32_t /*hint*/) {
  return m_host.Script().Choose(4) == 1 ? kPrefersLinearAccess : kOk;
}

Status ScriptedFile::Stat(IQBFileStatResponse* response) {
  const auto size = static_cast<std::uint32_t>(m_bytes.size());
  return m_host.Settle([size, to = ComPtr<IQBFileStatResponse>::Retain(response)](Status status, bool cut) {
    to->StatDone(status, cut ? size / 2 : size);
  });
}

void* ScriptedFile::FindInterface(const GUID& id) {
  if (id == IQBFileStat::kId && !m_knowsSize) return nullptr;
  return ComObject::FindInterface(id);
}

SessionHost::SessionHost(std::span<const std::uint8_t> script, std::span<const std::uint8_t> file)
    : m_script(script), m_scriptSize(script.size()), m_fileBytes(file) {
  const std::uint8_t settings = m_script.Byte();
  host::NamedTexts preferences;
  if ((settings & 1) != 0) {
    preferences.emplace_back("DisableFLVThumbnailSeekModification", (settings & 2) != 0 ? "1" : "0");
  }
  if ((settings & 4) != 0) preferences.emplace_back("FLVMergeSorterMaxTimespan", "50");
  m_context = host::MakeContext(preferences).Query<IUnknown>();
  m_request = host::MakeObject<host::Request>((settings & 8) != 0 ? "http://host/a.flv?ProcessTimeUnits=3" : "a.flv");
  if ((settings & 16) != 0) m_request->Headers().SetText("AcceptMetaInfo", "*");
  m_sink = host::MakeObject<host::RecordingSink>([this](const host::SinkEvent& event) { OnSink(event); });
}

SessionHost::~SessionHost() {
  m_behavesWell = true;
  m_headers = 0;
  if (m_format) m_format->Close();
  m_format = nullptr;
  m_plugin = nullptr;
  m_waiting.clear();
  for (const auto& file : m_files) file->Disconnect();
  for (const auto& file : m_files) Require(References(file.Get()) == 1, "every reference to a file comes back");
  Require(References(m_sink.Get()) == 1, "every reference to the sink comes back");
  Require(References(m_request.Get()) == 1, "every reference to the request comes back");
  Require(References(m_context.Get()) == 1, "every reference to the context comes back");
}

void SessionHost::FollowScript() {
  Start();
  while (!m_script.IsOver()) {
    if (!m_waiting.empty() && m_script.Choose(4) != 3) {
      AnswerOne(m_script.Choose(m_waiting.size()));
    } else {
      CallSomething();
    }
  }
  AnswerAll();
}

void SessionHost::PlayWell() {
  m_behavesWell = true;
  m_waiting.clear();
  for (const auto& file : m_files) file->Disconnect();
  if (m_format) m_format->Close();
  m_format = nullptr;
  m_plugin = nullptr;
  m_operations = 0;
  Start();
  AnswerAll();
  if (!IsOpen() || m_streamCount == 0) return;
  // Twice, the second time with what was learned on the way.
  for (const std::uint32_t time : {std::uint32_t{50}, std::uint32_t{1000}}) {
    m_operations = 0;
    m_format->Seek(time);
    AnswerAll();
  }
}

Status SessionHost::Settle(const Completion& answer) {
  ++m_operations;
  ++m_allOperations;
  const std::uint64_t bytes = m_fileBytes.size() + kLeastFile;
  Require(m_operations <= kOperationsPerByte * bytes, "a request takes bounded work");
  Require(m_allOperations <= kOperationsPerByte * (bytes + m_scriptSize), "a session takes bounded work");
  const Way way =
      m_behavesWell ? Way::kInline : static_cast<Way>(m_script.Choose(static_cast<std::size_t>(Way::kCount)));
  switch (way) {
    case Way::kQueued:
      m_waiting.emplace_back([answer] { answer(kOk, false); });
      return kOk;
    case Way::kFailed:
      answer(kFailed, false);
      return kOk;
    case Way::kCut:
      answer(kOk, true);
      return kOk;
    case Way::kSilent:
      return kOk;
    case Way::kRefused:
      return kFailed;
    case Way::kCallsFirst:
      CallSomething();
      answer(kOk, false);
      return kOk;
    case Way::kInline:
    case Way::kCount:
      answer(kOk, false);
      return kOk;
  }
  return kOk;
}

void SessionHost::Start() {
  m_streamCount = 0;
  m_headers = 0;
  if (!m_plugin) {
    ComPtr<IUnknown> object;
    Require(QBMCreateInstance(object.Out()) == kOk, "an object is made");
    m_plugin = object.Query<IQBPlugin>();
    m_format = m_plugin.Query<IQBFileFormatObject>();
  }
  m_plugin->InitPlugin(m_context.Get());
  Begin();
}

void SessionHost::Begin() {
  const bool knowsSize = m_behavesWell || m_script.Choose(4) != 1;
  const bool failsAtEnd = !m_behavesWell && m_script.Choose(4) == 1;
  m_files.push_back(host::MakeObject<ScriptedFile>(*this, m_fileBytes, knowsSize, failsAtEnd));
  const ComPtr<IQBFileFormatObject> format = m_format;
  if (format) format->InitFileFormat(m_request.Get(), m_sink.Get(), m_files.back().Get());
}

void SessionHost::OnSink(const host::SinkEvent& event) {
  if (!IsOpen()) return;
  if (m_behavesWell) return Advance(event);
  switch (m_script.Choose(4)) {
    case 3:
      return;
    case 2:
      CallSomething();
      [[fallthrough]];
    default:
      return Advance(event);
  }
}

/// The next step of a good host.
void SessionHost::Advance(const host::SinkEvent& event) {
  using Kind = host::SinkEvent::Kind;
  const ComPtr<IQBFileFormatObject> format = m_format;
  if (!format) return;
  switch (event.kind) {
    case Kind::kInitDone:
      if (Succeeded(event.status)) format->GetFileHeader();
      return;
    case Kind::kFileHeaderReady:
      m_streamCount = 0;
      m_headers = 0;
      if (event.header) static_cast<void>(event.header->GetULONG32("StreamCount", &m_streamCount));
      if (m_streamCount > 0) format->GetStreamHeader(0);
      return;
    case Kind::kStreamHeaderReady:
      if (Failed(event.status)) return;
      if (++m_headers < m_streamCount) {
        format->GetStreamHeader(static_cast<std::uint16_t>(m_headers));
        return;
      }
      [[fallthrough]];
    case Kind::kSeekDone:
      for (std::uint32_t stream = 0; stream < m_streamCount; ++stream) {
        format->GetPacket(static_cast<std::uint16_t>(stream));
      }
      return;
    case Kind::kPacketReady:
      format->GetPacket(event.stream);
      return;
    case Kind::kStreamDone:
      return;
  }
}

void SessionHost::CallSomething() {
  if (m_depth >= kDeepest) return;
  ++m_depth;
  m_operations = 0;
  const ComPtr<IQBFileFormatObject> format = m_format;
  switch (m_script.Choose(12)) {
    case 1:
    case 2:
      if (format) format->GetPacket(static_cast<std::uint16_t>(m_script.Choose(3)));
      break;
    case 3:
    case 4:
      if (format) format->Seek(m_script.Number(2));
      break;
    case 5:
      if (format) format->Seek(m_script.Number(4));
      break;
    case 6:
      if (format) format->Close();
      break;
    case 7:
      if (m_files.size() < 16) Start();
      break;
    case 8:
      // Perhaps the last reference: the one in hand goes with this function.
      m_format = nullptr;
      m_plugin = nullptr;
      break;
    case 9:
      if (format) format->GetFileHeader();
      break;
    case 10:
      if (format) format->GetStreamHeader(static_cast<std::uint16_t>(m_script.Choose(3)));
      break;
    case 11:
      CompleteUnasked();
      break;
    default:
      if (!m_waiting.empty()) AnswerOne(m_script.Choose(m_waiting.size()));
      break;
  }
  --m_depth;
}

void SessionHost::CompleteUnasked() {
  const auto response = m_format.Query<IQBFileResponse>();
  if (!response) return;
  const Status status = m_script.Choose(2) == 0 ? kOk : kFailed;
  switch (m_script.Choose(4)) {
    case 0:
      response->ReadDone(status, host::MakeObject<host::Buffer>().Get());
      break;
    case 1:
      response->SeekDone(status);
      break;
    case 2:
      response->InitDone(status);
      break;
    default:
      response.Query<IQBFileStatResponse>()->StatDone(status, m_script.Number(4));
      break;
  }
}

void SessionHost::AnswerOne(std::size_t which) {
  const Answer answer = std::move(m_waiting[which]);
  m_waiting.erase(m_waiting.begin() + static_cast<std::ptrdiff_t>(which));
  answer();
}

void SessionHost::AnswerAll() {
  while (!m_waiting.empty()) AnswerOne(0);
}

}  // namespace qbflv::fuzz
