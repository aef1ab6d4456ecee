// The functions of the operating system on Windows.
#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/stat.h>
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <string>
#include <system_error>

#include "host/system.h"

namespace qbflv::host::system {

int CreateNewFile(const std::filesystem::path& path) {
  return _wsopen(path.c_str(), _O_RDWR | _O_CREAT | _O_EXCL | _O_BINARY | _O_NOINHERIT, _SH_DENYNO,
                 _S_IREAD | _S_IWRITE);
}

std::int64_t ReadAt(int descriptor, std::uint64_t offset, std::span<std::uint8_t> bytes) {
  if (_lseeki64(descriptor, static_cast<std::int64_t>(offset), SEEK_SET) < 0) return -1;
  const auto count = static_cast<unsigned>(std::min<std::size_t>(bytes.size(), INT_MAX));
  return _read(descriptor, bytes.data(), count);
}

bool Write(int descriptor, std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const auto count = static_cast<unsigned>(std::min<std::size_t>(bytes.size(), INT_MAX));
    const int written = _write(descriptor, bytes.data(), count);
    if (written < 0) return false;
    bytes = bytes.subspan(static_cast<std::size_t>(written));
  }
  return true;
}

bool WriteAt(int descriptor, std::uint64_t offset, std::span<const std::uint8_t> bytes) {
  return _lseeki64(descriptor, static_cast<std::int64_t>(offset), SEEK_SET) >= 0 && Write(descriptor, bytes);
}

bool Truncate(int descriptor, std::uint64_t size) {
  return _chsize_s(descriptor, static_cast<std::int64_t>(size)) == 0;
}

void CopyOwner(const std::filesystem::path& /*from*/, int /*descriptor*/) {}

int BinaryOutput() {
  const int output = _fileno(stdout);
  _setmode(output, _O_BINARY);
  return output;
}

bool FlushToDisk(int descriptor) { return _commit(descriptor) == 0; }

/// Large pages require a privilege on Windows.
void PreferLargePages(std::span<std::uint8_t> /*memory*/) {}

void* OpenLibrary(const std::filesystem::path& path, std::string& error) {
  // Windows searches the library's own folder for its dependencies.
  void* const library = LoadLibraryExW(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
  if (library == nullptr) {
    error = path.string() + ": " + std::system_category().message(static_cast<int>(GetLastError()));
  }
  return library;
}

void CloseLibrary(void* library) { FreeLibrary(static_cast<HMODULE>(library)); }

void* FindExport(void* library, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}

std::filesystem::path ProgramPath() {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    if (length < path.size()) return path.substr(0, length);
    path.resize(path.size() * 2);
  }
}

}  // namespace qbflv::host::system
