// The layer's record of one file-format object.
#include "watch/session.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "host/status_text.h"
#include "watch/layer.h"

namespace qbflv::watch {

namespace {

/// Maximum number of kept packets whose release is checked. Checking all would keep their memory in use.
constexpr std::size_t kMaxKept = 16;

}  // namespace

bool FileState::IsPending() const {
  return std::ranges::any_of(queues, [](const Queue& queue) { return !queue.pending.empty(); });
}

void Session::Report(Rule rule, const char* call, const std::string& what) {
  // Another thread may be writing the history.
  const bool isOurs = m_depth.load() == 0 || m_thread.load() == std::this_thread::get_id();
  m_layer.Reports().Report(rule, call, what, isOurs ? m_history.Calls() : std::vector<PastCall>());
}

void Session::CheckFailure(const char* call, Status status) {
  switch (status) {
    case kNotImplemented:
    case kNoInterface:
    case kFailed:
    case kOutOfMemory:
    case kInvalidArgument:
    case kInvalidState:
    case kPrefersLinearAccess:
      return;
    default:
      Report(Rule::kUnknownStatus, call, fmt::format("{}: status {}", call, host::StatusHex(status)));
  }
}

void Session::ReportReference(const char* call, bool isMissing) {
  if (isMissing) {
    Report(Rule::kReturnedWithoutReference, call, fmt::format("{} returns an object without a reference", call));
  } else {
    Report(Rule::kSuccessWithoutObject, call, fmt::format("{} returns a success and null", call));
  }
}

bool Session::EnterPlugin(const char* call, std::uint32_t argument) {
  const std::thread::id self = std::this_thread::get_id();
  const std::uint32_t depth = m_depth.load(std::memory_order_relaxed);
  if (depth > 0 && m_thread.load(std::memory_order_relaxed) != self) {
    Report(Rule::kTwoThreads, call, fmt::format("{} while another thread is inside the same object", call));
    return false;
  }
  m_thread.store(self, std::memory_order_relaxed);
  if (depth == 0) m_stopwatch.Interrupt();
  m_stopwatch.AddTo(m_totals.ticksInHost);
  m_history.Add(call, argument, depth);
  m_depth.store(depth + 1, std::memory_order_relaxed);
  m_totals.maxNesting = std::max<std::uint64_t>(m_totals.maxNesting, depth + 1);
  if (dataCalls > 0) {
    Report(Rule::kCallFromData, call, fmt::format("{} from inside an operation of a buffer, packet or list", call));
  }
  return true;
}

void Session::LeavePlugin() {
  m_stopwatch.AddTo(m_totals.ticksInPlugin);
  const std::uint32_t depth = m_depth.load(std::memory_order_relaxed) - 1;
  m_depth.store(depth, std::memory_order_relaxed);
  if (depth == 0) m_idleSince = Ticks();
}

void Session::EnterHost(const char* call, std::uint32_t argument) {
  const std::uint32_t depth = m_depth.load(std::memory_order_relaxed);
  m_stopwatch.AddTo(m_totals.ticksInPlugin);
  m_history.Add(call, argument, depth);
  m_depth.store(depth + 1, std::memory_order_relaxed);
  m_totals.maxNesting = std::max<std::uint64_t>(m_totals.maxNesting, depth + 1);
}

void Session::LeaveHost() {
  m_stopwatch.AddTo(m_totals.ticksInHost);
  m_depth.store(m_depth.load(std::memory_order_relaxed) - 1, std::memory_order_relaxed);
}

/// Does not report a refusal that a nested Close, Seek or InitFileFormat caused. Those change the epoch.
void Session::OnRequest(const char* call, Status status, std::uint32_t epochBefore) {
  ++m_totals.requests;
  if (status != kInvalidState || m_epoch != epochBefore) return;
  Report(Rule::kWrongState, call, fmt::format("{} is refused in the present state", call));
}

bool Session::CheckStream(const char* call, std::uint16_t stream) {
  if (m_packetPending.empty() || stream < m_packetPending.size()) return true;
  Report(Rule::kUnknownStream, call,
         fmt::format("{}({}) in a file with {} streams", call, stream, m_packetPending.size()));
  return false;
}

Session::PacketRequest Session::BeginPacket(std::uint16_t stream) {
  static constexpr char kCall[] = "IQBFileFormatObject::GetPacket";
  if (!CheckStream(kCall, stream)) return PacketRequest::kWrong;
  if (stream >= m_packetPending.size()) return PacketRequest::kAllowed;
  if (m_packetPending[stream]) {
    Report(Rule::kPacketRequestedTwice, kCall,
           fmt::format("{}({}) while an earlier one of the stream is pending", kCall, stream));
    return PacketRequest::kWrong;
  }
  m_packetPending[stream] = true;
  return PacketRequest::kAllowed;
}

void Session::CancelPacket(std::uint16_t stream) {
  if (stream < m_packetPending.size()) m_packetPending[stream] = false;
}

void Session::OnDelivered(std::uint16_t stream, bool isDone) {
  if (!isDone) ++m_totals.packets;
  if (stream >= m_packetPending.size()) return;
  m_packetPending[stream] = false;
  if (isDone) m_streamDone[stream] = true;
}

void Session::SetStreamCount(std::uint32_t count) {
  m_packetPending.assign(count, false);
  m_streamDone.assign(count, false);
}

void Session::Restart() {
  ++m_epoch;
  m_packetPending.assign(m_packetPending.size(), false);
  m_streamDone.assign(m_streamDone.size(), false);
}

/// Also forgets closed files without pending operations. A late completion reaches its FileState through the response
/// object.
std::shared_ptr<FileState> Session::OpenFile(const void* identity) {
  std::erase_if(m_files, [](const auto& file) { return file->isClosed && !file->IsPending(); });
  auto file = std::make_shared<FileState>();
  file->identity = identity;
  m_files.push_back(file);
  return file;
}

std::uint64_t Session::OnOperation(FileState& file, Operation operation, std::uint32_t argument) {
  ++m_totals.operations;
  if (operation == Operation::kRead) ++m_totals.reads;
  if (operation == Operation::kSeek) file.position = argument;
  file.Of(operation).pending.push_back({++m_serial, argument});
  return m_serial;
}

void Session::OnRefused(FileState& file, Operation operation, std::uint64_t serial) {
  FileState::Queue& queue = file.Of(operation);
  queue.refused += std::erase_if(queue.pending, [&](const auto& pending) { return pending.serial == serial; });
}

std::optional<std::uint32_t> Session::OnCompletion(const char* call, FileState& file, Operation operation,
                                                   std::optional<std::uint32_t> bytes) {
  FileState::Queue& queue = file.Of(operation);
  if (!queue.pending.empty()) {
    auto completed = queue.pending.begin();
    // A read with more bytes than the oldest one requested may be a later one.
    if (bytes && *bytes > completed->argument) {
      const auto later = std::ranges::find(queue.pending, *bytes, &FileState::Pending::argument);
      if (later != queue.pending.end()) {
        Report(
            Rule::kOutOfOrder, call,
            fmt::format("{} passes {} bytes; the oldest pending read requested {}", call, *bytes, completed->argument));
        completed = later;
      }
    }
    const std::uint32_t argument = completed->argument;
    queue.pending.erase(completed);
    ++queue.completed;
    return argument;
  }
  if (queue.refused > 0) {
    --queue.refused;
    return std::nullopt;
  }
  const bool isOfAnother = std::ranges::any_of(
      m_files, [&](const auto& other) { return other.get() != &file && !other->Of(operation).pending.empty(); });
  if (isOfAnother) {
    Report(Rule::kWrongObject, call, fmt::format("{} on the response object of an earlier InitFileFormat", call));
  } else if (file.isClosed) {
    Report(Rule::kCompletedAfterClose, call, fmt::format("{} after Close, without a pending operation", call));
  } else if (queue.completed > 0) {
    Report(Rule::kCompletedTwice, call, fmt::format("{} without a pending operation: all are completed", call));
  } else {
    Report(Rule::kNotRequested, call, fmt::format("{} without any such operation", call));
  }
  return std::nullopt;
}

void Session::OnReadDone(const char* call, FileState& file, std::uint32_t requested, Status status, bool hasBuffer,
                         std::uint32_t bytes) {
  if (Failed(status)) return;
  if (!hasBuffer) return Report(Rule::kReadWithoutBuffer, call, fmt::format("{} with success and null", call));
  if (bytes > requested) {
    Report(Rule::kReadTooLong, call, fmt::format("{} passes {} bytes for Read({})", call, bytes, requested));
  }
  file.position += bytes;
  if (file.size && bytes > 0 && file.position > *file.size) {
    Report(Rule::kSizeWraps, call,
           fmt::format("{} passes bytes up to {} of a file whose Stat reported {} bytes", call, file.position,
                       *file.size));
  }
}

/// Reports only after a long wait: a host may close at any time, also with operations in its own queue.
void Session::CheckNeverCompleted(const char* call) {
  if (IsNested() || m_files.empty() || m_files.back()->isClosed || !m_files.back()->IsPending()) return;
  const double waited = m_layer.Reports().Seconds(Ticks() - m_idleSince);
  if (waited < m_layer.Patience()) return;
  Report(Rule::kNeverCompleted, call,
         fmt::format("{} with an operation of the file pending for {:.1f} s, in which nothing happened", call, waited));
}

void Session::OnPacketCreated() {
  ++m_queuedPackets;
  m_totals.maxQueuedPackets = std::max(m_totals.maxQueuedPackets, m_queuedPackets);
}

void Session::WatchKept(ComPtr<IQBPacket> packet) {
  m_kept.push_back(std::move(packet));
  if (m_kept.size() > kMaxKept) m_kept.pop_front();
}

void Session::CheckKept(const char* call) {
  std::size_t left = 0;
  for (const ComPtr<IQBPacket>& packet : std::exchange(m_kept, {})) {
    if (OtherReferences(*packet) > 0) ++left;
  }
  if (left > 0) Report(Rule::kPacketKept, call, fmt::format("{} while the host keeps {} packets", call, left));
}

Totals Session::TakeTotals() { return std::exchange(m_totals, {}); }

}  // namespace qbflv::watch
