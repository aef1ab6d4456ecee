// The host's file object: one file on disk or in memory, with the behaviour of a selected kind of host.
#include "host/file_object.h"

#include <fmt/format.h>

#include <limits>
#include <utility>

#include "host/host_error.h"
#include "host/open_file.h"

namespace qbflv::host {

namespace {

/// The value of SetAccessHint that announces random access.
constexpr std::uint32_t kRandomAccess = 1;

}  // namespace

ComPtr<FileObject> FileObject::Open(const std::filesystem::path& path, FileOptions options, EventLoop& loop) {
  auto file = OpenFile(path);
  const std::uint64_t size = file->Size();
  if (size > std::numeric_limits<std::uint32_t>::max()) {
    throw HostError(fmt::format("it has {} bytes; files of 4 GiB or more cannot be read", size));
  }
  BlockReader reader(std::move(file), options.onBlock);
  return MakeObject<FileObject>(std::move(reader), std::move(options), loop);
}

FileObject::FileObject(BlockReader reader, FileOptions options, EventLoop& loop)
    : m_reader(std::move(reader)), m_options(std::move(options)), m_loop(loop) {}

void* FileObject::FindInterface(const GUID& id) {
  if (id == IQBFileStat::kId && m_options.stat == FileOptions::Stat::kNo) return nullptr;
  return ComObject::FindInterface(id);
}

Status FileObject::Init(std::uint32_t /*flags*/, IQBFileResponse* response) {
  if (response == nullptr) return kInvalidArgument;
  return WithoutThrowing([&] {
    m_response = std::make_shared<ComPtr<IQBFileResponse>>(ComPtr<IQBFileResponse>::Retain(response));
    m_position = 0;
    return Complete([to = m_response] { (*to)->InitDone(kOk); });
  });
}

Status FileObject::Close() {
  ++m_session;
  m_response = nullptr;
  return kOk;
}

Status FileObject::Read(std::uint32_t count) {
  if (!m_response) return kInvalidState;
  ++m_counts.reads;
  ComPtr<Buffer> buffer;
  const Status status = WithoutThrowing([&] { return ReadBuffer(count, buffer); });
  return Complete([to = m_response, status, buffer = std::move(buffer)] { (*to)->ReadDone(status, buffer.Get()); });
}

Status FileObject::ReadBuffer(std::uint32_t count, ComPtr<Buffer>& buffer) {
  Slice slice;
  const Status status = m_reader.Read(m_position, count, slice);
  if (Failed(status)) return status;
  if (slice.size == 0 && count > 0 && m_options.endOfFile == FileOptions::EndOfFile::kFail) return kFailed;
  m_position += slice.size;
  m_counts.bytes += slice.size;
  buffer = MakeObject<Buffer>(std::move(slice.bytes), slice.size);
  return kOk;
}

Status FileObject::Seek(std::uint32_t offset, BOOL relative) {
  if (!m_response) return kInvalidState;
  if (relative != 0) return kNotImplemented;
  ++m_counts.seeks;
  m_position = offset;
  m_reader.FetchAhead(offset);
  return Complete([to = m_response] { (*to)->SeekDone(kOk); });
}

Status FileObject::SetAccessHint(std::uint32_t hint) {
  const bool prefersLinear = hint == kRandomAccess && m_options.order == FileOptions::Order::kLinear;
  return prefersLinear ? kPrefersLinearAccess : kOk;
}

Status FileObject::Stat(IQBFileStatResponse* response) {
  if (response == nullptr) return kInvalidArgument;
  if (!m_response) return kInvalidState;
  const bool known = m_options.stat == FileOptions::Stat::kYes;
  const auto size = known ? static_cast<std::uint32_t>(m_reader.SourceSize()) : 0;
  return Complete(
      [to = ComPtr<IQBFileStatResponse>::Retain(response), known, size] { to->StatDone(known ? kOk : kFailed, size); });
}

/// The completion may make further calls or release the last reference to this object; do not touch members after it.
template <typename Completion>
Status FileObject::Complete(Completion&& completion) {
  if (m_options.completions == FileOptions::Completions::kInline) {
    completion();
    return kOk;
  }
  return WithoutThrowing([&] {
    m_loop.Post([self = ComPtr<FileObject>::Retain(this), session = m_session,
                 completion = std::forward<Completion>(completion)] {
      if (self->m_session == session) completion();
    });
    return kOk;
  });
}

}  // namespace qbflv::host
