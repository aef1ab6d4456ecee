// The layer's record of one file-format object: the running calls, the pending requests and operations, and the totals.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "plugin/shell/host_interfaces.h"
#include "plugin/util/com_ptr.h"
#include "watch/history.h"
#include "watch/rules.h"
#include "watch/ticks.h"
#include "watch/totals.h"

namespace qbflv::watch {

class Layer;

enum class Operation { kInit, kRead, kSeek, kStat };

/// The operations of one file object since InitFileFormat. Each FileState has its own response object.
struct FileState {
  struct Pending {
    std::uint64_t serial = 0;
    /// Bytes of a read, offset of a seek.
    std::uint32_t argument = 0;
  };
  struct Queue {
    std::vector<Pending> pending;
    std::uint64_t completed = 0;
    /// Number of operations that the file object refused. It may complete them nevertheless.
    std::uint64_t refused = 0;
  };

  /// Address of the host's object; for comparison only.
  const void* identity = nullptr;
  std::array<Queue, 4> queues;
  bool isClosed = false;
  /// Offset of the next read.
  std::uint64_t position = 0;
  /// The size that Stat reported.
  std::optional<std::uint32_t> size;

  Queue& Of(Operation operation) { return queues[static_cast<std::size_t>(operation)]; }
  bool IsPending() const;
};

/// Not thread-safe, except for Report and EnterPlugin. EnterPlugin reports a call that overlaps with a call of another
/// thread; the session does not track such a call.
class Session {
 public:
  explicit Session(Layer& layer) : m_layer(layer) { m_totals.sessions = 1; }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  void Report(Rule rule, const char* call, const std::string& what);
  /// Reports a status that the contract does not define.
  void CheckStatus(const char* call, Status status) {
    if (status != kOk) CheckFailure(call, status);
  }
  /// Checks an object that a call into the host returned. Returns the object, or null if the call failed.
  template <typename Interface>
  ComPtr<Interface> Returned(const char* call, Status status, Interface* object);

  /// Records the start of a call of the host into the plug-in. Returns false if it overlaps with a call of another
  /// thread; LeavePlugin must not be called then.
  bool EnterPlugin(const char* call, std::uint32_t argument);
  void LeavePlugin();
  /// Records the start of a call of the plug-in into the host.
  void EnterHost(const char* call, std::uint32_t argument);
  void LeaveHost();
  bool IsNested() const { return m_depth.load(std::memory_order_relaxed) > 1; }

  /// Number of running operations of buffers, packets and lists.
  int dataCalls = 0;

  // Requests of the host.

  /// Counts a request. status: the status that the plug-in returned. epochBefore: the epoch before the call.
  void OnRequest(const char* call, Status status, std::uint32_t epochBefore);
  /// Reports a stream number that the file does not have. Returns false in that case.
  bool CheckStream(const char* call, std::uint16_t stream);
  enum class PacketRequest { kAllowed, kWrong };
  /// Call it before GetPacket, which may deliver inside the call. Reports a wrong request.
  PacketRequest BeginPacket(std::uint16_t stream);
  void CancelPacket(std::uint16_t stream);
  void OnDelivered(std::uint16_t stream, bool isDone);
  void SetStreamCount(std::uint32_t count);
  /// Cancels the pending requests: the host has called Seek, Close, InitPlugin or InitFileFormat.
  void Restart();
  std::uint32_t Epoch() const { return m_epoch; }

  // Operations on the file object.

  std::shared_ptr<FileState> OpenFile(const void* identity);
  std::uint64_t OnOperation(FileState& file, Operation operation, std::uint32_t argument);
  void OnRefused(FileState& file, Operation operation, std::uint64_t serial);
  /// Returns the argument of the operation that this completes. Reports a completion without a pending operation, and
  /// returns nothing. bytes: number of bytes that a read returned.
  std::optional<std::uint32_t> OnCompletion(const char* call, FileState& file, Operation operation,
                                            std::optional<std::uint32_t> bytes = {});
  void OnReadDone(const char* call, FileState& file, std::uint32_t requested, Status status, bool hasBuffer,
                  std::uint32_t bytes);
  /// Call it when the host closes or releases the object. Reports an operation that has been pending for a long time.
  void CheckNeverCompleted(const char* call);

