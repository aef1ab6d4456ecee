// The file object of a server: a read-ahead of one block, which is filled without blocking the caller.
#include "nginx/playback/stream_file.h"

#include <algorithm>
#include <utility>

#include "host/buffer.h"

namespace qbflv::server {

StreamFile::StreamFile(std::shared_ptr<const flv::View> cached, std::shared_ptr<const flv::View> view,
                       std::uint32_t readAhead, TaskRunner& tasks)
    : m_cached(std::move(cached)), m_view(std::move(view)), m_readAhead(readAhead), m_tasks(tasks) {}

Status StreamFile::Init(std::uint32_t /*flags*/, IQBFileResponse* response) {
  if (response == nullptr) return kInvalidArgument;
  m_response = ComPtr<IQBFileResponse>::Retain(response);
  m_position = 0;
  return ComPtr<IQBFileResponse>(m_response)->InitDone(kOk);
}

Status StreamFile::Close() {
  m_isReading = false;
  m_block = {};
  m_response = nullptr;
  return kOk;
}

Status StreamFile::Seek(std::uint32_t offset, BOOL relative) {
  if (!m_response) return kInvalidState;
  if (relative != 0) return kNotImplemented;
  m_position = offset;
  return ComPtr<IQBFileResponse>(m_response)->SeekDone(kOk);
}

/// The end of the view holds the closing tags alone; nothing there is worth a seek.
Status StreamFile::SetAccessHint(std::uint32_t /*hint*/) { return kPrefersLinearAccess; }

Status StreamFile::Read(std::uint32_t count) {
  if (!m_response || m_isReading) return kInvalidState;
  if (count == 0 || Holds(m_position, count)) return Deliver(count);
  return host::WithoutThrowing([&] {
    Block block = AllocateBlock(count);
    const std::span bytes(block.bytes.get(), static_cast<std::size_t>(block.size));
    const std::int64_t got = m_cached ? m_cached->ReadAt(block.offset, bytes) : flv::ByteSource::kReadFailed;
    if (got < 0) return StartTask(std::move(block), count) ? kOk : kFailed;
    block.size = got;
    m_block = std::move(block);
    return Deliver(count);
  });
}

bool StreamFile::Holds(std::uint64_t offset, std::uint32_t count) const {
  return offset >= m_block.offset && offset + count <= m_block.offset + static_cast<std::uint64_t>(m_block.size);
}

/// The count may be wrong, so no more than the view has.
StreamFile::Block StreamFile::AllocateBlock(std::uint32_t count) const {
  const std::uint64_t left = m_position < m_view->Size() ? m_view->Size() - m_position : 0;
  const std::uint64_t size = std::min<std::uint64_t>(std::max(count, m_readAhead), left);
  return {std::make_shared_for_overwrite<std::uint8_t[]>(static_cast<std::size_t>(size)), m_position,
          static_cast<std::int64_t>(size)};
}

bool StreamFile::StartTask(Block block, std::uint32_t count) {
  struct Job {
    Block block;
    std::shared_ptr<const flv::View> view;
    /// A file that was closed and opened again has another one.
    ComPtr<IQBFileResponse> response;
  };
  const auto job = std::make_shared<Job>(Job{std::move(block), m_view, m_response});
  m_isReading = true;
  const auto work = [job] {
    const std::span bytes(job->block.bytes.get(), static_cast<std::size_t>(job->block.size));
    job->block.size = job->view->ReadAt(job->block.offset, bytes);
  };
  const bool isQueued = m_tasks.Run(work, [self = ComPtr<StreamFile>::Retain(this), job, count] {
    if (!self->m_isReading || self->m_response.Get() != job->response.Get()) return;
    self->Complete(std::move(job->block), count);
  });
  if (!isQueued) m_isReading = false;
  return isQueued;
}

void StreamFile::Complete(Block block, std::uint32_t count) {
  m_isReading = false;
  m_hasFailed = block.size < 0;
  m_block = m_hasFailed ? Block{} : std::move(block);
  Deliver(count);
  const std::function<void()> listener = m_listener;
  if (listener) listener();
}

/// The completion may call back; do not touch members after it.
Status StreamFile::Deliver(std::uint32_t count) {
  const ComPtr<IQBFileResponse> response = m_response;
  if (std::exchange(m_hasFailed, false)) return response->ReadDone(kFailed, nullptr);
  const std::uint64_t end = m_block.offset + static_cast<std::uint64_t>(m_block.size);
  const bool isInside = m_position >= m_block.offset && m_position < end;
  const auto size = isInside ? static_cast<std::uint32_t>(std::min<std::uint64_t>(count, end - m_position)) : 0;
  std::shared_ptr<std::uint8_t[]> bytes;
  if (size > 0) bytes = {m_block.bytes, m_block.bytes.get() + (m_position - m_block.offset)};
  m_position += size;
  ComPtr<host::Buffer> buffer;
  const Status status = host::WithoutThrowing([&] {
    buffer = host::MakeObject<host::Buffer>(std::move(bytes), size);
    return kOk;
  });
  return response->ReadDone(status, buffer.Get());
}

}  // namespace qbflv::server
