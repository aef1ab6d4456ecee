// A file object over bytes in memory, each of whose answers the test chooses.
#include "tests/support/scripted_file.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "host/buffer.h"

namespace qbflv::test {

ScriptedFile::ScriptedFile(FileScript script, CallLog& log)
    : m_script(std::move(script)), m_log(log), m_occurrences(m_script.rules.size()) {}

void* ScriptedFile::FindInterface(const GUID& id) {
  if (id == IQBFileStat::kId && m_script.stat == Stat::kAbsent) return nullptr;
  return ComObject::FindInterface(id);
}

Rule ScriptedFile::Take(std::string operation) {
  Rule taken;
  for (std::size_t i = 0; i < m_script.rules.size(); ++i) {
    const Rule& rule = m_script.rules[i];
    if (rule.operation != operation) continue;
    ++m_occurrences[i];
    if (rule.occurrence == 0 || rule.occurrence == m_occurrences[i]) taken = rule;
  }
  m_log.Add(std::move(operation));
  return taken;
}

Status ScriptedFile::Init(std::uint32_t flags, IQBFileResponse* response) {
  const Rule rule = Take("Init(" + std::to_string(flags) + ")");
  m_response = ComPtr<IQBFileResponse>::Retain(response);
  m_position = 0;
  return Settle(
      rule, [to = m_response, status = rule.status](auto failure) { return to->InitDone(failure.value_or(status)); });
}

Status ScriptedFile::Close() {
  m_log.Add("Close");
  m_response = nullptr;
  return kOk;
}

Status ScriptedFile::Read(std::uint32_t count) {
  const Rule rule = Take("Read(" + std::to_string(count) + ")");
  Status status = rule.status;
  if (m_script.failsAtEnd && count > 0 && m_position >= m_script.bytes.size()) status = kFailed;
  ComPtr<IQBBuffer> buffer;
  if (Succeeded(status)) buffer = Cut(rule.size.value_or(count));
  return Operated(rule, [to = m_response, status, buffer](auto failure) {
    return to->ReadDone(failure.value_or(status), failure ? nullptr : buffer.Get());
  });
}

Status ScriptedFile::Seek(std::uint32_t offset, BOOL relative) {
  const Rule rule = Take("Seek(" + std::to_string(offset) + (relative == 0 ? ")" : ", relative)"));
  if (Succeeded(rule.status)) m_position = offset;
  return Operated(
      rule, [to = m_response, status = rule.status](auto failure) { return to->SeekDone(failure.value_or(status)); });
}

Status ScriptedFile::SetAccessHint(std::uint32_t hint) {
  m_log.Add("SetAccessHint(" + std::to_string(hint) + ")");
  return m_script.accessHint;
}

Status ScriptedFile::Stat(IQBFileStatResponse* response) {
  const Rule rule = Take("Stat");
  const Status status = m_script.stat == Stat::kFailing ? kFailed : rule.status;
  const std::uint32_t size = rule.size.value_or(static_cast<std::uint32_t>(m_script.bytes.size()));
  return Settle(rule, [to = ComPtr<IQBFileStatResponse>::Retain(response), status, size](auto failure) {
    return to->StatDone(failure.value_or(status), size);
  });
}

Status ScriptedFile::Answer(std::size_t which, std::optional<Status> failure) {
  const auto self = ComPtr<ScriptedFile>::Retain(this);
  const Completion completion = std::move(m_waiting.at(which));
  m_waiting.erase(m_waiting.begin() + static_cast<std::ptrdiff_t>(which));
  return completion(failure);
}

Status ScriptedFile::Settle(const Rule& rule, Completion completion) {
  if (rule.silent) return rule.result;
  if (m_script.answers == Answers::kLater) {
    m_waiting.push_back(std::move(completion));
    return rule.result;
  }
  // The completion may end in the last release of this object, which is not touched any more.
  const Status result = rule.result;
  completion({});
  return result;
}

Status ScriptedFile::Operated(const Rule& rule, Completion completion) {
  // What the listener does may end in the last release of this object, too.
  const std::function<void()> listener = m_listener;
  const Status result = Settle(rule, std::move(completion));
  if (listener) listener();
  return result;
}

ComPtr<IQBBuffer> ScriptedFile::Cut(std::uint32_t count) {
  const std::uint64_t left = m_script.bytes.size() - std::min<std::uint64_t>(m_position, m_script.bytes.size());
  const auto size = static_cast<std::uint32_t>(std::min<std::uint64_t>(count, left));
  std::shared_ptr<std::uint8_t[]> copy = std::make_shared<std::uint8_t[]>(size);
  if (size > 0) std::copy_n(m_script.bytes.begin() + static_cast<std::ptrdiff_t>(m_position), size, copy.get());
  m_position += size;
  auto buffer = host::MakeObject<host::Buffer>(std::move(copy), size).Query<IQBBuffer>();
  if (m_keepsBuffers) m_buffers.push_back(buffer);
  return buffer;
}

}  // namespace qbflv::test
