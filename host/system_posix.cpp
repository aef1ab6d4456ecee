// The operating system as Linux has it.
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <system_error>

#include "host/system.h"

namespace qbflv::host::system {

int OpenForReading(const std::filesystem::path& path) { return open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC); }

int CreateForWriting(const std::filesystem::path& path) {
  return open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
}

bool FlushToDisk(int descriptor) { return fsync(descriptor) == 0; }

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
