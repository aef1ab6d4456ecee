// A new file that takes the place of its target in one step, or disappears.
#include "host/temporary_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "host/host_error.h"

namespace qbflv::host {

namespace {

constexpr mode_t kPermissionBits = 07777;

std::filesystem::path FollowLinks(const std::filesystem::path& path) {
  std::error_code error;
  const std::filesystem::path real = std::filesystem::canonical(path, error);
  return error ? std::filesystem::absolute(path) : real;
}

}  // namespace

TemporaryFile::TemporaryFile(const std::filesystem::path& target) : m_target(FollowLinks(target)) {
  struct stat old {};
  const bool replaces = stat(m_target.c_str(), &old) == 0;
  if (replaces && S_ISDIR(old.st_mode)) Fail(EISDIR);
  if (replaces && !S_ISREG(old.st_mode)) throw HostError(m_target.string() + " is not a regular file");
  if (replaces && access(m_target.c_str(), W_OK) != 0) Fail(errno);
  Create();
  // Where the permissions cannot be carried over, those of a new file serve as well.
  if (replaces) static_cast<void>(fchmod(m_file.Number(), old.st_mode & kPermissionBits));
}

TemporaryFile::~TemporaryFile() {
  if (!m_path.empty()) unlink(m_path.c_str());
}

void TemporaryFile::Write(std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(m_file.Number(), bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) Fail(errno);
    bytes = bytes.subspan(static_cast<std::size_t>(written));
  }
}

void TemporaryFile::Commit() {
  // On the disk before it takes the old file's place: after a crash there is the one or the other, never half a file.
  if (fsync(m_file.Number()) != 0) Fail(errno);
  if (!m_file.Close()) Fail(errno);
  if (rename(m_path.c_str(), m_target.c_str()) != 0) Fail(errno);
  m_path.clear();
}

/// The name does not grow with the target's, which may be as long as names can be.
void TemporaryFile::Create() {
  for (int attempt = 0; !m_file.IsOpen(); ++attempt) {
    std::filesystem::path path = m_target.parent_path() / fmt::format(".qbflv-{}-{}", getpid(), attempt);
    m_file = FileDescriptor(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (!m_file.IsOpen() && errno != EEXIST) Fail(errno);
    if (m_file.IsOpen()) m_path = std::move(path);
  }
}

void TemporaryFile::Fail(int errorNumber) const {
  throw HostError::System("cannot write " + m_target.string(), errorNumber);
}

}  // namespace qbflv::host
