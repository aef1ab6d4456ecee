// The functions of the operating system on Linux.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <system_error>

#include "host/system.h"

namespace qbflv::host::system {

int CreateNewFile(const std::filesystem::path& path) {
  return open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
}

std::int64_t ReadAt(int descriptor, std::uint64_t offset, std::span<std::uint8_t> bytes) {
  return pread(descriptor, bytes.data(), bytes.size(), static_cast<off_t>(offset));
}

bool Write(int descriptor, std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(descriptor, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    bytes = bytes.subspan(static_cast<std::size_t>(written));
  }
  return true;
}

bool WriteAt(int descriptor, std::uint64_t offset, std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t written = pwrite(descriptor, bytes.data(), bytes.size(), static_cast<off_t>(offset));
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    bytes = bytes.subspan(static_cast<std::size_t>(written));
    offset += static_cast<std::uint64_t>(written);
  }
  return true;
}

bool Truncate(int descriptor, std::uint64_t size) { return ftruncate(descriptor, static_cast<off_t>(size)) == 0; }

void CopyOwner(const std::filesystem::path& from, int descriptor) {
  struct stat status {};
  if (stat(from.c_str(), &status) != 0) return;
  // Only root may give a file away; other users may still keep the group, if they are members.
  if (fchown(descriptor, status.st_uid, status.st_gid) == 0) return;
  static_cast<void>(fchown(descriptor, static_cast<uid_t>(-1), status.st_gid) == 0);
}

int BinaryOutput() { return STDOUT_FILENO; }

bool FlushToDisk(int descriptor) { return fsync(descriptor) == 0; }

void PreferLargePages(std::span<std::uint8_t> memory) {
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  void* begin = memory.data();
  std::size_t size = memory.size();
  if (std::align(page, page, begin, size) == nullptr) return;
  madvise(begin, size / page * page, MADV_HUGEPAGE);
}

void* OpenLibrary(const std::filesystem::path& path, std::string& error) {
  void* const library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) error = dlerror();
  return library;
}

void CloseLibrary(void* library) { dlclose(library); }

void* FindExport(void* library, const char* name) { return dlsym(library, name); }

std::filesystem::path ProgramPath() {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error);
}

}  // namespace qbflv::host::system
