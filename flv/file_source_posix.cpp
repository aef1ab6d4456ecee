// A byte source that reads from a file, on Linux.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "flv/file_source.h"

namespace qbflv::flv {

std::shared_ptr<FileSource> FileSource::Open(const std::filesystem::path& path) {
  const int descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  return descriptor < 0 ? nullptr : std::make_shared<FileSource>(descriptor);
}

FileSource::~FileSource() { close(m_descriptor); }

std::int64_t FileSource::ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) const {
  std::size_t filled = 0;
  while (filled < bytes.size()) {
    const auto position = static_cast<off_t>(offset + filled);
    const ssize_t got = pread(m_descriptor, bytes.data() + filled, bytes.size() - filled, position);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return kReadFailed;
    if (got == 0) break;
    filled += static_cast<std::size_t>(got);
  }
  return static_cast<std::int64_t>(filled);
}

std::uint64_t FileSource::Size() const {
  struct stat status {};
  return fstat(m_descriptor, &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

bool FileSource::GetIdentity(FileIdentity& identity, FileKind& kind) const {
  struct stat status {};
  if (fstat(m_descriptor, &status) != 0) return false;
  identity = {status.st_dev, status.st_ino, static_cast<std::uint64_t>(status.st_size),
              std::int64_t{status.st_mtim.tv_sec} * 1'000'000'000 + status.st_mtim.tv_nsec};
  kind = S_ISREG(status.st_mode)   ? FileKind::kRegular
         : S_ISDIR(status.st_mode) ? FileKind::kDirectory
                                   : FileKind::kOther;
  return true;
}

}  // namespace qbflv::flv
