// A byte source that reads from a file, on Windows.
#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/stat.h>
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <algorithm>
#include <cerrno>
#include <climits>

#include "flv/file_source.h"

namespace qbflv::flv {

namespace {

HANDLE SystemHandle(int descriptor) {
  return reinterpret_cast<HANDLE>(_get_osfhandle(descriptor));  // NOLINT(performance-no-int-to-ptr): as documented
}

}  // namespace

std::shared_ptr<FileSource> FileSource::Open(const std::filesystem::path& path) {
  const int descriptor = _wsopen(path.c_str(), _O_RDONLY | _O_BINARY | _O_NOINHERIT, _SH_DENYNO);
  return descriptor < 0 ? nullptr : std::make_shared<FileSource>(descriptor);
}

FileSource::~FileSource() { _close(m_descriptor); }

std::int64_t FileSource::ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) const {
  std::size_t filled = 0;
  while (filled < bytes.size()) {
    // Each read passes its own position, because the threads share the file pointer.
    OVERLAPPED position{};
    position.Offset = static_cast<DWORD>(offset + filled);
    position.OffsetHigh = static_cast<DWORD>((offset + filled) >> 32);
    const auto count = static_cast<DWORD>(std::min<std::size_t>(bytes.size() - filled, INT_MAX));
    DWORD got = 0;
    if (ReadFile(SystemHandle(m_descriptor), bytes.data() + filled, count, &got, &position) == 0) {
      if (GetLastError() == ERROR_HANDLE_EOF) break;
      errno = EIO;
      return kReadFailed;
    }
    if (got == 0) break;
    filled += got;
  }
  return static_cast<std::int64_t>(filled);
}

std::uint64_t FileSource::Size() const {
  struct _stat64 status {};
  return _fstat64(m_descriptor, &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

bool FileSource::GetIdentity(FileIdentity& identity, FileKind& kind) const {
  struct _stat64 status {};
  if (_fstat64(m_descriptor, &status) != 0) return false;
  identity.size = static_cast<std::uint64_t>(status.st_size);
  kind = S_ISREG(status.st_mode)   ? FileKind::kRegular
         : S_ISDIR(status.st_mode) ? FileKind::kDirectory
                                   : FileKind::kOther;
  BY_HANDLE_FILE_INFORMATION information{};
  if (GetFileInformationByHandle(SystemHandle(m_descriptor), &information) == 0) return kind != FileKind::kRegular;
  identity.device = information.dwVolumeSerialNumber;
  identity.inode = std::uint64_t{information.nFileIndexHigh} << 32 | information.nFileIndexLow;
  const std::uint64_t modified =
      std::uint64_t{information.ftLastWriteTime.dwHighDateTime} << 32 | information.ftLastWriteTime.dwLowDateTime;
  identity.modified = static_cast<std::int64_t>(modified * 100);
  return true;
}

}  // namespace qbflv::flv
