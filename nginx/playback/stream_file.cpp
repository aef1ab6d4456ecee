// The file object that lets the plug-in read a film without copying, and without blocking the worker.
#include "nginx/playback/stream_file.h"

#include <algorithm>
#include <utility>

namespace qbflv::server {

namespace {

/// Prefetches the next tag header and the start of its body. They are not in the processor's cache, because the bodies
/// between them are never touched. The address may be invalid.
void FetchAhead(const std::uint8_t* bytes) {
  constexpr std::size_t kSmallRead = 20;
  __builtin_prefetch(bytes);
  __builtin_prefetch(bytes + kSmallRead);
}

}  // namespace

StreamFile::StreamFile(std::shared_ptr<FilmBytes> film, std::shared_ptr<const flv::ViewLayout> layout,
                       TaskRunner& tasks)
    : m_film(std::move(film)), m_view(m_film, std::move(layout)), m_tasks(tasks) {}

Status StreamFile::Init(std::uint32_t /*flags*/, IQBFileResponse* response) {
  if (response == nullptr) return kInvalidArgument;
  m_response = ComPtr<IQBFileResponse>::Retain(response);
  m_position = 0;
  return ComPtr<IQBFileResponse>(m_response)->InitDone(kOk);
}

Status StreamFile::Close() {
  m_isReading = false;
  m_window = {};
  m_response = nullptr;
  return kOk;
}

Status StreamFile::Seek(std::uint32_t offset, BOOL relative) {
  if (!m_response) return kInvalidState;
  if (relative != 0) return kNotImplemented;
  m_position = offset;
  return ComPtr<IQBFileResponse>(m_response)->SeekDone(kOk);
}

/// The view ends with closing tags, so the plug-in gains nothing from seeking to the end.
Status StreamFile::SetAccessHint(std::uint32_t /*hint*/) { return kPrefersLinearAccess; }

Status StreamFile::Read(std::uint32_t count) {
  if (!m_response || m_isReading) return kInvalidState;
  if (m_film->HasLostBytes()) return ComPtr<IQBFileResponse>(m_response)->ReadDone(kFailed, nullptr);
  if (IsInWindow(count)) return Deliver(count);
  const auto offset = m_view.FileOffset(m_position);
  if (!offset || m_film->IsLoaded(*offset, count)) {
    MoveWindow(offset, count);
    return Deliver(count);
  }
  return host::WithoutThrowing([&] { return StartTask(*offset, count) ? kOk : kFailed; });
}

/// The window is valid for at most a second, because a viewer may stall for a long time.
bool StreamFile::IsInWindow(std::uint32_t count) const {
  return m_position >= m_window.begin && m_position + count <= m_window.end && m_window.time == FilmBytes::Now();
}

/// Moves the window to the current position. offset: the position in the file; empty for bytes that the layout has
/// made.
void StreamFile::MoveWindow(std::optional<std::uint64_t> offset, std::uint32_t count) {
  flv::SharedBytes shared = m_view.Share(m_position);
  const std::uint64_t loaded = offset ? m_film->LoadedEnd(*offset, count) - *offset : 0;
  m_window = {std::move(shared.bytes), m_position, m_position + std::min(shared.size, loaded), FilmBytes::Now()};
}

bool StreamFile::StartTask(std::uint64_t offset, std::uint32_t count) {
  struct Job {
    std::shared_ptr<FilmBytes> film;
    /// Identifies the request, because Init after Close sets another one.
    ComPtr<IQBFileResponse> response;
    bool isLoaded = false;
  };
  const auto job = std::make_shared<Job>(Job{m_film, m_response});
  m_isReading = true;
  const auto work = [job, offset, count] { job->isLoaded = job->film->Load(offset, count); };
  const bool isQueued = m_tasks.Run(work, [self = ComPtr<StreamFile>::Retain(this), job, offset, count] {
    if (job->isLoaded) job->film->SetLoaded(offset, count);
    if (!self->m_isReading || self->m_response.Get() != job->response.Get()) return;
    self->Complete(job->isLoaded, offset, count);
  });
  if (!isQueued) m_isReading = false;
  return isQueued;
}

void StreamFile::Complete(bool isLoaded, std::uint64_t offset, std::uint32_t count) {
  m_isReading = false;
  if (isLoaded) {
    MoveWindow(offset, count);
    Deliver(count);
  } else {
    ComPtr<IQBFileResponse>(m_response)->ReadDone(kFailed, nullptr);
  }
  const std::function<void()> listener = m_listener;
  if (listener) listener();
}

/// ReadDone may call back into this object; do not touch members after it.
Status StreamFile::Deliver(std::uint32_t count) {
  ComPtr<host::Buffer> buffer;
  const Status status = host::WithoutThrowing([&] {
    buffer = Take(count);
    return buffer ? kOk : kFailed;
  });
  return ComPtr<IQBFileResponse>(m_response)->ReadDone(status, buffer.Get());
}

/// Returns the bytes at the current position, fewer than count only at the end of the view, and moves the position.
/// Returns null if the file has lost some of them.
ComPtr<host::Buffer> StreamFile::Take(std::uint32_t count) {
  const std::uint64_t left = m_position < m_view.Size() ? m_view.Size() - m_position : 0;
  const auto size = static_cast<std::uint32_t>(std::min<std::uint64_t>(count, left));
  std::shared_ptr<std::uint8_t[]> bytes;
  if (m_position >= m_window.begin && m_position + size <= m_window.end) {
    bytes = {m_window.bytes, m_window.bytes.get() + (m_position - m_window.begin)};
  } else {
    bytes = std::make_shared_for_overwrite<std::uint8_t[]>(size);
    if (m_view.ReadAt(m_position, {bytes.get(), size}) != std::int64_t{size}) return nullptr;
  }
  m_position += size;
  FetchAhead(bytes.get() + size);
  return host::MakeObject<host::Buffer>(std::move(bytes), size);
}

}  // namespace qbflv::server
