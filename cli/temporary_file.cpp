// A new file that replaces its target atomically, or is removed.
#include "cli/temporary_file.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>
#include <vector>

#include "host/host_error.h"
#include "host/system.h"

namespace qbflv::cli {

namespace {

constexpr std::size_t kBlockSize = 1024 * 1024;

std::filesystem::path FollowLinks(const std::filesystem::path& path) {
  std::error_code error;
  const std::filesystem::path real = std::filesystem::canonical(path, error);
  return error ? std::filesystem::absolute(path) : real;
}

}  // namespace

TemporaryFile::TemporaryFile(const std::filesystem::path& target)
    : m_isOutput(target == "-"), m_target(m_isOutput ? "standard output" : FollowLinks(target)) {
  std::error_code error;
  if (m_isOutput) {
    Create(std::filesystem::temp_directory_path(error));
    return;
  }
  const std::filesystem::file_status old = std::filesystem::status(m_target, error);
  const bool replaces = std::filesystem::exists(old);
  if (replaces && std::filesystem::is_directory(old)) Fail(EISDIR);
  if (replaces && !std::filesystem::is_regular_file(old)) {
    throw host::HostError(m_target.string() + " is not a regular file");
  }
  if (replaces && access(m_target.string().c_str(), W_OK) != 0) Fail(errno);
  Create(m_target.parent_path());
  if (!replaces) return;
  // Ignores errors: if the old owner and permissions cannot be kept, those of a new file are good enough. The owner
  // comes first, because a change of owner clears permissions.
  host::system::CopyOwner(m_target, m_file.Number());
  std::filesystem::permissions(m_path, old.permissions(), error);
}

TemporaryFile::~TemporaryFile() {
  if (m_path.empty()) return;
  m_file.Close();
  std::error_code error;
  std::filesystem::remove(m_path, error);
}

void TemporaryFile::Write(std::span<const std::uint8_t> bytes) {
  if (!host::system::Write(m_file.Number(), bytes)) Fail(errno);
  m_size += bytes.size();
}

void TemporaryFile::Overwrite(std::uint64_t offset, std::span<const std::uint8_t> bytes) {
  if (!host::system::WriteAt(m_file.Number(), offset, bytes)) Fail(errno);
}

void TemporaryFile::Remove(std::uint64_t begin, std::uint64_t end) {
  std::vector<std::uint8_t> block(kBlockSize);
  while (const std::size_t count = Read(end, block)) {
    Overwrite(begin, std::span(block).first(count));
    begin += count;
    end += count;
  }
  m_size = begin;
  if (!host::system::Truncate(m_file.Number(), m_size)) Fail(errno);
}

void TemporaryFile::Commit() {
  if (m_isOutput) return CopyToOutput();
  // Flushes the new file before it replaces the old one, so that a crash leaves one of them complete.
  if (!host::system::FlushToDisk(m_file.Number()) || !m_file.Close()) Fail(errno);
  std::error_code error;
  std::filesystem::rename(m_path, m_target, error);
  if (error) throw host::HostError("cannot write " + m_target.string() + ": " + error.message());
  m_path.clear();
}

void TemporaryFile::CopyToOutput() {
  std::vector<std::uint8_t> block(kBlockSize);
  std::uint64_t offset = 0;
  while (const std::size_t count = Read(offset, block)) {
    if (!host::system::Write(host::system::BinaryOutput(), std::span(block).first(count))) Fail(errno);
    offset += count;
  }
}

/// Returns 0 at the end of the file.
std::size_t TemporaryFile::Read(std::uint64_t offset, std::span<std::uint8_t> bytes) const {
  if (offset >= m_size) return 0;
  const std::int64_t count = host::system::ReadAt(m_file.Number(), offset, bytes);
  if (count < 0) Fail(errno);
  return static_cast<std::size_t>(count);
}

/// Uses a short name that does not contain the target's name, which may already have the maximum length.
void TemporaryFile::Create(const std::filesystem::path& folder) {
  for (int attempt = 0; !m_file.IsOpen(); ++attempt) {
    std::filesystem::path path = folder / fmt::format(".qbflv-{}-{}", getpid(), attempt);
    m_file = host::FileDescriptor(host::system::CreateNewFile(path));
    if (!m_file.IsOpen() && errno != EEXIST) Fail(errno);
    if (m_file.IsOpen()) m_path = std::move(path);
  }
}

void TemporaryFile::Fail(int errorNumber) const {
  throw host::HostError::System("cannot write " + m_target.string(), errorNumber);
}

}  // namespace qbflv::cli
