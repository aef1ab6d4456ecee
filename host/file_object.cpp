// The host's file object: one file, of the file system or in memory, answering the way a chosen host would.
#include "host/file_object.h"

#include <fmt/format.h>

#include <cerrno>
#include <limits>
#include <utility>

#include "host/host_error.h"
#include "host/system.h"

namespace qbflv::host {

namespace {

/// The value of SetAccessHint that announces jumps.
constexpr std::uint32_t kJumpsAhead = 1;

void RequireReadableFile(const system::FileStatus& status) {
  if (status.isDirectory) throw HostError("it is a directory");
  if (!status.isRegular) throw HostError("it is not a regular file");
  if (status.size > std::numeric_limits<std::uint32_t>::max()) {
    throw HostError(fmt::format("it has {} bytes; files of 4 GiB or more cannot be read", status.size));
  }
}

}  // namespace

ComPtr<FileObject> FileObject::Open(const std::filesystem::path& path, FileOptions options, EventLoop& loop) {
  FileDescriptor file(system::OpenForReading(path));
  if (!file.IsOpen()) throw HostError::System("cannot open the file", errno);
  system::FileStatus status;
  if (!system::GetStatus(file.Number(), status)) throw HostError::System("cannot look at the file", errno);
  RequireReadableFile(status);
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
    return Answer([to = m_response] { (*to)->InitDone(kOk); });
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
  return Answer([to = m_response, status, buffer = std::move(buffer)] { (*to)->ReadDone(status, buffer.Get()); });
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
  return Answer([to = m_response] { (*to)->SeekDone(kOk); });
}

Status FileObject::SetAccessHint(std::uint32_t hint) {
  const bool objects = hint == kJumpsAhead && m_options.order == FileOptions::Order::kLinear;
  return objects ? kPrefersLinearAccess : kOk;
}

Status FileObject::Stat(IQBFileStatResponse* response) {
  if (response == nullptr) return kInvalidArgument;
  if (!m_response) return kInvalidState;
  const bool known = m_options.stat == FileOptions::Stat::kYes;
  const auto size = known ? static_cast<std::uint32_t>(m_reader.FileSize()) : 0;
  return Answer(
      [to = ComPtr<IQBFileStatResponse>::Retain(response), known, size] { to->StatDone(known ? kOk : kFailed, size); });
}

/// The answer may call back, or drop the last reference to this object, which is therefore not touched after it.
template <typename Completion>
Status FileObject::Answer(Completion&& completion) {
  if (m_options.answers == FileOptions::Answers::kInline) {
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
