#include "tests/support/scripted_file.h"

#include <algorithm>
#include <memory>
#include <span>
#include <utility>

#include "tests/support/scripted_objects.h"

namespace qbflv::test {

namespace {

/// The fault as a rule for an operation with that count or size.
void Apply(Failing how, Status refusal, std::uint32_t count, Rule& rule) {
  if (how == Failing::kRefuses || how == Failing::kRefusesAndCompletes) rule.result = refusal;
  if (how == Failing::kRefuses || how == Failing::kNeverCompletes) rule.silent = true;
  if (how == Failing::kCompletesWithFailure) rule.status = kFailed;
  if (how == Failing::kCompletesHalf) rule.size = count / 2;
  if (how == Failing::kCompletesEmpty) rule.size = 0;
  if (how == Failing::kCompletesMore) rule.size = count + 8;
  if (how == Failing::kNull) rule.hasNoBuffer = true;
}

}  // namespace

ScriptedFile::ScriptedFile(FileScript script, FaultPlan& plan, CallLog& log)
    : m_counted(plan), m_script(std::move(script)), m_log(log), m_occurrences(m_script.rules.size()) {}

Status ScriptedFile::QueryInterface(const GUID& id, void** object) {
  return Return(m_counted.plan, Asked::kInterface, object, [&] { return ComObject::QueryInterface(id, object); });
}

void* ScriptedFile::FindInterface(const GUID& id) {
  if (id == IQBFileStat::kId && m_script.stat == Stat::kAbsent) return nullptr;
  return ComObject::FindInterface(id);
}

Rule ScriptedFile::Take(Asked asked, std::string operation, std::uint32_t count) {
  ++m_operations;
  Rule taken;
  for (std::size_t i = 0; i < m_script.rules.size(); ++i) {
    const Rule& rule = m_script.rules[i];
    if (rule.operation != operation) continue;
    ++m_occurrences[i];
    if (rule.occurrence == 0 || rule.occurrence == m_occurrences[i]) taken = rule;
  }
  m_log.Add(std::move(operation));
  if (m_script.decide) taken = m_script.decide(asked, count);
  Apply(m_counted.plan.Take(asked), m_counted.plan.Refusal(), count, taken);
  return taken;
}

Status ScriptedFile::Init(std::uint32_t flags, IQBFileResponse* response) {
  const auto self = ComPtr<ScriptedFile>::Retain(this);
  m_response = ComPtr<IQBFileResponse>::Retain(response);
  m_position = 0;
  const Rule rule = Take(Asked::kInit, "Init(" + std::to_string(flags) + ")");
  return Settle(Asked::kInit, rule, [to = ComPtr<IQBFileResponse>::Retain(response), rule](auto failure) {
    return to->InitDone(failure.value_or(rule.status));
  });
}

Status ScriptedFile::Close() {
  const auto self = ComPtr<ScriptedFile>::Retain(this);
  m_log.Add("Close");
  m_response = nullptr;
  m_counted.plan.Tell(Asked::kClose);
  return kOk;
}

Status ScriptedFile::Read(std::uint32_t count) {
  const auto self = ComPtr<ScriptedFile>::Retain(this);
  const ComPtr<IQBFileResponse> to = m_response;
  const Rule rule = Take(Asked::kRead, "Read(" + std::to_string(count) + ")", count);
  Status status = rule.status;
  if (m_script.failsAtEnd && count > 0 && m_position >= m_script.bytes.size()) status = kFailed;
  ComPtr<IQBBuffer> buffer;
  if (Succeeded(status) && !rule.hasNoBuffer) buffer = Cut(rule.size.value_or(count));
  return Settle(Asked::kRead, rule, [to, status, buffer](auto failure) {
    return to ? to->ReadDone(failure.value_or(status), failure ? nullptr : buffer.Get()) : kOk;
  });
}

Status ScriptedFile::Seek(std::uint32_t offset, BOOL relative) {
  const auto self = ComPtr<ScriptedFile>::Retain(this);
  const ComPtr<IQBFileResponse> to = m_response;
  const Rule rule = Take(Asked::kSeek, "Seek(" + std::to_string(offset) + (relative == 0 ? ")" : ", relative)"));
  if (Succeeded(rule.status)) m_position = offset;
  return Settle(Asked::kSeek, rule,
                [to, rule](auto failure) { return to ? to->SeekDone(failure.value_or(rule.status)) : kOk; });
}

Status ScriptedFile::SetAccessHint(std::uint32_t hint) {
  const auto self = ComPtr<ScriptedFile>::Retain(this);
  const Rule rule = Take(Asked::kHint, "SetAccessHint(" + std::to_string(hint) + ")");
  m_counted.plan.Tell(Asked::kHint);
  return rule.result != kOk ? rule.result : m_script.accessHint;
}

Status ScriptedFile::Stat(IQBFileStatResponse* response) {
  const auto self = ComPtr<ScriptedFile>::Retain(this);
  const auto whole = static_cast<std::uint32_t>(m_script.bytes.size());
  const Rule rule = Take(Asked::kStat, "Stat", whole);
  const Status status = m_script.stat == Stat::kFailing ? kFailed : rule.status;
  const std::uint32_t size = rule.size.value_or(whole);
  return Settle(Asked::kStat, rule, [to = ComPtr<IQBFileStatResponse>::Retain(response), status, size](auto failure) {
    return to->StatDone(failure.value_or(status), size);
  });
}

Status ScriptedFile::Complete(std::size_t which, std::optional<Status> failure) {
  const auto self = ComPtr<ScriptedFile>::Retain(this);
  const Completion completion = std::move(m_pending.at(which));
  m_pending.erase(m_pending.begin() + static_cast<std::ptrdiff_t>(which));
  return completion(failure);
}

Status ScriptedFile::Settle(Asked asked, const Rule& rule, Completion completion) {
  FaultPlan& plan = m_counted.plan;
  if (!rule.silent && rule.completes.value_or(m_script.completes) == Completes::kLater) {
    m_pending.push_back(std::move(completion));
  } else if (!rule.silent) {
    completion({});
  }
  plan.Tell(asked);
  return rule.result;
}

ComPtr<IQBBuffer> ScriptedFile::Cut(std::uint32_t count) {
  Bytes produced;
  if (m_script.produce) produced = m_script.produce(m_position, count);
  const std::span<const std::uint8_t> whole(m_script.bytes);
  std::span<const std::uint8_t> piece = whole.subspan(std::min<std::uint64_t>(m_position, whole.size()));
  if (m_script.produce) piece = produced;
  piece = piece.first(std::min<std::size_t>(count, piece.size()));
  const auto size = static_cast<std::uint32_t>(piece.size());
  // A block of its own, so that a sanitizer sees a read beyond its end.
  std::shared_ptr<std::uint8_t[]> copy = std::make_shared<std::uint8_t[]>(size);
  std::ranges::copy(piece, copy.get());
  m_position += size;
  auto buffer = MakeScriptedBuffer(m_counted.plan, host::MakeObject<host::Buffer>(std::move(copy), size));
  if (m_keepsBuffers) m_buffers.push_back(buffer);
  return buffer;
}

}  // namespace qbflv::test
