#include "tests/watch/bad_host.h"

#include <algorithm>
#include <fstream>
#include <iterator>

namespace qbflv::test {

namespace {

std::vector<std::uint8_t> ReadSample() {
  std::ifstream file(QBFLV_SAMPLE, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

Status BadFile::Init(std::uint32_t /*flags*/, IQBFileResponse* borrowed) {
  response = ComPtr<IQBFileResponse>::Retain(borrowed);
  m_pending.emplace_back([to = response] { to->InitDone(kOk); });
  return kOk;
}

Status BadFile::Close() {
  m_pending.clear();
  return kOk;
}

Status BadFile::Read(std::uint32_t count) {
  const std::size_t begin = std::min(m_position, m_bytes.size());
  const std::size_t size = std::min<std::size_t>(count, m_bytes.size() - begin);
  m_position = begin + size;
  auto buffer = host::MakeObject<host::Buffer>();
  static_cast<void>(buffer->Set(m_bytes.data() + begin, static_cast<std::uint32_t>(size)));
  buffers.push_back(ComPtr<IQBBuffer>::Retain(buffer.Get()));
  m_pending.emplace_back([to = response, buffer] { to->ReadDone(kOk, buffer.Get()); });
  return kOk;
}

Status BadFile::Seek(std::uint32_t offset, BOOL /*relative*/) {
  m_position = offset;
  m_pending.emplace_back([to = response] { to->SeekDone(kOk); });
  return kOk;
}

Status BadFile::Stat(IQBFileStatResponse* borrowed) {
  const auto size = reportedSize != 0 ? reportedSize : static_cast<std::uint32_t>(m_bytes.size());
  m_pending.emplace_back([to = ComPtr<IQBFileStatResponse>::Retain(borrowed), size] { to->StatDone(kOk, size); });
  return kOk;
}

void BadFile::Complete() {
  const auto completion = std::move(m_pending.front());
  m_pending.pop_front();
  completion();
}

void BadFile::CompleteLatest() {
  const auto completion = std::move(m_pending.back());
  m_pending.pop_back();
  completion();
}

Status BadContext::QueryInterface(const GUID& id, void** object) {
  if (onQuery) onQuery();
  return ComObject::QueryInterface(id, object);
}

Status BadContext::CreateInstance(const GUID& classId, void** object) {
  if (create && create(classId, object)) return kOk;
  return m_factory->CreateInstance(classId, object);
}

BadHost::BadHost()
    : library(QBFLV_WATCH_PATH),
      file(host::MakeObject<BadFile>(ReadSample())),
      sink(host::MakeObject<host::RecordingSink>([this](const host::SinkEvent& event) {
        if (onSinkCall) onSinkCall(event);
      })),
      plugin(library.CreateInstance()),
      format(plugin.Query<IQBFileFormatObject>()) {}

BadHost::~BadHost() {
  if (format) format->Close();
  file->response = nullptr;
}

void BadHost::StartOpening() {
  plugin->InitPlugin(context.Get());
  format->InitFileFormat(request.Get(), sink.Get(), file.Get());
}

void BadHost::Pump() {
  while (file->IsPending()) file->Complete();
}

void BadHost::Open() {
  StartOpening();
  Pump();
}

void BadHost::ReadHeaders() {
  Open();
  format->GetFileHeader();
  Pump();
  format->GetStreamHeader(0);
  format->GetStreamHeader(1);
}

void BadHost::GetPackets() {
  format->GetPacket(0);
  format->GetPacket(1);
}

void BadHost::Play() {
  const auto other = std::exchange(onSinkCall, nullptr);
  onSinkCall = [this, other](const host::SinkEvent& event) {
    if (other) other(event);
    if (event.kind == host::SinkEvent::Kind::kPacketReady) format->GetPacket(event.packet->GetStreamNumber());
  };
  ReadHeaders();
  GetPackets();
  Pump();
}

}  // namespace qbflv::test
