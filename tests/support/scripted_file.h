// A file object over bytes in memory. The test chooses how each of its operations goes.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/com_object.h"
#include "tests/support/call_log.h"
#include "tests/support/fault_plan.h"
#include "tests/support/flv_builder.h"

namespace qbflv::test {

/// When a file completes an operation.
enum class Completes {
  kInline,  ///< inside the call
  kLater,   ///< when the test says so, by Complete or through ScriptedHost::Pump
};

enum class Stat { kPresent, kAbsent, kFailing };

/// How an operation goes, where it does not go as the file's bytes have it.
struct Rule {
  /// The operation as the log has it, such as "Read(15)".
  std::string operation = {};
  /// Which of the equal operations, counted from 1; 0 for every one.
  int occurrence = 0;
  /// Of the completion.
  Status status = kOk;
  /// A read completes with this many bytes at most; a stat tells this size.
  std::optional<std::uint32_t> size = {};
  /// The operation is never completed.
  bool silent = false;
  /// What the operation itself returns.
  Status result = kOk;
  /// A read completes without a buffer.
  bool hasNoBuffer = false;
  std::optional<Completes> completes = {};
};

struct FileScript {
  Bytes bytes = {};
  /// In place of the bytes: what a read at that position gives.
  std::function<Bytes(std::uint64_t position, std::uint32_t count)> produce = {};
  Completes completes = Completes::kInline;
  Stat stat = Stat::kPresent;
  /// Reads with nothing left fail with kFailed; otherwise they give an empty buffer.
  bool failsAtEnd = false;
  /// What SetAccessHint returns.
  Status accessHint = kOk;
  std::vector<Rule> rules = {};
  /// Asked about each operation, with the bytes that a read is to give. May call the object back.
  std::function<Rule(Asked, std::uint32_t count)> decide = {};
};

class ScriptedFile final : public host::ComObject<IQBSourceFile, IQBFileStat> {
 public:
  /// plan, log: outlive the object.
  ScriptedFile(FileScript script, FaultPlan& plan, CallLog& log);

  Status QueryInterface(const GUID& id, void** object) override;

  Status Init(std::uint32_t flags, IQBFileResponse* response) override;
  Status Close() override;
  Status Read(std::uint32_t count) override;
  Status Seek(std::uint32_t offset, BOOL relative) override;
  Status SetAccessHint(std::uint32_t hint) override;
  Status Stat(IQBFileStatResponse* response) override;

  /// Operations that are not completed yet, the oldest first. They stay when the file is closed: a host may complete
  /// them late.
  std::size_t Pending() const { return m_pending.size(); }
  /// Completes one of them, or has it fail; returns what the completion returned.
  Status Complete(std::size_t which = 0, std::optional<Status> failure = {});
  void DropPending() { m_pending.clear(); }

  /// Keeps the buffers that reads give, from now on.
  void KeepBuffers() { m_keepsBuffers = true; }
  const std::vector<ComPtr<IQBBuffer>>& Buffers() const { return m_buffers; }

  /// Of operations on the file, seeks and reads together.
  std::uint64_t Operations() const { return m_operations; }

 protected:
  void* FindInterface(const GUID& id) override;

 private:
  /// Told of a failure that takes the place of the outcome.
  using Completion = std::function<Status(std::optional<Status>)>;

  /// Logs the operation and finds what is said about it.
  Rule Take(Asked asked, std::string operation, std::uint32_t count = 0);
  Status Settle(Asked asked, const Rule& rule, Completion completion);
  ComPtr<IQBBuffer> Cut(std::uint32_t count);

  Counted m_counted;
  const FileScript m_script;
  CallLog& m_log;
  std::vector<int> m_occurrences;
  ComPtr<IQBFileResponse> m_response;
  std::uint64_t m_position = 0;
  std::uint64_t m_operations = 0;
  std::deque<Completion> m_pending;
  bool m_keepsBuffers = false;
  std::vector<ComPtr<IQBBuffer>> m_buffers;
};

}  // namespace qbflv::test