  // Packets.

  /// Records a packet that the plug-in created.
  void OnPacketCreated();
  void OnPacketReleased() { --m_queuedPackets; }
  /// Remembers a packet to which the host has kept a reference.
  void WatchKept(ComPtr<IQBPacket> packet);
  /// Reports the remembered packets that the host has not released.
  void CheckKept(const char* call);

  /// Returns the totals and resets them.
  Totals TakeTotals();

 private:
  void CheckFailure(const char* call, Status status);
  void ReportReference(const char* call, bool isMissing);

  Layer& m_layer;
  std::atomic<std::thread::id> m_thread;
  std::atomic<std::uint32_t> m_depth = 0;
  Stopwatch m_stopwatch;
  History m_history;
  Totals m_totals;

  std::uint32_t m_epoch = 0;
  /// End of the last call that was not nested, in ticks.
  std::uint64_t m_idleSince = 0;
  std::vector<bool> m_packetPending;
  std::vector<bool> m_streamDone;
  std::vector<std::shared_ptr<FileState>> m_files;
  std::uint64_t m_serial = 0;
  std::uint64_t m_queuedPackets = 0;
  std::deque<ComPtr<IQBPacket>> m_kept;
};

template <typename Interface>
ComPtr<Interface> Session::Returned(const char* call, Status status, Interface* object) {
  if (Failed(status)) return nullptr;
  if (object == nullptr) {
    ReportReference(call, false);
    return nullptr;
  }
  // The object now has at least two references, unless it was returned without one. Keeps the added reference then.
  auto added = ComPtr<Interface>::Adopt(object);
  if (object->AddRef() < 2) {
    ReportReference(call, true);
  } else {
    object->Release();
  }
  return added;
}

/// Returns the number of references to an object of the host, not counting the caller's.
template <typename Interface>
std::uint32_t OtherReferences(Interface& object) {
  object.AddRef();
  return object.Release() - 1;
}

/// Marks a call of the host into the plug-in while it runs. Keeps the session alive: the call may delete the object.
class PluginCall {
 public:
  PluginCall(std::shared_ptr<Session> session, const char* call, std::uint32_t argument = 0)
      : m_session(std::move(session)), m_isTracked(m_session->EnterPlugin(call, argument)) {}
  PluginCall(const PluginCall&) = delete;
  PluginCall& operator=(const PluginCall&) = delete;
  ~PluginCall() {
    if (m_isTracked) m_session->LeavePlugin();
  }

  /// Returns false if another thread is inside the object. The call is then passed on without checks.
  bool IsTracked() const { return m_isTracked; }
  Session& GetSession() const { return *m_session; }

 private:
  std::shared_ptr<Session> m_session;
  bool m_isTracked;
};

/// Marks a call of the plug-in into the host while it runs.
class HostCall {
 public:
  HostCall(Session& session, const char* call, std::uint32_t argument = 0) : m_session(session) {
    m_session.EnterHost(call, argument);
  }
  HostCall(const HostCall&) = delete;
  HostCall& operator=(const HostCall&) = delete;
  ~HostCall() { m_session.LeaveHost(); }

 private:
  Session& m_session;
};

/// Marks a call of the plug-in into a buffer, packet or list of the host while it runs.
class DataCall {
 public:
  explicit DataCall(Session& session) : m_session(session) { ++m_session.dataCalls; }
  DataCall(const DataCall&) = delete;
  DataCall& operator=(const DataCall&) = delete;
  ~DataCall() { --m_session.dataCalls; }

 private:
  Session& m_session;
};

}  // namespace qbflv::watch
