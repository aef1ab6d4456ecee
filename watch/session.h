// What the layer knows of one file-format object: the running calls, the requests and operations that are pending, and
// the totals.
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

/// The operations of one file object from an Init on, which a response object of its own completes.
struct FileState {
  struct Pending {
    std::uint64_t serial = 0;
    /// Bytes of a read, offset of a seek.
    std::uint32_t argument = 0;
  };
  struct Queue {
    std::vector<Pending> pending;
    std::uint64_t completed = 0;
    /// Operations that were refused and may be completed all the same.
    std::uint64_t refused = 0;
  };

  /// Identifies the host's object; not called.
  const void* identity = nullptr;
  std::array<Queue, 4> queues;
  bool isClosed = false;
  /// Where the next read begins, and the size that Stat reported.
  std::uint64_t position = 0;
  std::optional<std::uint32_t> size;

  Queue& Of(Operation operation) { return queues[static_cast<std::size_t>(operation)]; }
  bool IsPending() const;
};

/// Used by one thread at a time, except for Report and Enter. A call that comes while another thread is inside the
/// object is reported, and leaves everything else as it is.
class Session {
 public:
  explicit Session(Layer& layer) : m_layer(layer) { m_totals.sessions = 1; }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  void Report(Rule rule, const char* call, const std::string& what);
  /// Reports statuses that the contract does not have.
  void CheckStatus(const char* call, Status status) {
    if (status != kOk) CheckFailure(call, status);
  }
  /// Checks an object that a call of the host returned. Returns it, null if the call failed.
  template <typename Interface>
  ComPtr<Interface> Returned(const char* call, Status status, Interface* object);

  // A call of the host into the plug-in. False if it overlaps with one of another thread; then without Leave.
  bool EnterPlugin(const char* call, std::uint32_t argument);
  void LeavePlugin();
  // A call of the plug-in into the host.
  void EnterHost(const char* call, std::uint32_t argument);
  void LeaveHost();
  bool IsNested() const { return m_depth.load(std::memory_order_relaxed) > 1; }

  /// Counts operations of buffers, packets and lists that are running.
  int dataCalls = 0;

  // Requests. Each is called with the status that the plug-in returned.
  void OnRequest(const char* call, Status status, std::uint32_t epochBefore);
  /// Reports the number of a stream that the file does not have, and returns true then.
  bool CheckStream(const char* call, std::uint16_t stream);
  enum class PacketRequest { kAllowed, kWrong };
  /// Called before GetPacket, which may deliver inside the call. Reports a wrong request.
  PacketRequest BeginPacket(std::uint16_t stream);
  void CancelPacket(std::uint16_t stream);
  void OnDelivered(std::uint16_t stream, bool isDone);
  void SetStreamCount(std::uint32_t count);
  /// A Seek, Close, InitPlugin or InitFileFormat: cancels the pending requests.
  void Restart();
  std::uint32_t Epoch() const { return m_epoch; }

  // Operations of the file object.
  std::shared_ptr<FileState> OpenFile(const void* identity);
  std::uint64_t OnOperation(FileState& file, Operation operation, std::uint32_t argument);
  void OnRefused(FileState& file, Operation operation, std::uint64_t serial);
  /// Null if the completion is not due. Returns the bytes or offset of the operation that it completes.
  std::optional<std::uint32_t> OnCompletion(const char* call, FileState& file, Operation operation,
                                            std::optional<std::uint32_t> bytes = {});
  void OnReadDone(const char* call, FileState& file, std::uint32_t requested, Status status, bool hasBuffer,
                  std::uint32_t bytes);
  /// The host closes or releases the object, and gives up an operation that was not completed for a long time.
  void CheckNeverCompleted(const char* call);

  // Packets that the plug-in holds, and those that the host kept.
  void OnPacketMade();
  void OnPacketReleased() { --m_queuedPackets; }
  void WatchKept(ComPtr<IQBPacket> packet);
  void CheckKept(const char* call);

  /// What the session did, once: then nothing.
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
  /// The end of the last call that was not nested, in ticks.
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
  // With the reference that it should carry there are two now. One that it lacks is not taken away again.
  auto added = ComPtr<Interface>::Adopt(object);
  if (object->AddRef() < 2) {
    ReportReference(call, true);
  } else {
    object->Release();
  }
  return added;
}

/// The references to an object of the host besides the one that the caller holds.
template <typename Interface>
std::uint32_t OtherReferences(Interface& object) {
  object.AddRef();
  return object.Release() - 1;
}

/// A call of the host into the plug-in, while it runs. Holds the session, since the call may end the object.
class PluginCall {
 public:
  PluginCall(std::shared_ptr<Session> session, const char* call, std::uint32_t argument = 0)
      : m_session(std::move(session)), m_isTracked(m_session->EnterPlugin(call, argument)) {}
  PluginCall(const PluginCall&) = delete;
  PluginCall& operator=(const PluginCall&) = delete;
  ~PluginCall() {
    if (m_isTracked) m_session->LeavePlugin();
  }

  /// False if another thread is inside the object: then the call only passes through.
  bool IsTracked() const { return m_isTracked; }
  Session& Its() const { return *m_session; }

 private:
  std::shared_ptr<Session> m_session;
  bool m_isTracked;
};

/// A call of the plug-in into the host, while it runs.
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

/// A call of the plug-in into a buffer, packet or list of the host, while it runs.
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
