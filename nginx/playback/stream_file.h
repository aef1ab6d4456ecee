// The file object that lets the plug-in read a film without copying, and without blocking the worker.
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

/// A read completes inside the call if the bytes are loaded, otherwise after a task has loaded them. The object does
/// not report the size of the view, so the plug-in reads up to the closing tags.
class StreamFile final : public host::ComObject<IQBSourceFile> {
 public:
  /// layout: the layout of the view to read. tasks: must outlive this object and its reads.
  StreamFile(std::shared_ptr<FilmBytes> film, std::shared_ptr<const flv::ViewLayout> layout, TaskRunner& tasks);

  /// Sets a function that is called after each read that a task has completed; null for none. The function may release
  /// this object.
  void SetListener(std::function<void()> listener) { m_listener = std::move(listener); }

  /// Returns true while a read waits for a task.
  bool IsReading() const { return m_isReading; }

  Status Init(std::uint32_t flags, IQBFileResponse* response) override;
  /// The completion of a running task is ignored.
  Status Close() override;
  Status Read(std::uint32_t count) override;
  Status Seek(std::uint32_t offset, BOOL relative) override;
  Status SetAccessHint(std::uint32_t hint) override;

 private:
  /// A range of the view whose bytes equal the film's and are loaded. Reads inside it need no lookup.
  struct Window {
    std::shared_ptr<std::uint8_t[]> bytes;
    /// Offsets in the view.
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
    /// Time of the last check that the bytes are loaded.
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
