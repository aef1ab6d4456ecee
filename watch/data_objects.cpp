// Wrappers of the host's buffers, packets and property lists, for the plug-in.
#include "watch/data_objects.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

namespace qbflv::watch {

Status WatchedBuffer::Set(const std::uint8_t* bytes, std::uint32_t length) {
  m_isWatched = false;
  const DataCall call(m_session);
  return m_real->Set(bytes, length);
}

Status WatchedBuffer::SetSize(std::uint32_t size) {
  m_isWatched = false;
  const DataCall call(m_session);
  const Status status = m_real->SetSize(size);
  m_session.CheckStatus("IQBBuffer::SetSize", status);
  return status;
}

std::uint32_t WatchedBuffer::GetSize() {
  const DataCall call(m_session);
  return m_real->GetSize();
}

std::uint8_t* WatchedBuffer::GetBuffer() {
  const DataCall call(m_session);
  std::uint8_t* const bytes = m_real->GetBuffer();
  if (bytes == nullptr && m_real->GetSize() > 0) {
    m_session.Report(Rule::kBufferWithoutBytes, "IQBBuffer::GetBuffer", "IQBBuffer::GetBuffer returns null");
  }
  return bytes;
}

WatchedBuffer::Sample WatchedBuffer::TakeSample() {
  const DataCall call(m_session);
  Sample sample{m_real->GetSize()};
  const std::uint8_t* const bytes = m_real->GetBuffer();
  if (bytes == nullptr) return sample;
  const std::size_t part = std::min<std::size_t>(sample.size, sizeof(sample.first));
  std::memcpy(&sample.first, bytes, part);
  std::memcpy(&sample.last, bytes + sample.size - part, part);
  return sample;
}

void WatchedBuffer::RequireUnchanged() {
  m_sample = TakeSample();
  m_isWatched = true;
}

void WatchedBuffer::CheckUnchanged() {
  if (!m_isWatched) return;
  m_isWatched = false;
  const Sample now = TakeSample();
  if (now == m_sample) return;
  m_session.Report(Rule::kBufferChanged, "IQBBuffer",
                   now.size != m_sample.size ? fmt::format("a buffer of {} bytes now has {}", m_sample.size, now.size)
                                             : fmt::format("the bytes of a buffer of {} bytes have changed", now.size));
}

IQBBuffer* RealBuffer(IQBBuffer* buffer) {
  return buffer != nullptr ? static_cast<WatchedBuffer*>(buffer)->Real() : nullptr;
}

WatchedPacket::WatchedPacket(Session& session, ComPtr<IQBPacket> real) : m_session(session), m_real(std::move(real)) {
  m_session.OnPacketCreated();
}

IQBBuffer* WatchedPacket::GetPacketBuffer() {
  const DataCall call(m_session);
  auto real = ComPtr<IQBBuffer>::Adopt(m_real->GetPacketBuffer());
  if (m_buffer && real.Get() == m_buffer->Real()) return ComPtr<WatchedBuffer>(m_buffer).Detach();
  return real ? host::MakeObject<WatchedBuffer>(m_session, std::move(real)).Detach() : nullptr;
}

Status WatchedPacket::Set(IQBBuffer* buffer, std::uint32_t time, std::uint16_t stream, std::uint8_t asmFlags,
                          std::uint16_t asmRule) {
  m_buffer = ComPtr<WatchedBuffer>::Retain(static_cast<WatchedBuffer*>(buffer));
  m_time = time;
  m_stream = stream;
  const DataCall call(m_session);
  const Status status = m_real->Set(RealBuffer(buffer), time, stream, asmFlags, asmRule);
  m_session.CheckStatus("IQBPacket::Set", status);
  return status;
}

void WatchedPacket::CheckUnchanged() {
  static constexpr char kCall[] = "IQBPacket";
  const DataCall call(m_session);
  if (m_buffer) m_buffer->CheckUnchanged();
  if (m_real->GetTime() != m_time || m_real->GetStreamNumber() != m_stream) {
    m_session.Report(Rule::kPacketChanged, kCall,
                     fmt::format("a packet set to time {} and stream {} returns {} and {}", m_time, m_stream,
                                 m_real->GetTime(), m_real->GetStreamNumber()));
  }
  const auto buffer = ComPtr<IQBBuffer>::Adopt(m_real->GetPacketBuffer());
  if (m_buffer && buffer.Get() != m_buffer->Real()) {
    m_session.Report(Rule::kPacketChanged, kCall, "a packet returns a buffer other than the one that Set stored");
  }
}

WatchedList::~WatchedList() {
  const DataCall call(m_session);
  for (const ReadNumber& before : m_numbers) {
    std::uint32_t number = 0;
    const Status status = m_real->GetULONG32(before.name.c_str(), &number);
    if (Succeeded(status) == Succeeded(before.status) && (Failed(status) || number == before.number)) continue;
    m_session.Report(Rule::kListChanged, "IQBPropertyList",
                     fmt::format("the value \"{}\" of a property list has changed", before.name));
  }
}

Status WatchedList::SetULONG32(const char* name, std::uint32_t value) {
  if (std::strcmp(name, "StreamCount") == 0) m_streamCount = value;
  const DataCall call(m_session);
  const Status status = m_real->SetULONG32(name, value);
  m_session.CheckStatus("IQBPropertyList::SetULONG32", status);
  return status;
}

Status WatchedList::GetULONG32(const char* name, std::uint32_t* value) {
  const DataCall call(m_session);
  const Status status = m_real->GetULONG32(name, value);
  m_session.CheckStatus("IQBPropertyList::GetULONG32", status);
  m_numbers.push_back({name, status, Succeeded(status) ? *value : 0});
  return status;
}

Status WatchedList::SetBuffer(const char* name, IQBBuffer* value) {
  const DataCall call(m_session);
  return m_real->SetBuffer(name, RealBuffer(value));
}

Status WatchedList::GetBuffer(const char* name, IQBBuffer** value) {
  const DataCall call(m_session);
  IQBBuffer* real = nullptr;
  const Status status = m_real->GetBuffer(name, &real);
  return WrapReturned(m_session, "IQBPropertyList::GetBuffer", status, real, value);
}

Status WatchedList::SetCString(const char* name, IQBBuffer* value) {
  const DataCall call(m_session);
  return m_real->SetCString(name, RealBuffer(value));
}

Status WatchedList::GetCString(const char* name, IQBBuffer** value) {
  const DataCall call(m_session);
  IQBBuffer* real = nullptr;
  const Status status = m_real->GetCString(name, &real);
  return WrapReturned(m_session, "IQBPropertyList::GetCString", status, real, value);
}

Status WrapReturned(Session& session, const char* call, Status status, IQBBuffer* real, IQBBuffer** buffer) {
  session.CheckStatus(call, status);
  ComPtr<IQBBuffer> returned = session.Returned(call, status, real);
  if (!returned) return status;
  auto watched = host::MakeObject<WatchedBuffer>(session, std::move(returned));
  watched->RequireUnchanged();
  *buffer = watched.Detach();
  return status;
}

}  // namespace qbflv::watch
