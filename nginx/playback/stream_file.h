// The file object of a server: a read-ahead of one block, which is filled without blocking the caller.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "flv/view.h"
#include "host/com_object.h"
#include "nginx/playback/task_runner.h"

namespace qbflv::server {

/// Reads complete inside the call if the bytes are in the block or in the system's memory, and otherwise when a task
/// has read them. Does not tell the size of the view, as it is read up to its closing tags.
class StreamFile final : public host::ComObject<IQBSourceFile> {
 public:
  /// Bytes that are read at once, at least.
  static constexpr std::uint32_t kDefaultReadAhead = 64 * 1024;

  /// cached: the view over what is in memory; null if every read is a task. view: the same over the file, which may be
  /// read by other threads. tasks: outlives this object and its reads.
  StreamFile(std::shared_ptr<const flv::View> cached, std::shared_ptr<const flv::View> view, std::uint32_t readAhead,
             TaskRunner& tasks);

  /// Called after each read that a task has completed; it may release this object. Null for no more calls.
  void SetListener(std::function<void()> listener) { m_listener = std::move(listener); }

  /// Whether a task reads for the open file.
  bool IsReading() const { return m_isReading; }

  Status Init(std::uint32_t flags, IQBFileResponse* response) override;
  /// A task that is under way completes without effect.
  Status Close() override;
  Status Read(std::uint32_t count) override;
  Status Seek(std::uint32_t offset, BOOL relative) override;
  Status SetAccessHint(std::uint32_t hint) override;

 private:
  struct Block {
    std::shared_ptr<std::uint8_t[]> bytes;
    std::uint64_t offset = 0;
    std::int64_t size = 0;
  };

  bool Holds(std::uint64_t offset, std::uint32_t count) const;
  Block AllocateBlock(std::uint32_t count) const;
  bool StartTask(Block block, std::uint32_t count);
  void Complete(Block block, std::uint32_t count);
  Status Deliver(std::uint32_t count);

  const std::shared_ptr<const flv::View> m_cached;
  const std::shared_ptr<const flv::View> m_view;
  const std::uint32_t m_readAhead;
  TaskRunner& m_tasks;
  std::function<void()> m_listener;
  ComPtr<IQBFileResponse> m_response;
  Block m_block;
  std::uint64_t m_position = 0;
  bool m_isReading = false;
  bool m_hasFailed = false;
};

}  // namespace qbflv::server
