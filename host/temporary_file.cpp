// A new file that takes the place of its target in one step, or disappears.
#include "host/temporary_file.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "host/host_error.h"
#include "host/system.h"

namespace qbflv::host {

namespace {

std::filesystem::path FollowLinks(const std::filesystem::path& path) {
  std::error_code error;
  const std::filesystem::path real = std::filesystem::canonical(path, error);
  return error ? std::filesystem::absolute(path) : real;
}

}  // namespace

TemporaryFile::TemporaryFile(const std::filesystem::path& target) : m_target(FollowLinks(target)) {
  std::error_code error;
  const std::filesystem::file_status old = std::filesystem::status(m_target, error);
  const bool replaces = std::filesystem::exists(old);
  if (replaces && std::filesystem::is_directory(old)) Fail(EISDIR);
  if (replaces && !std::filesystem::is_regular_file(old)) throw HostError(m_target.string() + " is not a regular file");
  if (replaces && access(m_target.string().c_str(), W_OK) != 0) Fail(errno);
  Create();
  // Where the permissions cannot be carried over, those of a new file serve as well.
  if (replaces) std::filesystem::permissions(m_path, old.permissions(), error);
}

TemporaryFile::~TemporaryFile() {
  if (m_path.empty()) return;
  m_file.Close();
  std::error_code error;
  std::filesystem::remove(m_path, error);
}

void TemporaryFile::Write(std::span<const std::uint8_t> bytes) {
  if (!system::Write(m_file.Number(), bytes)) Fail(errno);
}

void TemporaryFile::Commit() {
  // On the disk before it takes the old file's place: after a crash there is the one or the other, never half a file.
  if (!system::FlushToDisk(m_file.Number()) || !m_file.Close()) Fail(errno);
  std::error_code error;
  std::filesystem::rename(m_path, m_target, error);
  if (error) throw HostError("cannot write " + m_target.string() + ": " + error.message());
  m_path.clear();
}

/// The name does not grow with the target's, which may be as long as names can be.
void TemporaryFile::Create() {
  for (int attempt = 0; !m_file.IsOpen(); ++attempt) {
    std::filesystem::path path = m_target.parent_path() / fmt::format(".qbflv-{}-{}", getpid(), attempt);
    m_file = FileDescriptor(system::CreateForWriting(path));
    if (!m_file.IsOpen() && errno != EEXIST) Fail(errno);
    if (m_file.IsOpen()) m_path = std::move(path);
  }
}

void TemporaryFile::Fail(int errorNumber) const {
  throw HostError::System("cannot write " + m_target.string(), errorNumber);
}

}  // namespace qbflv::host
