// A file object over bytes in memory, each of whose answers the test chooses.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/com_object.h"
#include "tests/support/call_log.h"
#include "tests/support/flv_builder.h"

namespace qbflv::test {

/// When a file answers.
enum class Answers {
  kInline,  ///< inside the call that asks
  kLater,   ///< when the test says so, by Answer or through ScriptedHost::Pump
};

enum class Stat { kPresent, kAbsent, kFailing };

/// One answer that is not as the file's bytes have it.
struct Rule {
  /// The operation as the log has it, such as "Read(15)".
  std::string operation;
  /// Which of the equal operations, counted from 1; 0 for every one.
  int occurrence = 0;
  Status status = kOk;
  /// A read gives this many bytes at most; a stat tells this size.
  std::optional<std::uint32_t> size = {};
  /// The operation is never answered.
  bool silent = false;
  /// What the operation itself returns.
  Status result = kOk;
};

struct FileScript {
  Bytes bytes;
  Answers answers = Answers::kInline;
  Stat stat = Stat::kPresent;
  /// Reads with nothing left fail with kFailed; otherwise they give an empty buffer.
  bool failsAtEnd = false;
  /// What SetAccessHint answers.
  Status accessHint = kOk;
  std::vector<Rule> rules = {};
};

class ScriptedFile final : public host::ComObject<IQBSourceFile, IQBFileStat> {
 public:
  /// log: outlives the object.
  ScriptedFile(FileScript script, CallLog& log);

  Status Init(std::uint32_t flags, IQBFileResponse* response) override;
  Status Close() override;
  Status Read(std::uint32_t count) override;
  Status Seek(std::uint32_t offset, BOOL relative) override;
  Status SetAccessHint(std::uint32_t hint) override;
  Status Stat(IQBFileStatResponse* response) override;

  /// Answers that wait, the oldest first. They stay when the file is closed: late answers are a host's right.
  std::size_t Waiting() const { return m_waiting.size(); }
  /// Gives one of them, or that failure in its place; answers what the completion returned.
  Status Answer(std::size_t which = 0, std::optional<Status> failure = {});
  void DropWaiting() { m_waiting.clear(); }

  /// Called at the end of every Read and Seek, which is then answered or waits for its answer.
  void OnOperation(std::function<void()> listener) { m_listener = std::move(listener); }

  /// The buffers that reads gave, if asked for beforehand.
  void KeepBuffers() { m_keepsBuffers = true; }
  const std::vector<ComPtr<IQBBuffer>>& Buffers() const { return m_buffers; }

  IQBFileResponse* Response() const { return m_response.Get(); }

 protected:
  void* FindInterface(const GUID& id) override;

 private:
  /// Told of a failure that takes the answer's place.
  using Completion = std::function<Status(std::optional<Status>)>;

  /// Logs the operation and finds what is said about it.
  Rule Take(std::string operation);
  Status Settle(const Rule& rule, Completion completion);
  Status Operated(const Rule& rule, Completion completion);
  ComPtr<IQBBuffer> Cut(std::uint32_t count);

  FileScript m_script;
  CallLog& m_log;
  std::vector<int> m_occurrences;
  ComPtr<IQBFileResponse> m_response;
  std::uint64_t m_position = 0;
  std::deque<Completion> m_waiting;
  std::function<void()> m_listener;
  bool m_keepsBuffers = false;
  std::vector<ComPtr<IQBBuffer>> m_buffers;
};

}  // namespace qbflv::test
