// The file object of a server: gives the plug-in a film's own bytes, without blocking the caller.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "flv/view.h"
#include "host/buffer.h"
#include "host/com_object.h"
#include "nginx/playback/film_bytes.h"
#include "nginx/playback/task_runner.h"

namespace qbflv::server {

/// Reads complete inside the call if the bytes are in memory, and otherwise when a task has loaded them. Does not tell
/// the size of the view, as it is read up to its closing tags.
class StreamFile final : public host::ComObject<IQBSourceFile> {
 public:
  /// layout: of the view to read. tasks: outlives this object and its reads.
  StreamFile(std::shared_ptr<FilmBytes> film, std::shared_ptr<const flv::ViewLayout> layout, TaskRunner& tasks);

  /// Called after each read that a task has completed; it may release this object. Null for no more calls.
  void SetListener(std::function<void()> listener) { m_listener = std::move(listener); }

  /// Whether a task loads for the open file.
  bool IsReading() const { return m_isReading; }

  Status Init(std::uint32_t flags, IQBFileResponse* response) override;
  /// A task that is under way completes without effect.
  Status Close() override;
  Status Read(std::uint32_t count) override;
  Status Seek(std::uint32_t offset, BOOL relative) override;
  Status SetAccessHint(std::uint32_t hint) override;

 private:
  /// Bytes of the film that stand in the view as they are, and that were loaded at this time.
  struct Window {
    std::shared_ptr<std::uint8_t[]> bytes;
    /// In the view.
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
    std::uint32_t time = 0;
  };

  bool IsInWindow(std::uint32_t count) const;
  void MoveWindow(std::optional<std::uint64_t> offset, std::uint32_t count);
  bool StartTask(std::uint64_t offset, std::uint32_t count);
  void Complete(bool isLoaded, std::uint64_t offset, std::uint32_t count);
  Status Deliver(std::uint32_t count);
  ComPtr<host::Buffer> Take(std::uint32_t count);

  const std::shared_ptr<FilmBytes> m_film;
  const flv::View m_view;
  TaskRunner& m_tasks;
  std::function<void()> m_listener;
  ComPtr<IQBFileResponse> m_response;
  Window m_window;
  std::uint64_t m_position = 0;
  bool m_isReading = false;
};

}  // namespace qbflv::server
